#include "brenic/BrenicApp.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "application/Line.h"
#include "brenic/MessageFactory.h"
#include "brenic/SystemMessages.h"
#include "rlib/Log.h"
#include "scripted/Recorder.h"

using namespace brenic;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

class App : public BrenicApp {
public:
  bool Startup(CommandLine&) override { return true; }
  int Execute() override { return 0; }
  void Cleanup() override {}
  bool OnException(Exception*) override { return false; }

  using Application::m_LogFolder;
  using BrenicApp::m_JobFactory;
};

class BrenicAppTest : public testing::Test {
protected:
  scripted::Recorder m_Recorder;
  App m_App;
};

TEST_F(BrenicAppTest, AClientIsNoPartOfTheMaster) {
  EXPECT_FALSE(m_App.IsMasterComponentProcess());
  EXPECT_FALSE(m_App.IsTheMaster());
  EXPECT_FALSE(m_App.IsAMirror());
  EXPECT_FALSE(m_App.IsAnEngine());
}

TEST_F(BrenicAppTest, AClientHoldsNoJobsAndNoEngines) {
  const UID id(true);
  EXPECT_FALSE(m_App.GetJobByID(id));
  EXPECT_FALSE(m_App.GetEngineByID(id));
  EXPECT_EQ(m_App.GetJobParameter(id, "name"), "");
  EXPECT_TRUE(m_App.GetJobParameters(id).empty());
  EXPECT_TRUE(m_App.GetAllJobs().empty());
  EXPECT_TRUE(m_App.GetAllEngines().empty());
  EXPECT_TRUE(m_App.GetWorkParentID(id).IsNull());
  EXPECT_EQ(m_App.GetPoolName(id), "");
}

TEST_F(BrenicAppTest, AnUnhandledMessageIsLoggedWithItsClass) {
  m_App.OnUnhandledMessage(MessageFactory::Create<LogDumpMsg>());
  EXPECT_THAT(m_Recorder.m_Log, ElementsAre(HasSubstr("LogDumpMsg")));
}

TEST_F(BrenicAppTest, ItsRegistryIsTheOneOfTheProcess) {
  EXPECT_EQ(&m_App.m_JobFactory, &JobFactory::s_JobFactory);
}

TEST_F(BrenicAppTest, TheLogFolderIsTheOneOfTheSwitchElseTheUsualOne) {
  CommandLine named = Line({"-logfolder", "/some/folder"});
  m_App.SetLogDir(named);
  EXPECT_EQ(m_App.m_LogFolder.str(), "/some/folder");
  for (CommandLine other : {Line({}), Line({"-LogFolder"}), Line({"-LogFolder", ""})}) {
    m_App.SetLogDir(other);
    EXPECT_EQ(m_App.m_LogFolder.str(), rlib::Log::DefaultFolder().str());
  }
}

} // namespace
