#include "serve/Places.h"

#include <algorithm>

#include <fmt/core.h>

namespace brenic::master {

Places::Places(size_t all, size_t perCertificate)
    : m_All(all), m_ForComponents(all - std::min(all, k_ForAdministrators)) {
  Limit(perCertificate);
}

void Places::Limit(size_t perCertificate) {
  m_PerCertificate = perCertificate > 0 ? perCertificate : std::max<size_t>(m_ForComponents, 1);
}

std::string Places::Advice() const {
  const auto most = std::max_element(m_TakenBy.begin(), m_TakenBy.end(),
                                     [](const auto& a, const auto& b) { return a.second < b.second; });
  if (most == m_TakenBy.end())
    return {};
  return fmt::format("; {} of them with the certificate {}, which ConnectionsPerCertificate in the Master's "
                     "configuration can limit",
                     most->second, most->first);
}

rlib::Result<std::unique_ptr<Places::Place>> Places::Take(const Peer& peer) {
  const bool isAdministrator = peer.m_Role == Role::k_Administrator;
  if (m_Taken >= m_All)
    return rlib::Failure(fmt::format("all {} places are taken{}", m_All, Advice()));
  if (!isAdministrator && m_TakenByComponents >= m_ForComponents)
    return rlib::Failure(
        fmt::format("all {} places for components are taken, {} of {} are kept for administrators{}",
                    m_ForComponents, m_All - m_ForComponents, m_All, Advice()));
  if (!peer.IsLocal() && m_TakenBy[peer.m_Key] >= m_PerCertificate)
    return rlib::Failure(
        fmt::format("'{}' (certificate {}) has {} connections, and ConnectionsPerCertificate in the "
                    "Master's configuration allows no more",
                    peer.m_Name.str(), peer.m_Key, m_PerCertificate));
  return std::make_unique<Place>(*this, peer);
}

Places::Place::Place(Places& places, const Peer& peer)
    : m_Places(places), m_Key(peer.m_Key), m_Role(peer.m_Role) {
  ++m_Places.m_Taken;
  m_Places.m_TakenByComponents += m_Role != Role::k_Administrator;
  ++m_Places.m_TakenBy[m_Key];
}

Places::Place::~Place() {
  --m_Places.m_Taken;
  m_Places.m_TakenByComponents -= m_Role != Role::k_Administrator;
  if (--m_Places.m_TakenBy[m_Key] == 0)
    m_Places.m_TakenBy.erase(m_Key);
}

} // namespace brenic::master
