#include "serve/Places.h"

#include <vector>

#include <gmock/gmock.h>

namespace brenic::master {
namespace {

using testing::HasSubstr;

Peer Client(Role role, const std::string& key) {
  Peer peer;
  peer.m_Role = role;
  peer.m_Key = key;
  peer.m_Name = "client " + key;
  return peer;
}

/// As many as there are.
std::vector<std::unique_ptr<Places::Place>> TakeAll(Places& places, const Peer& peer) {
  std::vector<std::unique_ptr<Places::Place>> taken;
  while (auto place = places.Take(peer))
    taken.push_back(std::move(*place));
  return taken;
}

const Peer k_Component = Client(Role::k_Component, "01");
const Peer k_Administrator = Client(Role::k_Administrator, "02");

TEST(Places, ANewLimitHoldsForWhoComesNext) {
  Places places(100, 3);
  const auto taken = TakeAll(places, k_Component);
  ASSERT_EQ(taken.size(), 3u);
  places.Limit(2);
  EXPECT_FALSE(places.Take(k_Component));
  places.Limit(5);
  EXPECT_EQ(TakeAll(places, k_Component).size(), 2u);
  places.Limit(0);
  EXPECT_EQ(TakeAll(places, k_Component).size(), 33u);
}

TEST(Places, ComponentsLeaveSomeToAdministrators) {
  Places places(100);
  auto components = TakeAll(places, k_Component);
  EXPECT_EQ(components.size(), 36u);
  EXPECT_EQ(
      places.Take(Client(Role::k_Component, "03")).Reason(),
      "all 36 places for components are taken, 64 of 100 are kept for administrators; 36 of them with the "
      "certificate 01, which ConnectionsPerCertificate in the Master's configuration can limit");
  const auto first = TakeAll(places, k_Administrator),
             second = TakeAll(places, Client(Role::k_Administrator, "04"));
  EXPECT_EQ(first.size() + second.size(), 64u);
  EXPECT_THAT(places.Take(k_Administrator).Reason().str(), HasSubstr("all 100 places are taken; 36 of them"));
  components.pop_back();
  EXPECT_TRUE(places.Take(k_Component));
}

TEST(Places, AdministratorsMayTakeThoseOfComponentsToo) {
  Places places(100);
  const auto first = TakeAll(places, k_Administrator);
  EXPECT_EQ(first.size(), 36u) << "one certificate leaves some to others";
  EXPECT_EQ(TakeAll(places, Client(Role::k_Administrator, "04")).size(), 36u);
  EXPECT_EQ(TakeAll(places, Client(Role::k_Administrator, "uid:0")).size(), 64u);
}

TEST(Places, ACertificateTakesNoMoreThanItMay) {
  Places places(100, 2);
  auto first = TakeAll(places, k_Component);
  EXPECT_EQ(first.size(), 2u);
  EXPECT_THAT(places.Take(k_Component).Reason().str(),
              HasSubstr("'client 01' (certificate 01) has 2 connections, and ConnectionsPerCertificate"));
  EXPECT_EQ(TakeAll(places, k_Administrator).size(), 2u);
  first.pop_back();
  EXPECT_TRUE(places.Take(k_Component));
  EXPECT_GT(TakeAll(places, Client(Role::k_Administrator, "uid:0")).size(), 2u) << "has no certificate";
}

} // namespace
} // namespace brenic::master
