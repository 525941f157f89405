// What requests about certificates are decided by, and how those of each class are.
#pragma once

#include "brenic/ManagementMessages.h"
#include "manage/Certificates.h"
#include "manage/Words.h"
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
rlib::Result<Managed> RegisterAs(const Office& office, const RestoreMsg& request);

/// Fails unless certificates of the authority can be issued.
rlib::Result<> CheckSigns(const Authority& authority, int64_t now);

/// From now on for so many days, at most until the end of the authority.
Validity ValidityFor(int days, const Moment& moment, const Credential& authority);
/// To follow what was counted from now on: empty unless the clock is in doubt.
std::string DoubtText(const Moment& moment);

} // namespace brenic::master
