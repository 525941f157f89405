// A whole run of a small client application against a FakeMaster.
#pragma once

#include <gmock/gmock.h>

#include "FakeMaster.h"
#include "brenic/BrenicClientExecutable.h"
#include "brenic/MessageFactory.h"
#include "brenic/Messenger.h"
#include "brenic/PathTranslationsMsg.h"
#include "brenic/ProductMessages.h"
#include "brenic/SettingsMessages.h"
#include "brenic/SystemMessages.h"
#include "client/Client.h"
#include "rlib/Failures.h"
#include "rlib/Stream.h"

namespace brenic {

/// Follows the functions that a test puts into it. All are called on the main thread.
class TestApp : public BrenicClientExecutable {
public:
  explicit TestApp(FakeMaster& master) : m_Master(master) {
    // Short enough that a test which waits for one of these takes no time, long enough for a slow machine
    // where the test relies on it not being reached.
    m_Timing.m_FirstPause = std::chrono::milliseconds(1);
    m_Timing.m_LongestPause = std::chrono::milliseconds(4);
    EndProductsMsg::s_Signal.Connect(this, &TestApp::OnEndProducts);
    SetMasterOptionsMsg::s_Signal.Connect(this, &TestApp::OnOptions);
    PathTranslationsMsg::s_Signal.Connect(this, &TestApp::OnTranslations);
  }
  ~TestApp() override { DisconnectAll(); }

  MasterConnection::Timing m_Timing;
  std::optional<std::chrono::milliseconds> m_ConnectTimeout;
  std::function<void()> m_OnProducts;
  std::function<void()> m_OnOptions;
  std::function<void()> m_OnTranslations;
  std::function<bool()> m_OnPass = [] { return true; }; // before each pass; false ends the run
  std::function<void()> m_OnCleanup;
  UID m_ClientId{true};

  int m_ProductsSeen = 0;
  std::vector<shared_ptr<SetMasterOptionsMsg>> m_Options;
  std::vector<String> m_Unhandled;
  std::vector<String> m_Failures; // RequestHasFailed
  std::vector<String> m_Exceptions;
  std::vector<std::thread::id> m_SlotThreads;
  bool m_InPass = false;
  bool m_SlotsOutsidePass = false;

  bool Startup(CommandLine&) override {
    Messenger::SetClientInfo(m_ClientId, 3);
    Client::Instance().Start(
        *this, *this, "tester@here", m_ConnectTimeout,
        [this](asio::io_context& io) { return m_Master.MakeConnector(io); }, m_Timing);
    return true;
  }
  int Execute() override {
    if (!m_OnPass())
      return 0;
    m_InPass = true;
    struct Leave {
      bool& m_InPass;
      ~Leave() { m_InPass = false; }
    } leave{m_InPass};
    return BrenicClientExecutable::Execute();
  }
  void Cleanup() override {
    if (m_OnCleanup)
      m_OnCleanup();
    BrenicClientExecutable::Cleanup();
  }
  bool OnException(Exception* e) override {
    m_Exceptions.push_back(e ? e->Message() : String("unknown"));
    return false;
  }
  void OnUnhandledMessage(const shared_ptr<Message>& message) override {
    m_Unhandled.push_back(message->ClassName());
  }
  void RequestHasFailed(const String& text) override {
    m_Failures.push_back(text);
    BrenicClientExecutable::RequestHasFailed(text);
  }
  String GetClientName() override { return "tester@here"; }

private:
  void InSlot() {
    m_SlotThreads.push_back(std::this_thread::get_id());
    m_SlotsOutsidePass = m_SlotsOutsidePass || !m_InPass;
  }
  void OnEndProducts(const shared_ptr<EndProductsMsg>&) {
    InSlot();
    ++m_ProductsSeen;
    if (m_OnProducts)
      m_OnProducts();
  }
  void OnOptions(const shared_ptr<SetMasterOptionsMsg>& message) {
    InSlot();
    m_Options.push_back(message);
    if (m_OnOptions)
      m_OnOptions();
  }
  void OnTranslations(const shared_ptr<PathTranslationsMsg>&) {
    InSlot();
    if (m_OnTranslations)
      m_OnTranslations();
  }

  FakeMaster& m_Master;
};

class ClientTest : public testing::Test {
protected:
  ClientTest() {
    Client::Renew();
    rlib::ResetNotedFailures();
    JobFactory::s_JobFactory.Replace({});
    rlib::stdErr.Capture(&m_Lines);
  }
  ~ClientTest() override {
    rlib::stdErr.Capture(nullptr);
    rlib::ResetNotedFailures();
    Client::Renew(); // ends the I/O thread while the fake Master is still there
  }

  /// The exit status.
  int Run() {
    char name[] = "tester";
    char* arguments[] = {name, nullptr};
    return static_cast<Executable&>(m_App).Start(1, arguments);
  }

  static shared_ptr<SetMasterOptionsMsg> Write(const String& value = "v") {
    const auto message = MessageFactory::Create<SetMasterOptionsMsg>();
    message->m_Section = "Distribution";
    message->m_Options["Name"] = value;
    return message;
  }
  static shared_ptr<GetMasterOptionsMsg> Read(const String& name = "UserLimits") {
    const auto message = MessageFactory::Create<GetMasterOptionsMsg>();
    message->m_OptionNames.push_back(name);
    return message;
  }
  template <typename Msg>
  static UID SendNew(const shared_ptr<Msg>& message) {
    Messenger::Send(message);
    return message->m_ID;
  }

  FakeMaster m_Master;
  TestApp m_App{m_Master};
  std::string m_Lines; // on stdErr; read after the run
};

} // namespace brenic
