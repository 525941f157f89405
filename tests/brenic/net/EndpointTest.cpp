#include "net/Endpoint.h"

#include <gtest/gtest.h>

#include "NumberedName.h"

using namespace brenic;

namespace {

struct Good {
  const char* m_Text;
  const char* m_Host;
  int m_Port;
  const char* m_Socket;
  const char* m_Shown;
};

class GoodEndpointTest : public testing::TestWithParam<Good> {};

TEST_P(GoodEndpointTest, IsRead) {
  const rlib::Result<Endpoint> endpoint = Endpoint::Parse(GetParam().m_Text);
  ASSERT_TRUE(endpoint) << endpoint.Reason();
  EXPECT_EQ(endpoint->m_Host, GetParam().m_Host);
  EXPECT_EQ(endpoint->m_Port, GetParam().m_Port);
  EXPECT_EQ(endpoint->m_Socket.str(), GetParam().m_Socket);
  EXPECT_EQ(endpoint->IsLocal(), *GetParam().m_Socket != '\0');
}

TEST_P(GoodEndpointTest, IsShownInAFormThatReadsTheSame) {
  const rlib::Result<Endpoint> endpoint = Endpoint::Parse(GetParam().m_Text);
  ASSERT_TRUE(endpoint) << endpoint.Reason();
  EXPECT_EQ(endpoint->ToString(), GetParam().m_Shown);
  const rlib::Result<Endpoint> again = Endpoint::Parse(endpoint->ToString());
  ASSERT_TRUE(again) << again.Reason();
  EXPECT_EQ(again->ToString(), endpoint->ToString());
}

INSTANTIATE_TEST_SUITE_P(
    Table, GoodEndpointTest,
    testing::Values(
        Good{"host", "host", 8730, "", "host:8730"}, Good{"host:1", "host", 1, "", "host:1"},
        Good{"master.farm.example:65535", "master.farm.example", 65535, "", "master.farm.example:65535"},
        Good{"127.0.0.1", "127.0.0.1", 8730, "", "127.0.0.1:8730"},
        Good{"[::1]", "::1", 8730, "", "[::1]:8730"}, Good{"[::1]:99", "::1", 99, "", "[::1]:99"},
        Good{"[fe80::1%eth0]:99", "fe80::1%eth0", 99, "", "[fe80::1%eth0]:99"},
        Good{"[::ffff:1.2.3.4]", "::ffff:1.2.3.4", 8730, "", "[::ffff:1.2.3.4]:8730"},
        Good{"render_1.farm-a.example.:5", "render_1.farm-a.example.", 5, "", "render_1.farm-a.example.:5"},
        Good{"3com.example", "3com.example", 8730, "", "3com.example:8730"},
        Good{"unix:/run/m.sock", "", 8730, "/run/m.sock", "unix:/run/m.sock"},
        Good{"unix:relative", "", 8730, "relative", "unix:relative"}),
    [](const auto& info) { return NumberedName(info.index, info.param.m_Text); });

struct Bad {
  const char* m_Text;
  const char* m_Problem;
};

class BadEndpointTest : public testing::TestWithParam<Bad> {};

TEST_P(BadEndpointTest, IsRefusedWithTheReason) {
  const rlib::Result<Endpoint> endpoint = Endpoint::Parse(GetParam().m_Text);
  ASSERT_FALSE(endpoint) << GetParam().m_Text;
  EXPECT_EQ(endpoint.Reason(), GetParam().m_Problem) << GetParam().m_Text;
}

constexpr const char* k_Port = "the port must be a number from 1 to 65535";
constexpr const char* k_Brackets = "an IPv6 address is written in brackets, as [::1]:8730";
constexpr const char* k_Spaces = "an address holds no spaces";
constexpr const char* k_Controls = "an address holds no control characters";
constexpr const char* k_NoIPv6 = "what stands in brackets is no IPv6 address";
constexpr const char* k_NoIPv4 = "an IPv4 address has four numbers from 0 to 255, as 192.0.2.1";
constexpr const char* k_Characters =
    "a host name has no characters but letters, digits, '-', '_' and '.'; a name in another script is "
    "written in its form that begins with xn--";
constexpr const char* k_Label =
    "each part of a host name between dots has 1 to 63 characters and neither begins nor ends with a dash";
constexpr const char* k_Long = "a host name has at most 253 characters";

/// A name of this many characters in parts of ten, the dot included.
std::string LongName(size_t size) {
  std::string name;
  while (name.size() < size)
    name += name.size() % 10 == 9 ? '.' : 'a';
  return name;
}

INSTANTIATE_TEST_SUITE_P(
    Table, BadEndpointTest,
    testing::Values(Bad{"", "an address is missing"}, Bad{" ", k_Spaces}, Bad{"host ", k_Spaces},
                    Bad{"a host:1", k_Spaces}, Bad{"host\t", k_Spaces}, Bad{"host\n", k_Spaces},
                    Bad{":8730", "the host is missing"}, Bad{"[]:1", "the host is missing"},
                    Bad{"host:", k_Port}, Bad{"host:0", k_Port}, Bad{"host:65536", k_Port},
                    Bad{"host:99999999999", k_Port}, Bad{"host:-1", k_Port}, Bad{"host:+1", k_Port},
                    Bad{"host:1x", k_Port}, Bad{"host:port", k_Port}, Bad{"[::1]:", k_Port},
                    Bad{"::1", k_Brackets}, Bad{"fe80::1:8730", k_Brackets}, Bad{"a:1:2", k_Brackets},
                    Bad{"[::1", "the closing bracket is missing"},
                    Bad{"[::1]8730", "a port is written behind a colon"},
                    Bad{"-Info", "a host name does not begin with a dash"},
                    Bad{"unix:", "the path is missing behind unix:"}, Bad{"unix:/a\x01", k_Controls},
                    Bad{"a\x01", k_Controls}, Bad{"a\x7f:1", k_Controls}, Bad{"a\x1b[2Jb", k_Controls},
                    Bad{"a\xc2\x9b", k_Controls}, Bad{"[host]:5", k_NoIPv6}, Bad{"[127.0.0.1]", k_NoIPv6},
                    Bad{"[::1::]", k_NoIPv6}, Bad{"[::1]]", "a port is written behind a colon"},
                    Bad{"[::g]:1", k_NoIPv6}, Bad{"[fe80::1%]", k_NoIPv6}, Bad{"[fe80::1%a/b]", k_NoIPv6},
                    Bad{"[1]", k_NoIPv6}, Bad{"a]", k_Characters}, Bad{"user@host", k_Characters},
                    Bad{"host/path", k_Characters}, Bad{"//host", k_Characters}, Bad{"a,b", k_Characters},
                    Bad{"a%b", k_Characters}, Bad{"a\\b", k_Characters}, Bad{"*", k_Characters},
                    Bad{"m\xc3\xa4ster", k_Characters}, Bad{"\xff", k_Characters}, Bad{".", k_Label},
                    Bad{"..", k_Label}, Bad{".a", k_Label}, Bad{"a..b", k_Label}, Bad{"a..", k_Label},
                    Bad{"a-.b", k_Label}, Bad{"a.-b", k_Label}, Bad{"1.2.3", k_NoIPv4}, Bad{"1", k_NoIPv4},
                    Bad{"256.1.1.1", k_NoIPv4}, Bad{"010.0.0.1", k_NoIPv4}, Bad{"1.2.3.4.5", k_NoIPv4},
                    Bad{"0x7f.0.0.1", k_NoIPv4}, Bad{"0x7f000001", k_NoIPv4}, Bad{"1.2.3.4.", k_NoIPv4}),
    [](const auto& info) { return NumberedName(info.index, info.param.m_Text); });

TEST(Endpoint, TakesNamesUpToTheLengthThatNamesMayHave) {
  EXPECT_TRUE(Endpoint::Parse(LongName(253)));
  EXPECT_TRUE(Endpoint::Parse(LongName(253) + ".:1"));
  const rlib::Result<Endpoint> tooLong = Endpoint::Parse(LongName(254));
  ASSERT_FALSE(tooLong);
  EXPECT_EQ(tooLong.Reason(), k_Long);
  const std::string label(63, 'a');
  EXPECT_TRUE(Endpoint::Parse(label + ".b"));
  const rlib::Result<Endpoint> longLabel = Endpoint::Parse(label + "a.b");
  ASSERT_FALSE(longLabel);
  EXPECT_EQ(longLabel.Reason(), k_Label);
}

TEST(ParsePort, TakesNumbersFromTheLowestTo65535) {
  EXPECT_EQ(ParsePort("1"), 1);
  EXPECT_EQ(ParsePort("65535"), 65535);
  EXPECT_EQ(ParsePort("0", 0), 0);
}

TEST(ParsePort, RefusesTheRest) {
  for (const char* text : {"", "0", "-1", "+1", "65536", "1 ", " 1", "x", "1.0", "0x1"})
    EXPECT_EQ(ParsePort(text), std::nullopt) << text;
  EXPECT_EQ(ParsePort("-1", 0), std::nullopt);
}

} // namespace
