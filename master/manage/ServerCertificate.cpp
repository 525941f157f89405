#include "manage/ServerCertificate.h"

#include <fmt/core.h>

#include "manage/Certificates.h"
#include "rlib/Log.h"

namespace brenic::master {

void RenewServerCertificate(Store& store) {
  const MasterRecord master = store.LoadMaster();
  if (const int days = DaysLeft(master.m_Authority); days < k_RenewalDays)
    rlib::LogWarning(
        fmt::format("The certificate authority is valid for {} more days; a new Master has to be made "
                    "and every client needs new credentials before it ends",
                    days));
  const int days = DaysLeft(master.m_Server);
  if (days >= k_RenewalDays)
    return;
  TryToStore("The Master's certificate and key", [&] {
    store.ReplaceServerCredential(
        IssueServer(master.m_Authority, master.m_Name, HostsOf(master.m_Server)).m_Credential,
        master.m_Authorities.back().m_Number);
    rlib::LogSystem(fmt::format("Renewed the Master's certificate, which was valid for {} more days", days));
  });
}

} // namespace brenic::master
