// Which names of clients and hosts are taken for the same, and what is told of many.
#include <algorithm>

#include <fmt/core.h>
#include <gmock/gmock.h>

#include "manage/RegistrarFixture.h"

namespace brenic::master {
namespace {

using testing::HasSubstr;
using RegistrarNamesTest = RegistrarTest;

TEST_F(RegistrarNamesTest, RefusesANameThatIsTakenForAnother) {
  (void)Register(Issue("Node 7"));
  EXPECT_THAT(Told(Issue("node7")),
              HasSubstr("refused: There is already a client 'Node 7', from which 'node7' differs only in"));
  EXPECT_THAT(Told(Issue("Node  7 ")), HasSubstr("refused: There is already a client 'Node 7'"));
  EXPECT_THAT(Told(Issue("Node 8")), HasSubstr("Issued"));
  m_Store->AddClient({"77", "NODE 7", Role::k_Component, 1, m_Now, m_Now + k_WholeDay, {}, {}});
  EXPECT_THAT(Told(Renewal("NODE 7")), HasSubstr("Issued")) << "of earlier versions";
  EXPECT_THAT(Told(Renewal("Node 7")), HasSubstr("Issued"));
  EXPECT_THAT(Told(Revocation("NODE 7")), HasSubstr("Revoked the certificates of 'NODE 7'"));
  EXPECT_THAT(Told(Issue("NODE 7")), HasSubstr("refused")) << "a new one again";
  EXPECT_THAT(Told(Revocation("Node 7")), HasSubstr("Revoked the certificates of 'Node 7'"));
  EXPECT_THAT(Told(Issue("node7")), HasSubstr("Issued")) << "a revoked one is nobody's";
}

TEST_F(RegistrarNamesTest, RefusesANameThatPosesAsTheMasterOrAUserOfItsMachine) {
  for (const char* name : {"brenic-master", "Brenic-Master", "root", "ROOT ", "master", "root@farm", "uid:0"})
    EXPECT_THAT(Told(Issue(name)), HasSubstr("would be taken for")) << name;
  for (const char* name : {"node\xe2\x80\x8b 1",
                           "no\xe2\x80\xae"
                           "de",
                           "node\xc2\xa0"
                           "1"})
    EXPECT_THAT(Told(Issue(name)),
                HasSubstr("refused: The client's name cannot be used: it holds the invisible "
                          "character U+"));
  EXPECT_THAT(Told(Issue("roots")), HasSubstr("Issued"));
  EXPECT_THAT(Told(Issue("Gr\xc3\xb6\xc3\x9f"
                         "e")),
              HasSubstr("Issued"));
  // As an earlier version allowed.
  for (const char* name : {"root", "node\xc2\xa0"
                                   "1"}) {
    const std::string serial = name == std::string("root") ? "77" : "78";
    m_Store->AddClient({serial, name, Role::k_Component, 1, m_Now, m_Now + k_WholeDay, {}, {}});
    EXPECT_THAT(Told(Renewal(name)), HasSubstr("Issued"));
  }
}

TEST_F(RegistrarNamesTest, ANameIsNoSerialNumber) {
  (void)Register(Issue("node"));
  const std::string serial = Named("node")[0].m_Serial;
  std::string upper = serial;
  std::transform(upper.begin(), upper.end(), upper.begin(), [](char c) { return c == 'a' ? 'A' : c; });
  for (const std::string& name : {serial, upper})
    EXPECT_THAT(Told(Issue(name)), HasSubstr("refused: The name '" + name + "' is the serial number of"));
  // As an earlier version allowed.
  m_Store->AddClient({"77", serial, Role::k_Component, 1, m_Now, m_Now + k_WholeDay, {}, {}});
  EXPECT_THAT(Told(Revocation(serial)), HasSubstr("refused: '" + serial + "' is the name of a client, and"));
  EXPECT_FALSE(Named("node")[0].m_Revoked);
  EXPECT_FALSE(Named(serial)[0].m_Revoked);
  EXPECT_THAT(Told(Revocation("77")), HasSubstr("Revoked the certificate of '" + serial + "'"));
  EXPECT_THAT(Told(Revocation("node")), HasSubstr("Revoked the certificate of 'node'"));
}

TEST_F(RegistrarNamesTest, ADotAtTheEndOfAHostIsNotKept) {
  EXPECT_THAT(Told(Hosts({"UPPER.Example.", "one."})),
              HasSubstr("is valid for UPPER.Example, one, farm.example"));
  EXPECT_EQ(HostsOf(m_Store->LoadMaster().m_Server),
            (std::vector<std::string>{"UPPER.Example", "one", "farm.example", "localhost", "127.0.0.1"}));
  (void)Register(Hosts({}, {"farm.example."}));
  EXPECT_EQ(m_Store->LoadMaster().m_Address, "UPPER.Example:9000");
}

TEST_F(RegistrarNamesTest, TellsOfManyOnlyTheFirst) {
  (void)Register(Issue("node"));
  for (int i = 0; i != 60; ++i)
    m_Store->AddClient(
        {fmt::format("{:032x}", i), "node", Role::k_Component, 1, m_Now, m_Now + k_WholeDay, {}, {}});
  const auto renewed = Register(Renewal("node"));
  ASSERT_TRUE(renewed);
  EXPECT_LT(renewed->m_Done.size(), 2000u);
  EXPECT_THAT(renewed->m_Done.str(), HasSubstr(" and 51 more"));
  const auto revoked = Register(Revocation("node"));
  ASSERT_TRUE(revoked);
  EXPECT_EQ(revoked->m_Dismissed.size(), 62u);
  EXPECT_LT(revoked->m_Done.size(), 500u);
  EXPECT_THAT(revoked->m_Done.str(), HasSubstr(" and 52 more"));
  rlib::vector<String> hosts;
  for (int i = 0; i != 90; ++i)
    hosts.push_back(fmt::format("host{}.example", i));
  const std::string told = Told(Hosts(hosts));
  EXPECT_THAT(told, HasSubstr("valid for host0.example, host1.example, "));
  EXPECT_THAT(told, HasSubstr("host9.example and 83 more; new credentials name"));
}

TEST_F(RegistrarNamesTest, AHostIsTheSameInWhateverSpelling) {
  const auto hosts = [&] { return HostsOf(m_Store->LoadMaster().m_Server); };
  (void)Register(Hosts({"New.Example", "new.example.", "2001:DB8:0::1"}));
  const std::vector<std::string> once = {"New.Example", "2001:db8::1", "farm.example", "localhost",
                                         "127.0.0.1"};
  EXPECT_EQ(hosts(), once);
  EXPECT_THAT(Told(Hosts({"NEW.example", "Farm.Example", "2001:db8:0:0::1"})),
              HasSubstr("refused: The Master's certificate is valid for these hosts already"));
  EXPECT_THAT(Told(Hosts({}, {"FARM.EXAMPLE"})), HasSubstr("new credentials name New.Example:9000"));
  EXPECT_THAT(Told(Hosts({}, {"new.example.", "2001:DB8::1"})), HasSubstr("valid for localhost, 127.0.0.1;"));
}

} // namespace
} // namespace brenic::master
