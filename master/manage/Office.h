// What requests about certificates are decided by, and how those of each class are.
#pragma once

#include <fmt/format.h>

#include "brenic/ManagementMessages.h"
#include "manage/Certificates.h"
#include "rlib/Escape.h"
#include "store/Store.h"

namespace brenic::master {

struct Office {
  const Path& m_Folder;
  Store& m_Store;
  Moment m_Moment;
  int64_t m_Now = m_Moment.m_Believed;
};

// Each carries its request out or refuses it with nothing written: what throws Exception* comes before the
// first write.
rlib::Result<Managed> RegisterAs(const Office& office, const IssueClientMsg& request);
rlib::Result<Managed> RegisterAs(const Office& office, const RevokeClientMsg& request);
rlib::Result<Managed> RegisterAs(const Office& office, const ChangeHostsMsg& request);
rlib::Result<Managed> RegisterAs(const Office& office, const RenewAuthorityMsg& request);
rlib::Result<Managed> RegisterAs(const Office& office, const MoveAuthorityMsg& request);
rlib::Result<Managed> RegisterAs(const Office& office, const RenewMasterMsg& request);

/// Fails unless certificates of the authority can be issued.
rlib::Result<> CheckSigns(const Authority& authority, int64_t now);

/// From now on for so many days, at most until the end of the authority.
Validity ValidityFor(int days, const Moment& moment, const Credential& authority);
/// To follow what was counted from now on: empty unless the clock is in doubt.
std::string DoubtText(const Moment& moment);

inline constexpr int64_t k_Day = 24 * 60 * 60 * 1000; // milliseconds

inline std::string DateText(int64_t time) {
  return rlib::Time(time).Format("%Y-%m-%d").str();
}
inline std::string Quoted(const String& name) {
  return "'" + rlib::Excerpt(name).str() + "'";
}

} // namespace brenic::master
