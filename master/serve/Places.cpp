#include "serve/Places.h"

#include <fmt/core.h>

namespace brenic::master {

Places::Places(size_t all, size_t perCertificate) : m_All(all), m_PerCertificate(perCertificate) {}

rlib::Result<std::unique_ptr<Places::Place>> Places::Take(const Peer& peer) {
  const size_t forComponents = m_All - std::min(m_All, k_ForAdministrators);
  if (m_Taken >= m_All)
    return rlib::Failure(fmt::format("all {} places are taken", m_All));
  if (peer.m_Role != Role::k_Administrator && m_TakenByComponents >= forComponents)
    return rlib::Failure(
        fmt::format("all {} places for components are taken; {} of {} are kept for administrators",
                    forComponents, m_All - forComponents, m_All));
  if (m_PerCertificate > 0 && !peer.IsLocal() && m_TakenBy[peer.m_Key] >= m_PerCertificate)
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
