// The requests of a run and what became of each.
#pragma once

#include <optional>
#include <unordered_map>

#include "client/Event.h"

namespace brenic {

struct RequestState {
  const MessageDescription* m_Class;
  String m_Name;                    // as RequestName gives it
  std::optional<Outcome> m_Outcome; // none: not answered
};

/// In the order in which they were handed to Send. Not thread-safe.
class Requests {
public:
  void Add(const UID& id, const MessageDescription& description, const String& name);
  /// The request, which has that outcome from now on; none when no such request waits for one.
  std::optional<RequestState> Take(const UID& id, Outcome outcome);

  bool IsAnswered(const UID& id) const;
  size_t PendingCount() const { return m_Pending; }

  /// Whether there were several that change something, reads not counted, and not all were committed.
  bool NeedSummary() const;
  /// One line that tells which of those were committed and which were not; what has no answer counts as
  /// unknown. Names a few of each kind and cuts long names, so that its length is bounded.
  String Summary() const;
  /// One line for each of them, unabridged.
  rlib::vector<String> Details() const;

private:
  rlib::vector<RequestState> m_States;
  std::unordered_map<UID, size_t> m_Index;
  size_t m_Pending = 0;
};

} // namespace brenic
