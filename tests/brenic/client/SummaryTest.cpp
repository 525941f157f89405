// What a run says last when it had several requests and not all of them were committed.
#include "ClientTest.h"
#include "brenic/Options.h"

namespace brenic {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

class SummaryTest : public ClientTest {
protected:
  static shared_ptr<SetMasterLimitsMsg> Limits() { return MessageFactory::Create<SetMasterLimitsMsg>(); }
  static shared_ptr<MachineMsg> Reboot() {
    const auto message = MessageFactory::Create<MachineMsg>();
    message->m_Command = MachineMsg::k_Reboot;
    return message;
  }
  static shared_ptr<SetMasterOptionsMsg> TooLarge() { return Write(std::string(wire::k_MaxFrame, 'x')); }

  /// Limits are refused, commands to the machine have an unknown outcome, all else is served.
  void AnswerByClass() {
    m_Master.m_OnRequest = [this](Link& link, const wire::Envelope& request) {
      if (request.has_set_master_limits())
        m_Master.Answer(link, request.id(), wire::Answer::REFUSED, "because");
      else if (request.has_machine())
        m_Master.Answer(link, request.id(), wire::Answer::UNKNOWN, "because");
      else
        m_Master.Serve(link, request);
    };
  }
  int RunWith(const std::vector<shared_ptr<Message>>& requests) {
    m_App.m_OnProducts = [this, requests] {
      for (const auto& request : requests)
        Messenger::Send(request);
      m_App.Stop();
    };
    return Run();
  }
  std::string LastLine() const {
    const size_t end = m_Lines.rfind('\n', m_Lines.size() - 2);
    return m_Lines.substr(end == std::string::npos ? 0 : end + 1);
  }
};

TEST_F(SummaryTest, SaysWhatStandsWhenOneOfSeveralWasRefused) {
  AnswerByClass();
  EXPECT_EQ(RunWith({Write(), Limits()}), 1);
  EXPECT_EQ(m_Lines, "The Master refused to set limits: because\n"
                     "Committed: the options of the section Distribution. Refused: the worker limits. Repeat "
                     "only what was not committed\n");
}

TEST_F(SummaryTest, TellsTheUnknownFromTheRefused) {
  AnswerByClass();
  EXPECT_EQ(RunWith({Write(), Limits(), Reboot()}), 4);
  EXPECT_EQ(LastLine(), "Committed: the options of the section Distribution. Refused: the worker limits. "
                        "Outcome unknown: the reboot of the Master's machine. Repeat only what was not "
                        "committed, and look before you repeat what is unknown\n");
}

TEST_F(SummaryTest, CountsWhatWasNotAnsweredWhenTheConnectionEndedAsUnknown) {
  m_Master.m_OnRequest = [this](Link& link, const wire::Envelope& request) {
    if (!request.has_machine())
      return m_Master.Serve(link, request);
    m_Master.Goodbye(link, wire::Goodbye::PROTOCOL_ERROR);
  };
  EXPECT_EQ(RunWith({Write(), Reboot()}), 4);
  EXPECT_EQ(LastLine(), "Committed: the options of the section Distribution. Outcome unknown: the reboot of "
                        "the Master's machine. Repeat only what was not committed, and look before you "
                        "repeat what is unknown\n");
}

TEST_F(SummaryTest, SaysThatNothingWasCommitted) {
  AnswerByClass();
  EXPECT_EQ(RunWith({Limits(), Limits()}), 1);
  EXPECT_EQ(LastLine(), "Committed: nothing. Refused: the worker limits, the worker limits. Repeat only what "
                        "was not committed\n");
}

TEST_F(SummaryTest, IsLeftOutWhenAllWereCommitted) {
  EXPECT_EQ(RunWith({Write(), Limits(), Reboot()}), 0);
  EXPECT_EQ(m_Lines, "");
}

TEST_F(SummaryTest, DoesNotCountReads) {
  AnswerByClass();
  EXPECT_EQ(RunWith({Read(), Limits()}), 1);
  EXPECT_EQ(m_Lines, "The Master refused to set limits: because\n");
}

TEST_F(SummaryTest, ComesBehindWhatTheApplicationsCleanupSays) {
  AnswerByClass();
  m_App.m_OnCleanup = [] {
    BrenicClientApp& app = static_cast<BrenicClientApp&>(*Application::Instance());
    app.BrenicClientApp::Cleanup();
    rlib::stdErr.PutLine("The application has cleaned up");
  };
  EXPECT_EQ(RunWith({Write(), Limits()}), 1);
  EXPECT_THAT(m_Lines, HasSubstr("The application has cleaned up\nCommitted: "));
}

TEST_F(SummaryTest, StaysOneBoundedLineWhateverItNames) {
  AnswerByClass();
  std::vector<shared_ptr<Message>> requests;
  for (int i = 0; i < 500; ++i) {
    const auto product = MessageFactory::Create<ProductMsg>();
    product->m_Product = boost::make_shared<Product>(
        UID(true), std::to_string(i) + "\n" + std::string(10'000, 'x'), rlib::vector<String>(), "{}");
    requests.push_back(product);
    requests.push_back(Limits());
  }
  EXPECT_EQ(RunWith(requests), 1);
  EXPECT_LT(LastLine().size(), 2000u);
  EXPECT_THAT(LastLine(), HasSubstr("Committed: the product 0\\nxxx"));
  EXPECT_THAT(LastLine(), HasSubstr(" and 495 more. Refused: the worker limits,"));
  EXPECT_THAT(LastLine(), HasSubstr("committed; the log names all of them\n"));
}

TEST_F(SummaryTest, NamesRequestsAsAnAdministratorWould) {
  m_Master.m_OnRequest = [this](Link& link, const wire::Envelope& request) {
    m_Master.Answer(link, request.id(), wire::Answer::REFUSED, "because");
  };
  const auto product = boost::make_shared<Product>(UID(true), "Fluid", rlib::vector<String>(), "{}");
  const UID stranger(true);
  const auto typeOptions = [](const UID& type) {
    const auto message = Write();
    message->m_Section = type.ToString();
    return message;
  };
  const auto userLimits = MessageFactory::Create<SetMasterOptionsMsg>();
  userLimits->m_Section = o_Distribution;
  userLimits->m_Options[o_UserLimits] = "ann=1;";
  const auto install = MessageFactory::Create<ProductMsg>();
  install->m_Product = product;
  const auto remove = [](const UID& type) {
    const auto message = MessageFactory::Create<RemoveProductMsg>();
    message->m_ProductType = type;
    return message;
  };
  const auto machine = [](int command) {
    const auto message = MessageFactory::Create<MachineMsg>();
    message->m_Command = command;
    return message;
  };
  const std::vector<std::pair<shared_ptr<Message>, std::string>> k_Rows = {
      {Write(), "the options of the section Distribution"},
      {typeOptions(product->Type()), "the options of the product Fluid"},
      {typeOptions(stranger), "the options of the product " + stranger.ToString().str()},
      {userLimits, "the user limits"},
      {Limits(), "the worker limits"},
      {MessageFactory::Create<SetMasterRestrictionsMsg>(), "the restrictions"},
      {MessageFactory::Create<PathTranslationsMsg>(), "the list of path translations"},
      {install, "the product Fluid"},
      {remove(product->Type()), "the removal of the product Fluid"},
      {remove(UID::Null), "the return to the default products"},
      {MessageFactory::Create<LogDumpMsg>(), "the log dump"},
      {MessageFactory::Create<ShutdownMsg>(), "the shutdown of the whole system"},
      {machine(MachineMsg::k_Reboot), "the reboot of the Master's machine"},
      {machine(MachineMsg::k_Shutdown), "the shutdown of the Master's machine"},
      {MessageFactory::Create<RevertMsg>(), "the return to earlier settings"},
  };
  // Two requests are enough for a summary, and few enough for every name to be in it.
  for (const auto& [request, name] : k_Rows) {
    SCOPED_TRACE(name);
    Client::Renew();
    m_Lines.clear();
    TestApp app(m_Master);
    app.m_OnProducts = [&, request = request] {
      JobFactory::s_JobFactory.Install(product);
      Messenger::Send(request);
      Messenger::Send(Limits());
      app.Stop();
    };
    char arguments[] = "tester";
    char* argv[] = {arguments, nullptr};
    EXPECT_EQ(static_cast<Executable&>(app).Start(1, argv), 1);
    EXPECT_THAT(LastLine(), HasSubstr("Refused: " + name + ", the worker limits. Repeat"));
  }
}

// --- a request that is too large to be sent ---

TEST_F(SummaryTest, ARequestTooLargeToBeSentCountsAsRefusedAndTheOthersAreSent) {
  EXPECT_EQ(RunWith({TooLarge(), Limits()}), 1);
  EXPECT_THAT(m_Master.Requests(1), SizeIs(1));
  EXPECT_THAT(m_App.m_Exceptions, SizeIs(0));
  ASSERT_THAT(m_App.m_Failures, SizeIs(1));
  EXPECT_THAT(
      m_App.m_Failures[0].str(),
      testing::MatchesRegex("Cannot send the options of the section Distribution: a request has at most "
                            "67108864 bytes, and this one 671[0-9]+"));
  EXPECT_EQ(LastLine(), "Committed: the worker limits. Refused: the options of the section Distribution. "
                        "Repeat only what was not committed\n");
}

TEST_F(SummaryTest, ARequestOfMoreEntriesThanTheMasterTakesIsNotSent) {
  const auto many = MessageFactory::Create<SetMasterOptionsMsg>();
  for (size_t i = 0; i <= wire::k_MaxEntries; ++i)
    many->m_Options.emplace_hint(many->m_Options.end(), fmt::format("{:07}", i), "");
  EXPECT_EQ(RunWith({many}), 1);
  EXPECT_THAT(m_Master.Requests(1), SizeIs(0));
  ASSERT_THAT(m_App.m_Failures, SizeIs(1));
  EXPECT_THAT(m_App.m_Failures[0].str(), HasSubstr("at most 1048576 entries, and this one 1048577"));
}

TEST_F(SummaryTest, ARequestTooLargeToBeSentIsAnsweredForWhoeverWaits) {
  m_App.m_OnProducts = [this] {
    const UID id = SendNew(TooLarge());
    EXPECT_TRUE(Messenger::WaitForSent(id, -1));
    EXPECT_THAT(m_App.m_Failures, SizeIs(1));
    m_App.Stop();
  };
  EXPECT_EQ(Run(), 1);
  EXPECT_THAT(m_Lines, Not(HasSubstr("Committed")));
}

} // namespace
} // namespace brenic
