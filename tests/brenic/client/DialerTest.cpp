#include "client/Dialer.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <optional>

namespace brenic {
namespace {

using asio::ip::tcp;
using std::chrono::milliseconds;

constexpr milliseconds k_Never = std::chrono::hours(1);

tcp::endpoint Loopback(const char* address, uint16_t port = 0) {
  return {asio::ip::make_address(address), port};
}

/// Takes connections, which nobody has to accept.
class Listening {
public:
  explicit Listening(const char* address, int backlog = 16) : m_Acceptor(m_Io) {
    m_Acceptor.open(tcp::v4());
    m_Acceptor.bind(Loopback(address));
    m_Acceptor.listen(backlog);
  }
  tcp::endpoint Where() const { return m_Acceptor.local_endpoint(); }

protected:
  asio::io_context m_Io;

private:
  tcp::acceptor m_Acceptor;
};

/// Answers nothing: as many connections as it takes wait to be accepted already.
class Silent : public Listening {
public:
  Silent() : Listening("127.0.0.2", 0), m_Filler(m_Io) { m_Filler.connect(Where()); }

private:
  tcp::socket m_Filler;
};

tcp::endpoint Refusing() {
  return Listening("127.0.0.3").Where();
}

class DialerTest : public testing::Test {
protected:
  /// Connects to one of the addresses.
  void Dial(const std::vector<tcp::endpoint>& addresses, milliseconds nextAfter) {
    Dialer dialer(m_Io, nextAfter);
    dialer.Begin(addresses, [this](const error_code& error, tcp::socket socket) {
      EXPECT_FALSE(m_Error) << "called twice";
      m_Error = error;
      if (!error)
        m_Connected = socket.remote_endpoint();
    });
    m_Io.restart();
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!m_Error && m_Io.run_one_until(end) > 0)
      m_Most = std::max(m_Most, Descriptors());
    EXPECT_TRUE(m_Error) << "nothing came of it";
    m_Io.poll(); // what was given up completes without a call
  }
  static size_t Descriptors() {
    using Folder = std::filesystem::directory_iterator;
    return static_cast<size_t>(std::distance(Folder("/proc/self/fd"), Folder()));
  }

  asio::io_context m_Io;
  std::optional<error_code> m_Error;
  tcp::endpoint m_Connected;
  size_t m_Most = 0; // descriptors at the same time
};

TEST_F(DialerTest, TheOnlyAddressIsConnected) {
  const Listening master("127.0.0.1");
  Dial({master.Where()}, k_Never);
  EXPECT_EQ(m_Connected, master.Where());
}

TEST_F(DialerTest, ASilentAddressDoesNotHoldUpTheNext) {
  const Silent silent;
  const Listening master("127.0.0.1");
  Dial({silent.Where(), master.Where()}, Dialer::k_NextAfter);
  EXPECT_EQ(m_Connected, master.Where());
}

TEST_F(DialerTest, TheFirstThatAnswersIsTaken) {
  const Listening first("127.0.0.1"), second("127.0.0.1");
  Dial({first.Where(), second.Where()}, k_Never);
  EXPECT_EQ(m_Connected, first.Where());
}

TEST_F(DialerTest, ARefusedAddressMakesTheNextBeginAtOnce) {
  const Listening master("127.0.0.1");
  Dial({Refusing(), Refusing(), master.Where()}, k_Never);
  EXPECT_EQ(m_Connected, master.Where());
}

TEST_F(DialerTest, WhenAllFailTheLastErrorIsTold) {
  Dial({Loopback("127.0.0.255"), Refusing()}, k_Never);
  EXPECT_EQ(m_Error, asio::error::connection_refused);
}

TEST_F(DialerTest, NotMoreThanSoManyAreTriedAtATimeAndAllAreTried) {
  const Silent silent;
  const Listening master("127.0.0.1");
  std::vector<tcp::endpoint> addresses(3 * Dialer::k_MostAtOnce, silent.Where());
  addresses.push_back(master.Where());
  Dial({Refusing()}, k_Never); // opens the I/O thread's own descriptors
  m_Error = std::nullopt;
  m_Most = 0;
  const size_t before = Descriptors();
  Dial(addresses, milliseconds(1));
  EXPECT_EQ(m_Connected, master.Where());
  EXPECT_EQ(m_Most, before + Dialer::k_MostAtOnce);
}

TEST_F(DialerTest, ACancelledOneDoesNotCall) {
  const Listening master("127.0.0.1");
  Dialer dialer(m_Io, k_Never);
  dialer.Begin({master.Where(), master.Where()}, [](const error_code&, tcp::socket) { FAIL(); });
  dialer.Cancel();
  m_Io.run_for(std::chrono::seconds(30)); // ends at once: nothing is left
  EXPECT_TRUE(m_Io.stopped());
}

TEST(Interleaved, TakesTheFamiliesInTurnAndBeginsWithTheFirst) {
  const auto a = Loopback("::1"), b = Loopback("::2"), c = Loopback("::3");
  const auto x = Loopback("127.0.0.1"), y = Loopback("127.0.0.2");
  using Addresses = std::vector<tcp::endpoint>;
  EXPECT_EQ(Interleaved({a, b, c, x, y}), (Addresses{a, x, b, y, c}));
  EXPECT_EQ(Interleaved({x, y, a}), (Addresses{x, a, y}));
  EXPECT_EQ(Interleaved({a, x, b}), (Addresses{a, x, b}));
  EXPECT_EQ(Interleaved({x}), (Addresses{x}));
}

} // namespace
} // namespace brenic
