#include "serve/MachineCommands.h"

#include <sys/wait.h>
#include <unistd.h>

#include <boost/asio/posix/stream_descriptor.hpp>
#include <gtest/gtest.h>

namespace brenic::master {
namespace {

// The order of what the loop finds ready is that in which it became so: the command's end comes out of it
// before Finish is called, and is dealt with behind it.
TEST(MachineCommands, LetTheLoopEndWhenACommandEndsJustBeforeTheyFinish) {
  asio::io_context io;
  MachineCommands commands(io, {"true", "true"});
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  asio::posix::stream_descriptor finish(io, ends[0]);
  finish.async_wait(asio::posix::stream_descriptor::wait_read, [&](const error_code&) { commands.Finish(); });
  asio::post(io, [&] {
    MachineMsg message;
    message.m_Command = MachineMsg::k_Reboot;
    commands.Accept(1, message);
    commands.SessionClosed(1);
    siginfo_t child;
    ASSERT_EQ(waitid(P_ALL, 0, &child, WEXITED | WNOWAIT), 0);
    ASSERT_EQ(write(ends[1], "x", 1), 1);
  });
  io.run_for(std::chrono::seconds(20));
  EXPECT_TRUE(io.stopped());
  close(ends[1]);
}

} // namespace
} // namespace brenic::master
