// How many clients are let in at the same time, and which.
#pragma once

#include <map>
#include <memory>

#include "farm/Peer.h"
#include "rlib/Result.h"

namespace brenic::master {

/// Used by one thread. Outlives the places that it gave.
class Places {
public:
  static constexpr size_t k_All = 4096;
  static constexpr size_t k_ForAdministrators = 64; // of them, and for nobody else

  /// `perCertificate` is how many one certificate may take; 0: all but those that
  /// are kept for administrators, be it an administrator's.
  explicit Places(size_t all = k_All, size_t perCertificate = 0);
  /// The same for who comes from now on; nobody loses a place.
  void Limit(size_t perCertificate);

  /// Given back when it is destroyed.
  class Place {
  public:
    Place(Places& places, const Peer& peer);
    ~Place();
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;

  private:
    Places& m_Places;
    const std::string m_Key;
    const Role m_Role;
  };
  /// A place for the peer, or why there is none, in words for the Master's administrator.
  rlib::Result<std::unique_ptr<Place>> Take(const Peer& peer);

private:
  /// Who has most, and what could be done.
  std::string Advice() const;

  const size_t m_All;
  const size_t m_ForComponents;
  size_t m_PerCertificate = 0;
  size_t m_Taken = 0;
  size_t m_TakenByComponents = 0;
  std::map<std::string, size_t> m_TakenBy; // key of the peer
};

} // namespace brenic::master
