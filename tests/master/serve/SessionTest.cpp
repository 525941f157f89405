// A session by itself, without a Master around it.
#include "serve/Session.h"

#include <boost/asio/local/connect_pair.hpp>
#include <gmock/gmock.h>

namespace brenic::master {
namespace {

using Local = asio::local::stream_protocol;

struct Host : SessionHost {
  void Submit(Request) override {}
  std::shared_ptr<const Snapshot> CurrentSnapshot() const override { return std::make_shared<Snapshot>(); }
  const wire::Welcome& WelcomeTemplate() const override { return m_Welcome; }
  void Closed(uint64_t) override { m_Closed = true; }
  void Welcomed(const Peer&) override {}
  void ReportStranger(const String& line) override { m_Lines.push_back(line.str()); }

  wire::Welcome m_Welcome;
  bool m_Closed = false;
  std::vector<std::string> m_Lines;
};

TEST(Session, CountsTheTimeForHelloFromTheConnectionAndNotFromTheHandshake) {
  asio::io_context io;
  Local::socket ours(io), peer(io);
  asio::local::connect_pair(ours, peer);
  Host host;
  const auto session = std::make_shared<Session>(
      host, io, 1, std::make_unique<AsioByteStream<Local::socket>>(std::move(ours)), Peer());
  session->Start(std::chrono::steady_clock::now() - Session::k_HelloWithin);
  io.poll(); // waits for nothing
  EXPECT_TRUE(host.m_Closed);
  EXPECT_THAT(host.m_Lines, testing::ElementsAre(testing::HasSubstr("sent no Hello in time")));
}

} // namespace
} // namespace brenic::master
