// The audit trail, as far as requests are judged by it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "farm/Change.h"
#include "rlib/Result.h"

namespace brenic::master {

/// What a record of the trail says of what was done.
struct TrailRecord {
  int64_t m_Sequence = 0;
  int64_t m_Time = 0; // milliseconds since 1970-01-01 UTC
  String m_Client;    // who asked for it
  std::string m_Class;
  std::string m_Result; // "committed", "refused" or "answered"
  bool m_IsOfLayout1 = false;
  /// What it did; empty for nothing. Usable while the trail is. Fails when that cannot be used any more.
  std::function<rlib::Result<std::shared_ptr<const Change>>()> m_Load;
};

/// Used by one thread at a time.
class Trail {
public:
  struct Range {
    int64_t m_Oldest = 0; // that is still there; 0 when none is
    int64_t m_Newest = 0; // that ever was there; 0 when none was
  };

  virtual ~Trail() = default;

  virtual Range SequenceRange() = 0;
  /// The record, if it is there.
  virtual std::optional<TrailRecord> FindRecord(int64_t sequence) = 0;
  /// Calls `each` for the records beyond a sequence that changed something, newest first, until it returns
  /// false. The products in their changes are without documents.
  virtual void ReadChangesBack(int64_t beyond, const std::function<bool(const TrailRecord&)>& each) = 0;
  /// The same, where those may be left out that concern neither path translations nor the user limits.
  virtual void ReadListChangesBack(int64_t beyond, const std::function<bool(const TrailRecord&)>& each) {
    ReadChangesBack(beyond, each);
  }
};

/// One in which nothing stands.
Trail& EmptyTrail();

} // namespace brenic::master
