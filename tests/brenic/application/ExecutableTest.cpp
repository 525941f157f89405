#include "brenic/Executable.h"

#include <algorithm>
#include <csignal>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>
#include <unistd.h>

#include "NumberedName.h"
#include "brenic/Application.h"
#include "brenic/Messenger.h"
#include "scripted/Recorder.h"

using namespace brenic;
using testing::ElementsAre;

namespace {

/// A program that does what the test tells it.
class Program : public Application, public Executable {
public:
  bool Startup(CommandLine& cmd) override {
    m_Events.emplace_back("Startup");
    return m_OnStartup ? m_OnStartup(cmd) : true;
  }
  int Execute() override {
    m_Events.emplace_back("Execute");
    return m_OnExecute ? m_OnExecute() : 0;
  }
  void Cleanup() override {
    m_Events.emplace_back("Cleanup");
    if (m_OnCleanup)
      m_OnCleanup();
  }
  bool OnException(Exception* e) override {
    m_Events.push_back("OnException " + (e ? e->Message().str() : "unknown"));
    return m_Handled;
  }
  void OnInterrupt() override {
    if (m_Interrupt)
      m_Interrupt();
    else
      Executable::OnInterrupt();
  }

  int Run(std::vector<const char*> arguments = {"program"}) {
    return Start(static_cast<int>(arguments.size()), const_cast<char**>(arguments.data()));
  }
  size_t Passes() const {
    return static_cast<size_t>(std::count(m_Events.begin(), m_Events.end(), "Execute"));
  }

  using Executable::m_CommandLine;
  using Executable::m_ExitCode;

  std::vector<std::string> m_Events;
  std::function<bool(CommandLine&)> m_OnStartup;
  std::function<int()> m_OnExecute;
  std::function<void()> m_OnCleanup;
  std::function<void()> m_Interrupt;
  bool m_Handled = false;
};

class ExecutableTest : public testing::Test {
protected:
  scripted::Recorder m_Recorder;
  Program m_Program;
};

TEST_F(ExecutableTest, RunsTheLoopWhileItsResultIsNotZeroAndCleansUpOnce) {
  m_Program.m_OnExecute = [&] { return m_Program.Passes() < 3 ? -1 : 0; };
  EXPECT_EQ(m_Program.Run(), 0);
  EXPECT_THAT(m_Program.m_Events, ElementsAre("Startup", "Execute", "Execute", "Execute", "Cleanup"));
}

TEST_F(ExecutableTest, AFalseStartupRunsNoLoopAndNoCleanup) {
  m_Program.m_OnStartup = [](CommandLine&) { return false; };
  EXPECT_EQ(m_Program.Run(), 0);
  EXPECT_THAT(m_Program.m_Events, ElementsAre("Startup"));
}

TEST_F(ExecutableTest, StartupGetsTheArgumentsWithoutTheProgramsName) {
  m_Program.m_OnStartup = [&](CommandLine& cmd) {
    EXPECT_EQ(&cmd, &m_Program.m_CommandLine);
    EXPECT_EQ(cmd.GetArgumentCount(nullptr), 2);
    EXPECT_EQ(cmd.GetArgument(nullptr, 0, k_Empty), "-a");
    return true;
  };
  m_Program.Run({"/usr/bin/program", "-a", "b"});
  EXPECT_EQ(m_Program.ProgramName(), "program");
}

TEST_F(ExecutableTest, AnExceptionGoesToTheApplicationAndEndsTheLoopWhenItIsNotDealtWith) {
  m_Program.m_OnExecute = []() -> int { throw new Exception("reason"); };
  EXPECT_EQ(m_Program.Run(), 1);
  EXPECT_THAT(m_Program.m_Events, ElementsAre("Startup", "Execute", "OnException reason", "Cleanup"));
}

TEST_F(ExecutableTest, AnExceptionThatIsDealtWithLetsTheLoopGoOn) {
  m_Program.m_Handled = true;
  m_Program.m_OnExecute = [&] {
    if (m_Program.Passes() == 1)
      throw new Exception("reason");
    return 0;
  };
  EXPECT_EQ(m_Program.Run(), 0);
  EXPECT_THAT(m_Program.m_Events,
              ElementsAre("Startup", "Execute", "OnException reason", "Execute", "Cleanup"));
}

TEST_F(ExecutableTest, AnythingElseThatIsThrownIsAnUnknownException) {
  m_Program.m_OnExecute = []() -> int { throw std::runtime_error("text"); };
  EXPECT_EQ(m_Program.Run(), 1);
  EXPECT_THAT(m_Program.m_Events, ElementsAre("Startup", "Execute", "OnException unknown", "Cleanup"));
  m_Program.m_Events.clear();
  m_Program.m_OnExecute = []() -> int { throw 1; };
  m_Program.Run();
  EXPECT_THAT(m_Program.m_Events, ElementsAre("Startup", "Execute", "OnException unknown", "Cleanup"));
}

TEST_F(ExecutableTest, AnExceptionInStartupEndsTheRunBeforeTheLoop) {
  m_Program.m_OnStartup = [](CommandLine&) -> bool { throw new Exception("reason"); };
  EXPECT_EQ(m_Program.Run(), 1);
  EXPECT_THAT(m_Program.m_Events, ElementsAre("Startup", "OnException reason"));
}

TEST_F(ExecutableTest, AnExceptionInCleanupIsReported) {
  m_Program.m_OnCleanup = [] { throw new Exception("reason"); };
  EXPECT_EQ(m_Program.Run(), 1);
  EXPECT_THAT(m_Program.m_Events, ElementsAre("Startup", "Execute", "Cleanup", "OnException reason"));
}

TEST_F(ExecutableTest, AnEndedConnectionEndsTheLoopLikeZero) {
  m_Program.m_OnExecute = []() -> int { throw new ConnectionEnded("lost"); };
  EXPECT_EQ(m_Program.Run(), 0);
  EXPECT_THAT(m_Program.m_Events, ElementsAre("Startup", "Execute", "Cleanup"));
  EXPECT_THAT(m_Recorder.m_Log, ElementsAre("INFO lost"));
  EXPECT_EQ(m_Recorder.m_Out + m_Recorder.m_Err, "");
}

TEST_F(ExecutableTest, SignalAndStopAskTheLoopToEnd) {
  EXPECT_FALSE(m_Program.EndRequested());
  m_Program.Signal(0);
  EXPECT_TRUE(m_Program.EndRequested());
  Program other;
  EXPECT_FALSE(other.EndRequested());
  other.Stop();
  EXPECT_TRUE(other.EndRequested());
}

TEST_F(ExecutableTest, TheWakeIsCalledByEachSignalUntilItIsTakenAway) {
  int woken = 0;
  m_Program.SetWake([&] { ++woken; });
  m_Program.Signal(0);
  m_Program.Stop();
  EXPECT_EQ(woken, 2);
  m_Program.SetWake({});
  m_Program.Signal(0);
  EXPECT_EQ(woken, 2);
}

TEST_F(ExecutableTest, AClosedPipeDoesNotEndTheProcess) {
  std::signal(SIGPIPE, SIG_DFL);
  m_Program.m_OnExecute = [] {
    struct sigaction action {};
    sigaction(SIGPIPE, nullptr, &action);
    EXPECT_EQ(action.sa_handler, SIG_IGN);
    return 0;
  };
  m_Program.Run();
}

TEST_F(ExecutableTest, AnInterruptArrivesOnAThreadOfItsOwn) {
  std::promise<std::thread::id> thread;
  m_Program.m_Interrupt = [&] { thread.set_value(std::this_thread::get_id()); };
  m_Program.m_OnExecute = [&] {
    kill(getpid(), SIGINT);
    EXPECT_NE(thread.get_future().get(), std::this_thread::get_id());
    return 0;
  };
  EXPECT_EQ(m_Program.Run(), 0);
}

TEST_F(ExecutableTest, AnInterruptAsksTheLoopToEnd) {
  std::promise<void> woken;
  m_Program.SetWake([&] { woken.set_value(); });
  m_Program.m_OnExecute = [&] {
    kill(getpid(), SIGINT);
    woken.get_future().wait();
    EXPECT_TRUE(m_Program.EndRequested());
    return 0;
  };
  m_Program.Run();
}

TEST_F(ExecutableTest, AThreadThatEndedByAnExceptionIsLogged) {
  m_Program.ThreadException(nullptr);
  EXPECT_THAT(m_Recorder.m_Log, ElementsAre("ERROR A thread ended by an exception"));
}

TEST_F(ExecutableTest, TextWithoutAnEndOfLineIsWrittenAtTheEnd) {
  m_Program.m_OnExecute = [] {
    rlib::stdOut.Put("no end");
    return 0;
  };
  m_Program.Run();
  EXPECT_EQ(m_Recorder.m_Out, "no end");
}

TEST_F(ExecutableTest, TheLatestObjectIsTheProgramsAndNoneOnceItIsGone) {
  {
    Program other;
    EXPECT_EQ(Executable::Instance(), &other);
    EXPECT_EQ(Application::Instance(), &other);
  }
  EXPECT_EQ(Executable::Instance(), nullptr);
  EXPECT_EQ(Application::Instance(), nullptr);
}

struct StatusCase {
  bool m_Unknown;
  int m_ExitCode;
  bool m_Failed;
  bool m_InputFailure;
  bool m_NoConnection;
  int m_Expected;
};

class ExitStatusTest : public ExecutableTest, public testing::WithParamInterface<StatusCase> {};

TEST_P(ExitStatusTest, TheFirstThatAppliesIsTaken) {
  const StatusCase& status = GetParam();
  // Noted in the order opposite to their rank, and partly as late as in Cleanup.
  m_Program.m_OnExecute = [&] {
    if (status.m_NoConnection)
      m_Program.Note(k_ExitNoConnection);
    if (status.m_InputFailure)
      rlib::NoteInputFailure();
    m_Program.m_ExitCode = status.m_ExitCode;
    return 0;
  };
  m_Program.m_OnCleanup = [&] {
    if (status.m_Failed)
      m_Program.Note(k_ExitFailed);
    if (status.m_Unknown)
      m_Program.Note(k_ExitUnknownOutcome);
  };
  EXPECT_EQ(m_Program.Run(), status.m_Expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ExitStatusTest,
    testing::Values(StatusCase{true, 2, true, true, true, 4}, StatusCase{true, 0, false, false, false, 4},
                    StatusCase{false, 2, true, true, true, 2}, StatusCase{false, 1, false, false, true, 1},
                    StatusCase{false, 0, true, false, true, 1}, StatusCase{false, 0, false, true, true, 1},
                    StatusCase{false, 0, false, false, true, 3},
                    StatusCase{false, 0, false, false, false, 0}),
    [](const auto& info) {
      return NumberedName(info.index, "Gives" + std::to_string(info.param.m_Expected));
    });

} // namespace
