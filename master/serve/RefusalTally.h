// Requests of clients that may send none.
#pragma once

#include <map>
#include <vector>

#include "serve/Request.h"

namespace brenic::master {

/// Keeps them from filling the audit trail: for each certificate the first is recorded, and the others as one
/// record a minute, which counts them. Used by one thread.
class RefusalTally {
public:
  /// Marks the request as one that is recorded, or counts it.
  void Take(Request& request);
  /// To be called every minute: one request for each certificate whose requests were counted since, to be
  /// recorded in their place. A certificate that sent none is forgotten, so that its next one counts as a
  /// first.
  std::vector<Request> Minute();
  bool IsEmpty() const { return m_Counted.empty(); }

private:
  struct Counted {
    size_t m_Count = 0;
    Request m_Last;
  };
  std::map<std::string, Counted> m_Counted; // key of the peer
};

} // namespace brenic::master
