#include "serve/RefusalTally.h"

#include <fmt/core.h>

namespace brenic::master {

void RefusalTally::Take(Request& request) {
  const auto [counted, isFirst] = m_Counted.try_emplace(request.m_Peer->m_Key);
  request.m_IsRecorded = isFirst;
  if (isFirst)
    return;
  ++counted->second.m_Count;
  counted->second.m_Last = request;
}

std::vector<Request> RefusalTally::Minute() {
  std::vector<Request> records;
  for (auto counted = m_Counted.begin(); counted != m_Counted.end();) {
    if (counted->second.m_Count == 0) {
      counted = m_Counted.erase(counted);
      continue;
    }
    Request& record = records.emplace_back(std::move(counted->second.m_Last));
    record.m_Session = 0;
    record.m_Id = UID(true); // they may have had one and the same
    record.m_IsRecorded = true;
    *record.m_Refusal += fmt::format(" (stands for {} requests of this client)", counted->second.m_Count);
    counted->second = Counted();
    ++counted;
  }
  return records;
}

} // namespace brenic::master
