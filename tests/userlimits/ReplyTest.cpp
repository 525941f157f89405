#include "scripted/SetwrightTest.h"
#include "scripted/Writes.h"

using namespace brenic;
using namespace scripted;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

constexpr const char* k_NoData = "Called GetMasterOptions, but returned msg did not set o_UserLimits data.";

boost::shared_ptr<SetMasterOptionsMsg> ReplyWith(const OptionMap& options) {
  const auto reply = MessageFactory::Create<SetMasterOptionsMsg>();
  reply->m_Section = "Distribution";
  reply->m_Options = options;
  return reply;
}

class UserLimitReplyTest : public SetwrightTest {
protected:
  UserLimitReplyTest() {
    m_App.Startup(m_Access.m_CommandLine);
    m_Script.m_Events.clear();
    m_Recorder.m_Log.clear();
  }
  /// The reply with these limits, to the operation that these members describe.
  void Reply(const char* limits, const char* name, int value, const char* option = "UserLimits") {
    m_Access.m_UserLimitName = name;
    m_Access.m_UserLimitValue = value;
    EXPECT_EQ(Arrive(ReplyWith({{option, limits}})), 1u);
  }
  /// What was sent in answer to the last reply.
  std::string Sent() {
    if (m_Script.m_Sent.empty())
      return "nothing";
    const auto message = boost::dynamic_pointer_cast<SetMasterOptionsMsg>(m_Script.m_Sent.back());
    if (!message || message->m_Section != "Distribution" || message->m_Options.size() != 1 ||
        message->m_Options.begin()->first != "UserLimits")
      return "another message";
    return message->m_Options.begin()->second.str();
  }
  void ExpectSilence() {
    EXPECT_THAT(m_Recorder.m_Log, IsEmpty());
    EXPECT_EQ(m_Recorder.m_Out + m_Recorder.m_Err, "");
    EXPECT_EQ(m_Access.m_ExitCode, 0);
  }
};

TEST_F(UserLimitReplyTest, AnEntryIsReplacedWhereItStands) {
  Reply("ann=2;bob=5;", "bob", 7);
  EXPECT_EQ(Sent(), "ann=2;bob=7;");
}

TEST_F(UserLimitReplyTest, ANewEntryComesLast) {
  Reply("ann=2;bob=5;", "cat", 1);
  EXPECT_EQ(Sent(), "ann=2;bob=5;cat=1;");
}

TEST_F(UserLimitReplyTest, AnEntryIsRemoved) {
  Reply("ann=2;bob=5;", "ann", -1);
  EXPECT_EQ(Sent(), "bob=5;");
}

TEST_F(UserLimitReplyTest, RemovingAnAbsentEntrySendsTheTextAsItIs) {
  Reply("ann=2;bob=5;", "dan", -1);
  EXPECT_EQ(Sent(), "ann=2;bob=5;");
}

TEST_F(UserLimitReplyTest, RemovingAllSendsTheEmptyText) {
  Reply("ann=2;bob=5;", "", -2);
  EXPECT_EQ(Sent(), "");
}

TEST_F(UserLimitReplyTest, ALimitOfZeroIsSet) {
  Reply("", "bob", 0);
  EXPECT_EQ(Sent(), "bob=0;");
}

TEST_F(UserLimitReplyTest, TheFirstLimitOfTheFarmIsSet) {
  Reply("", "bob", 3);
  EXPECT_EQ(Sent(), "bob=3;");
}

TEST_F(UserLimitReplyTest, AnEntryWithoutItsEndIsNotRemoved) {
  Reply("bob=3", "bob", -1);
  EXPECT_EQ(Sent(), "bob=3");
}

TEST_F(UserLimitReplyTest, ANameIsAlsoFoundAtTheEndOfALongerOne) {
  Reply("jimbob=2;", "bob", 4);
  EXPECT_EQ(Sent(), "jimbob=4;");
}

TEST_F(UserLimitReplyTest, AnUnknownOperationReplacesTheWholeText) {
  Reply("ann=2;bob=5;", "bob", -4);
  EXPECT_EQ(Sent(), "bob=-4;");
  Reply("ann=2;", "", -2147483647 - 1);
  EXPECT_EQ(Sent(), "=-2147483648;");
}

TEST_F(UserLimitReplyTest, EveryReplyIsTakenAlsoWithoutAPendingOperation) {
  EXPECT_EQ(Arrive(ReplyWith({{"UserLimits", "ann=2;"}})), 1u);
  EXPECT_EQ(Sent(), "ann=0;");
  EXPECT_EQ(Arrive(ReplyWith({{"UserLimits", ""}})), 1u);
  EXPECT_EQ(Sent(), "=0;");
}

TEST_F(UserLimitReplyTest, AChangeIsSentThenAwaitedWithoutLimitAndWithoutAWord) {
  for (const int value : {5, -1, -2, -4}) {
    m_Script.m_Sent.clear();
    m_Script.m_Waits.clear();
    m_Script.m_Events.clear();
    Reply("ann=2;", "ann", value);
    EXPECT_THAT(m_Script.m_Events, ElementsAre("Send SetMasterOptionsMsg", "Wait SetMasterOptionsMsg"));
    ASSERT_EQ(m_Script.m_Sent.size(), 1u);
    EXPECT_THAT(m_Script.m_Waits, ElementsAre(Wait{m_Script.m_Sent[0]->m_ID, -1.0f}));
    ExpectSilence();
  }
}

TEST_F(UserLimitReplyTest, TheResultOfTheWaitDoesNotMatter) {
  m_Script.m_OnSend = [&](const auto& message) { m_Script.m_Undelivered[message->m_ID] = Script::k_Always; };
  Reply("", "bob", 3);
  EXPECT_EQ(m_Script.m_Waits.size(), 1u);
  ExpectSilence();
}

TEST_F(UserLimitReplyTest, AChangeIsAMessageOfItsOwn) {
  const auto reply = ReplyWith({{"UserLimits", "ann=2;"}, {"Other", "x"}});
  m_Access.m_UserLimitName = "ann";
  m_Access.m_UserLimitValue = -1;
  Arrive(reply);
  ASSERT_EQ(m_Script.m_Sent.size(), 1u);
  EXPECT_NE(m_Script.m_Sent[0]->m_ID, reply->m_ID);
  EXPECT_EQ(Sent(), "");
  EXPECT_THAT(reply->m_Options, ElementsAre(Pair("Other", "x"), Pair("UserLimits", "ann=2;")));
}

TEST_F(UserLimitReplyTest, ThePendingOperationIsLeftAsItIs) {
  for (const int value : {3, 0, -1, -2, -3, -4}) {
    Reply("ann=2;bob=5;", "bob", value);
    EXPECT_EQ(m_Access.m_UserLimitName, "bob");
    EXPECT_EQ(m_Access.m_UserLimitValue, value);
    EXPECT_FALSE(m_Access.m_UserLimitsMsg);
  }
}

TEST_F(UserLimitReplyTest, RemovingAllIsSentAlsoWhenThereAreNone) {
  Reply("", "", -2);
  EXPECT_EQ(Sent(), "");
}

TEST_F(UserLimitReplyTest, AReplyOfAnySectionIsTakenAndTheChangeIsOneOfTheGlobalSection) {
  for (const char* section : {"", "Other", "00000000-0000-0000-0000-000000000001"}) {
    m_Script.m_Sent.clear();
    const auto reply = ReplyWith({{"UserLimits", "ann=2;"}});
    reply->m_Section = section;
    m_Access.m_UserLimitName = "bob";
    m_Access.m_UserLimitValue = 3;
    Arrive(reply);
    EXPECT_EQ(Sent(), "ann=2;bob=3;") << section;
  }
}

TEST_F(UserLimitReplyTest, LongNamesAreEditedAndShownWhole) {
  const std::string name(100'000, 'x');
  Reply(("ann=2;" + name + "=1;bob=5;").c_str(), name.c_str(), 7);
  EXPECT_EQ(Sent(), "ann=2;" + name + "=7;bob=5;");
  Reply((name + "=1;bob=5;").c_str(), name.c_str(), -1);
  EXPECT_EQ(Sent(), "bob=5;");
  Reply((name + "=1;").c_str(), "", -3);
  EXPECT_EQ(m_Recorder.m_Out, "\nUser: '" + name + "' with a worker limit of '1'\n\n");
}

TEST_F(UserLimitReplyTest, ThousandsOfLimitsAreEditedAndShownAll) {
  std::string limits;
  std::string shown = "\n";
  for (int user = 0; user < 5000; ++user) {
    const std::string number = std::to_string(user);
    limits += "user" + number + "=" + number + ";";
    shown += "User: 'user" + number + "' with a worker limit of '" + number + "'\n";
  }
  Reply(limits.c_str(), "", -3);
  EXPECT_EQ(m_Recorder.m_Out, shown + "\n");
  Reply((limits + "last=1;").c_str(), "last", 2);
  EXPECT_EQ(Sent(), limits + "last=2;");
}

TEST_F(UserLimitReplyTest, TheOptionIsFoundInAnyCase) {
  Reply("ann=2;", "bob", 3, "USERlimits");
  EXPECT_EQ(Sent(), "ann=2;bob=3;");
}

TEST_F(UserLimitReplyTest, AReplyWithoutTheOptionIsReportedAndChangesNothing) {
  for (const int value : {3, -1, -2, -3, -4}) {
    m_Recorder.m_Log.clear();
    m_Recorder.m_Err.clear();
    m_Access.m_UserLimitName = "bob";
    m_Access.m_UserLimitValue = value;
    Arrive(ReplyWith({{"UserLimit", "bob=2;"}}));
    EXPECT_THAT(m_Recorder.m_Log, ElementsAre(std::string("ERROR ") + k_NoData));
    EXPECT_EQ(m_Recorder.m_WrittenAtLastLine, "");
    EXPECT_EQ(m_Recorder.m_Err, std::string(k_NoData) + "\n");
    EXPECT_EQ(m_Recorder.m_Out, "");
    EXPECT_THAT(m_Script.m_Sent, IsEmpty());
    EXPECT_THAT(m_Script.m_Waits, IsEmpty());
    EXPECT_EQ(m_Access.m_ExitCode, 0);
  }
}

TEST_F(UserLimitReplyTest, LimitsAreShownBetweenEmptyLines) {
  Reply("ann=2;bob=5", "", -3);
  EXPECT_EQ(m_Recorder.m_Out, "\n"
                              "User: 'ann' with a worker limit of '2'\n"
                              "User: 'bob' with a worker limit of '5'\n"
                              "\n");
  EXPECT_THAT(m_Script.m_Events, IsEmpty()); // nothing sent, awaited or logged
  EXPECT_EQ(m_Recorder.m_Err, "");
}

TEST_F(UserLimitReplyTest, LimitsAreWrittenLineByLine) {
  EXPECT_THAT(WritesOf(m_Recorder, [this] { Reply("ann=2;12", "", -3); }).m_Texts,
              ElementsAre("\n", "User: 'ann' with a worker limit of '2'\n",
                          "User: '12' with a worker limit of '12'\n", "\n"));
}

TEST_F(UserLimitReplyTest, NoLimitsAreShownAsTwoEmptyLines) {
  Reply("", "", -3);
  EXPECT_EQ(m_Recorder.m_Out, "\n\n");
}

TEST_F(UserLimitReplyTest, AnEntryWithoutAnEqualsSignIsShownAsNameAndNumber) {
  Reply("12", "", -3);
  EXPECT_EQ(m_Recorder.m_Out, "\nUser: '12' with a worker limit of '12'\n\n");
}

TEST_F(UserLimitReplyTest, NamesAreShownThroughTheFormat) {
  Reply("50%n%s%d=5;a b=1;\"q;\"=2;x\\;y=3;", "", -3);
  EXPECT_EQ(m_Recorder.m_Out, "\n"
                              "User: '50%n5%d' with a worker limit of '%d'\n"
                              "User: 'a b' with a worker limit of '1'\n"
                              "User: 'q;' with a worker limit of '2'\n"
                              "User: 'x;y' with a worker limit of '3'\n"
                              "\n");
}

TEST_F(UserLimitReplyTest, IsTraced) {
  std::vector<std::string> calls;
  m_Script.m_OnSend = [&](const auto&) { calls = OpenCalls(); };
  Reply("", "bob", 3);
  EXPECT_THAT(calls, ElementsAre("SetwrightApp::OnSetMasterOptionsMsg (Setwright"));
}

class UserLimitRunTest : public SetwrightTest {
protected:
  /// A run against a Master that holds these limits and replies before it answers.
  int RunWith(const char* limits, std::vector<const char*> arguments) {
    m_Script.m_OnSend = [limits](const auto& message) {
      const auto request = boost::dynamic_pointer_cast<GetMasterOptionsMsg>(message);
      if (!request)
        return;
      EXPECT_THAT(request->m_OptionNames, ElementsAre("UserLimits"));
      Arrive(ReplyWith({{"UserLimits", limits}}));
    };
    return Run(std::move(arguments));
  }
};

TEST_F(UserLimitRunTest, AChangeReadsEditsAndWritesBack) {
  EXPECT_EQ(RunWith("ann=2;bob=5;", {"-SetUserLimit", "bob", "7"}), 0);
  ASSERT_THAT(m_Script.SentClasses(), ElementsAre("GetMasterOptionsMsg", "SetMasterOptionsMsg"));
  const auto change = boost::dynamic_pointer_cast<SetMasterOptionsMsg>(m_Script.m_Sent[1]);
  EXPECT_THAT(change->m_Options, ElementsAre(Pair("UserLimits", "ann=2;bob=7;")));
  EXPECT_THAT(m_Script.m_Waits,
              ElementsAre(Wait{change->m_ID, -1.0f}, Wait{m_Script.m_Sent[0]->m_ID, 0.25f}));
  EXPECT_EQ(m_Recorder.m_Out + m_Recorder.m_Err, "");
}

TEST_F(UserLimitRunTest, ADisplayOnlyReads) {
  EXPECT_EQ(RunWith("ann=2;", {"-getuserlimits"}), 0);
  EXPECT_THAT(m_Script.SentClasses(), ElementsAre("GetMasterOptionsMsg"));
  EXPECT_EQ(m_Recorder.m_Out, "\nUser: 'ann' with a worker limit of '2'\n\n");
}

TEST_F(UserLimitRunTest, OfSeveralSwitchesTheLastAcceptedOneIsDone) {
  EXPECT_EQ(RunWith("ann=2;bob=5;", {"-SetUserLimit", "ann", "9", "-GetUserLimits", "-RemoveUserLimit", "bob",
                                     "-SetUserLimit", "", "3"}),
            0);
  ASSERT_THAT(m_Script.SentClasses(), ElementsAre("GetMasterOptionsMsg", "SetMasterOptionsMsg"));
  EXPECT_THAT(boost::dynamic_pointer_cast<SetMasterOptionsMsg>(m_Script.m_Sent[1])->m_Options,
              ElementsAre(Pair("UserLimits", "ann=2;")));
}

} // namespace
