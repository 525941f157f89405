// A store whose certificates the registrar looks after, at a time that the test sets.
#pragma once

#include "brenic/ManagementMessages.h"
#include "manage/Certificates.h"
#include "manage/Registrar.h"
#include "store/StoreFixture.h"

namespace brenic::master {

inline constexpr int64_t k_WholeDay = 24 * 60 * 60 * 1000;
inline constexpr int64_t k_Begin = 1'800'000'000'000;

inline MasterRecord NewMaster() {
  MasterRecord master;
  master.m_Name = "Farm";
  master.m_Address = "farm.example:9000";
  master.m_Authority = MakeAuthority("test", Validity::Days(k_AuthorityDays, k_Begin));
  master.m_Server = IssueServer(master.m_Authority, "Farm", {"farm.example", "localhost", "127.0.0.1"},
                                Validity::Days(k_CertificateDays, k_Begin))
                        .m_Credential;
  return master;
}

class RegistrarTest : public StoreFixture {
protected:
  RegistrarTest() : StoreFixture(NewMaster()) {}

  rlib::Result<Managed> Register(const Message& message) {
    return master::Register(m_Folder.Name(), *m_Store, message, {m_Now, m_Now + m_Ahead, m_Ahead != 0});
  }
  /// What was done; the refusal where it was refused.
  std::string Told(const Message& message) {
    const auto managed = Register(message);
    return managed ? managed->m_Done.str() : "refused: " + managed.Reason().str();
  }
  static IssueClientMsg Issue(const String& name, const String& role = "component") {
    IssueClientMsg message;
    message.m_Name = name;
    message.m_Role = role;
    message.m_PublicKey = MakeKey().m_Public;
    return message;
  }
  static IssueClientMsg Renewal(const String& name, int overlap = 14, const String& role = {}) {
    IssueClientMsg message = Issue(name, role);
    message.m_Renew = true;
    message.m_Overlap = overlap;
    return message;
  }
  static RevokeClientMsg Revocation(const String& client) {
    RevokeClientMsg message;
    message.m_Client = client;
    return message;
  }
  static ChangeHostsMsg Hosts(rlib::vector<String> add, rlib::vector<String> remove = {}) {
    ChangeHostsMsg message;
    message.m_Add = std::move(add);
    message.m_Remove = std::move(remove);
    return message;
  }
  std::vector<ClientRecord> Named(const String& name) { return m_Store->ClientsNamed(name); }

  int64_t m_Now = k_Begin;
  int64_t m_Ahead = 0; // of it, the machine's clock
};

} // namespace brenic::master
