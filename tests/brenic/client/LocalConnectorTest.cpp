#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "TempFolder.h"
#include "client/Connectors.h"

namespace brenic {
namespace {

/// Why no connection to the socket is made.
ConnectFailure FailureOfConnecting(const std::string& socket) {
  asio::io_context io;
  Endpoint endpoint;
  endpoint.m_Socket = Path(socket);
  const auto connector = MakeLocalConnector(io, endpoint);
  ConnectFailure failure{"there is a connection", false};
  connector->Connect([&](ConnectResult result) {
    if (const auto* refused = std::get_if<ConnectFailure>(&result))
      failure = *refused;
  });
  io.run_for(std::chrono::seconds(30));
  return failure;
}

/// Makes a socket that nobody listens on.
void Leave(const std::string& path) {
  asio::io_context io;
  asio::local::stream_protocol::acceptor(io, asio::local::stream_protocol::endpoint(path));
}

TEST(LocalConnector, SaysWhatToDoAboutASocketThatIsNotThere) {
  const TempFolder folder;
  const ConnectFailure failure = FailureOfConnecting(folder / "master.sock");
  EXPECT_EQ(failure.m_Text, "No such file or directory; check the path, and that the Master runs");
  EXPECT_FALSE(failure.m_Final);
}

TEST(LocalConnector, SaysWhatToDoAboutASocketThatNobodyServes) {
  const TempFolder folder;
  Leave(folder / "master.sock");
  const ConnectFailure failure = FailureOfConnecting(folder / "master.sock");
  EXPECT_EQ(failure.m_Text, "Connection refused: nobody listens there; check that the Master runs");
  EXPECT_FALSE(failure.m_Final);
}

TEST(LocalConnector, SaysWhatToDoAboutASocketThatOneMayNotUse) {
  const TempFolder folder;
  Leave(folder / "master.sock");
  ASSERT_EQ(chmod((folder / "master.sock").c_str(), 0), 0);
  const bool isRoot = geteuid() == 0;
  ASSERT_TRUE(!isRoot || (chmod(folder.Name().c_str(), 0755) == 0 && seteuid(65534) == 0));
  const ConnectFailure failure = FailureOfConnecting(folder / "master.sock");
  ASSERT_TRUE(!isRoot || seteuid(0) == 0);
  EXPECT_EQ(failure.m_Text,
            "Permission denied; be root or the Master's own user, or use -Master <address:port> with "
            "credentials");
  EXPECT_FALSE(failure.m_Final);
}

TEST(LocalConnector, APathThatIsTooLongIsFinal) {
  const ConnectFailure failure = FailureOfConnecting("/" + std::string(200, 'x'));
  EXPECT_EQ(failure.m_Text, "File name too long; a socket's path has at most 107 bytes");
  EXPECT_TRUE(failure.m_Final);
}

} // namespace
} // namespace brenic
