// What ends soon: certificates of clients, the Master's own, authorities.
#pragma once

#include <map>

#include "store/Store.h"

namespace brenic::master {

/// Lines about what ends soon, each at 60, 30, 14, 7 and 1 days before. Remembers what it has told. Used by
/// one thread.
class Endings {
public:
  std::vector<String> News(Store& store, int64_t now);

private:
  /// The least of the thresholds that is reached and was not told; none for the others.
  std::optional<int> Reached(const std::string& what, int64_t end, int64_t now);

  std::map<std::string, int> m_Told; // by what it was about, in days
};

/// Whether the certificate has neither ended nor been revoked.
bool IsAccepted(const ClientRecord& client, int64_t now);

/// Whole days from then until the end; negative when it has ended.
int DaysUntil(int64_t end, int64_t now);

/// Those that another one, of the same name and accepted for longer, does not stand in for.
std::vector<ClientRecord> NotSuperseded(const std::vector<ClientRecord>& clients, int64_t now);

} // namespace brenic::master
