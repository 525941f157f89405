#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "TempFolder.h"
#include "TestCertificates.h"
#include "net/Asio.h"

namespace brenic {
namespace {

using asio::ip::tcp;

/// The real program with credentials for a listener that accepts and says nothing.
class InterruptTest : public testing::Test {
protected:
  InterruptTest() {
    const TestCertificate authority = MakeCertificate({Purpose::k_Authority}, nullptr);
    const TestCertificate client = MakeCertificate({Purpose::k_Client}, &authority);
    authority.WriteCertificate(m_Folder / "ca.pem");
    client.WriteCertificate(m_Folder / "client.pem");
    client.WriteKey(m_Folder / "client.key");
    WriteTextFile(m_Folder / "brenic.conf",
                  "[Client]\nMaster=127.0.0.1:" + std::to_string(m_Listener.local_endpoint().port()) +
                      "\nCA=ca.pem\nCertificate=client.pem\nKey=client.key\n");
  }
  ~InterruptTest() override {
    if (m_Child > 0) {
      kill(m_Child, SIGKILL);
      waitpid(m_Child, nullptr, 0);
    }
  }

  void Launch(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {SETWRIGHT, "-LogFolder", m_Folder / "log"});
    std::vector<char*> raw;
    for (std::string& argument : arguments)
      raw.push_back(argument.data());
    raw.push_back(nullptr);
    const std::string config = "BRENIC_CONFIG=" + (m_Folder / "brenic.conf");
    char* environment[] = {const_cast<char*>(config.c_str()), nullptr};
    const std::string errors = m_Folder / "stderr";
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDERR_FILENO, errors.c_str(), O_WRONLY | O_CREAT, 0600);
    ASSERT_EQ(posix_spawn(&m_Child, SETWRIGHT, &files, nullptr, raw.data(), environment), 0);
    posix_spawn_file_actions_destroy(&files);
  }
  /// The exit status; -1 when a signal ended it.
  int Wait() {
    int status = 0;
    waitpid(m_Child, &status, 0);
    m_Child = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  TempFolder m_Folder;
  asio::io_context m_Io;
  tcp::acceptor m_Listener{m_Io, tcp::endpoint(asio::ip::address_v4::loopback(), 0)};
  pid_t m_Child = -1;
};

TEST_F(InterruptTest, CtrlCWhileConnectingEndsTheProgramAtOnceWith130) {
  Launch({"-Info"});
  const tcp::socket accepted = m_Listener.accept(); // it is connecting now
  const auto start = std::chrono::steady_clock::now();
  kill(m_Child, SIGINT);
  EXPECT_EQ(Wait(), 130);
  const auto took = std::chrono::steady_clock::now() - start;
  std::printf("ended %lld ms after the signal\n",
              static_cast<long long>(std::chrono::duration_cast<std::chrono::milliseconds>(took).count()));
  EXPECT_LT(took, std::chrono::seconds(4)); // below the time of an attempt, whatever the machine's speed
  EXPECT_EQ(ReadTextFile(m_Folder / "stderr"), "Interrupted\n");
}

TEST_F(InterruptTest, ConnectTimeoutEndsTheProgramWith3WhileTheListenerSaysNothing) {
  Launch({"-ConnectTimeout", "0.1", "-Info"});
  const tcp::socket accepted = m_Listener.accept();
  EXPECT_EQ(Wait(), 3);
  const std::string address = "127.0.0.1:" + std::to_string(m_Listener.local_endpoint().port());
  EXPECT_EQ(ReadTextFile(m_Folder / "stderr"),
            "No connection to the Master at " + address +
                " within 0.1 s: no answer; check the address and port, and that the Master runs\n");
}

} // namespace
} // namespace brenic
