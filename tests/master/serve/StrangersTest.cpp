// What peers can do to others before anybody knows them.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "serve/Handshakes.h"
#include "serve/TestFarm.h"

namespace brenic::master {
namespace {

/// A connection that says nothing.
class Silent {
public:
  Silent(const char* from, uint16_t port) : m_Socket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    inet_pton(AF_INET, from, &address.sin_addr);
    if (bind(m_Socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
      throw std::runtime_error("bind");
    inet_pton(AF_INET, "127.0.0.1", &address.sin_addr);
    address.sin_port = htons(port);
    if (connect(m_Socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
      throw std::runtime_error("connect");
  }

  Silent(Silent&& other) noexcept : m_Socket(std::exchange(other.m_Socket, -1)) {}
  ~Silent() { close(m_Socket); }

  bool IsEnded() const {
    pollfd events{m_Socket, POLLIN, 0};
    return poll(&events, 1, 0) > 0;
  }
  /// Bytes that came before the end, -1 when it was reset.
  ssize_t Received() const {
    char byte;
    return recv(m_Socket, &byte, 1, 0);
  }

private:
  int m_Socket;
};

TEST(WhomToEnd, IsWhoKeptItWaitingTooLongFromTheAddressThatHoldsMost) {
  using std::chrono::milliseconds;
  const auto one = asio::ip::make_address("127.0.0.1"), other = asio::ip::make_address("127.0.0.2");
  const auto shortly = Handshakes::k_Patience, longer = shortly + milliseconds(1);
  using Waiting = Handshakes::Waiting;
  EXPECT_EQ(Handshakes::WhomToEnd({}), std::nullopt);
  EXPECT_EQ(Handshakes::WhomToEnd({{one, shortly}, {one, {}}}), std::nullopt);
  EXPECT_EQ(Handshakes::WhomToEnd({{one, {}}, {one, longer}, {one, longer + milliseconds(1)}}), 2u);
  const std::vector<Waiting> most{{one, longer * 2}, {other, longer}, {other, {}}};
  EXPECT_EQ(Handshakes::WhomToEnd(most), 1u);
  // A herd that does its part is not ended, however large.
  const std::vector<Waiting> herd{{one, {}}, {one, {}}, {one, shortly}, {other, longer}};
  EXPECT_EQ(Handshakes::WhomToEnd(herd), 3u);
}

class StrangersTest : public testing::Test {
protected:
  StrangersTest() { m_Farm.Serve({"--listen", "127.0.0.1:0"}); }
  TestFarm m_Farm;
};

TEST_F(StrangersTest, WhoIsSilentMakesRoomForWhoIsNot) {
  std::vector<Silent> strangers;
  for (size_t i = 0; i < Handshakes::k_Most + 100; ++i)
    strangers.emplace_back("127.0.0.1", m_Farm.Port());
  EXPECT_EQ(m_Farm.ConnectTls(m_Farm.Data() + "/clients/admin").Greet().size(), 4u);
  size_t ended = 0;
  for (const Silent& stranger : strangers) {
    if (!stranger.IsEnded())
      continue;
    ++ended;
    EXPECT_EQ(stranger.Received(), 0) << "an alert";
  }
  EXPECT_GE(ended, 100u);
}

TEST_F(StrangersTest, TheLimitHoldsForAllAddressesTogether) {
  std::vector<Silent> strangers;
  for (size_t i = 0; i < Handshakes::k_Most + 100; ++i)
    strangers.emplace_back("127.0.0.1", i % 2 == 0 ? m_Farm.Port() : m_Farm.LastPort());
  // Who comes last gets through only when there is room for who came before, at either address.
  for (const uint16_t port : {m_Farm.Port(), m_Farm.LastPort()})
    EXPECT_EQ(TestClient::Tls(port, m_Farm.Data() + "/clients/admin").Greet().size(), 4u);
  size_t ended = 0;
  for (const Silent& stranger : strangers)
    ended += stranger.IsEnded();
  EXPECT_GE(ended, 100u);
}

TEST_F(StrangersTest, NobodyIsEndedBeforeTheLimit) {
  std::vector<Silent> strangers;
  for (size_t i = 0; i < Handshakes::k_Most / 2; ++i)
    strangers.emplace_back("127.0.0.1", m_Farm.Port());
  EXPECT_EQ(m_Farm.ConnectTls(m_Farm.Data() + "/clients/admin").Greet().size(), 4u);
  for (const Silent& stranger : strangers)
    EXPECT_FALSE(stranger.IsEnded());
}

TEST(ConnectionsPerCertificate, SendsTheNextOneAwayAndSaysWhyInTheLog) {
  TestFarm farm("ConnectionsPerCertificate = 2\n");
  farm.Serve();
  const std::string node = farm.Issue("node", "component");
  TestClient first = farm.ConnectTls(node), second = farm.ConnectTls(node);
  first.Greet();
  second.Greet();
  for (int i = 0; i < 3; ++i) {
    TestClient next = farm.ConnectTls(node);
    const wire::Frame frame = next.ReceiveOnly(wire::Frame::kGoodbye);
    EXPECT_EQ(frame.goodbye().reason(), wire::Goodbye::BUSY);
  }
  EXPECT_EQ(farm.ConnectTls(farm.Data() + "/clients/admin").Greet().size(), 4u);
  const std::string log = ReadTextFile(farm.Data() + "/log/brenic-master.log");
  const auto found = log.find("ConnectionsPerCertificate");
  EXPECT_NE(found, std::string::npos) << log;
  EXPECT_EQ(log.find("ConnectionsPerCertificate", found + 1), std::string::npos) << log;
}

} // namespace
} // namespace brenic::master
