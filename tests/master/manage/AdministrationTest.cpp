// What a subcommand says of a Master that listens and is silent, as one does that was stopped.
#include "manage/Administration.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "TempFolder.h"
#include "brenic/ManagementMessages.h"
#include "store/DataFolder.h"

namespace brenic::master {
namespace {

class SilentMaster : public testing::Test {
protected:
  SilentMaster() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ManagementSocket(m_Folder.Name()).str().str().copy(address.sun_path, sizeof address.sun_path - 1);
    EXPECT_EQ(bind(m_Socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(listen(m_Socket, 0), 0);
  }
  ~SilentMaster() override { close(m_Socket); }

  /// Why it could not be asked.
  std::string WhyNot() const {
    RevokeClientMsg message;
    message.m_ID = UID(true);
    message.m_Client = "node";
    try {
      return AskRunning(m_Folder.Name(), message, std::chrono::milliseconds(1)) ? "it answered"
                                                                                : "there is none";
    } catch (Exception* error) {
      const std::unique_ptr<Exception> owned(error);
      return error->Message().str();
    }
  }

  const TempFolder m_Folder;
  const int m_Socket = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

TEST_F(SilentMaster, NothingWasDoneBeforeItHasLetSomebodyIn) {
  constexpr char k_Told[] =
      "The Master does not answer within 1 seconds; nothing was done: look at its log, and "
      "whether it was stopped or stands still";
  EXPECT_EQ(WhyNot(), k_Told);
  // Each has left a connection that waits, until there is no room for more.
  for (int i = 0; i != 5; ++i)
    EXPECT_EQ(WhyNot(), k_Told);
}

TEST(NoMaster, WhatIsNoSocketIsToldAtOnce) {
  const TempFolder folder;
  WriteTextFile(ManagementSocket(folder.Name()).str().str(), "");
  RevokeClientMsg message;
  message.m_ID = UID(true);
  try {
    AskRunning(folder.Name(), message);
    FAIL() << "it is taken for a Master that begins";
  } catch (Exception* error) {
    const std::unique_ptr<Exception> owned(error);
    EXPECT_EQ(error->Message().str(),
              "'" + folder.Name() +
                  "/manage.sock', by which the Master is asked, is no socket; take it away, and the Master "
                  "makes it anew within seconds");
  }
}

} // namespace
} // namespace brenic::master
