// What tests of the tool's logic start from: an application object of their own over the scripted framework.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SetwrightApp.h"
#include "brenic/MessageFactory.h"
#include "rlib/CallEntry.h"
#include "scripted/Recorder.h"

/// The private part of an application object, member for member.
struct SetwrightAppAccess {
  explicit SetwrightAppAccess(SetwrightApp& app) : m_App(app) {}

  bool ParseCommandLine(brenic::CommandLine& cmd) { return m_App.ParseCommandLine(cmd); }
  bool ParseCommandLine() { return m_App.ParseCommandLine(m_CommandLine); }
  bool AddPathTranslation(int& index) { return m_App.AddPathTranslation(m_CommandLine, index); }
  bool RemovePathTranslation(int& index) { return m_App.RemovePathTranslation(m_CommandLine, index); }
  void ProcessPathTranslations() { m_App.ProcessPathTranslations(); }
  bool SetUserLimit(int& index) { return m_App.SetUserLimit(m_CommandLine, index); }
  bool RemoveUserLimit(int& index) { return m_App.RemoveUserLimit(m_CommandLine, index); }
  bool GetUserLimit() { return m_App.GetUserLimit(m_CommandLine); }
  void Usage() { m_App.Usage(); }
  void QueueMessages() { m_App.QueueMessages(); }
  bool WaitForMessages() { return m_App.WaitForMessages(); }
  bool DumpLogs() { return m_App.DumpLogs(); }
  bool SuperExit() { return m_App.SuperExit(); }
  bool Reboot() { return m_App.Reboot(); }
  bool Shutdown() { return m_App.Shutdown(); }
  bool AddOption(int& index) { return m_App.AddOption(m_CommandLine, index); }
  bool AddTypeOption(int& index) { return m_App.AddTypeOption(m_CommandLine, index); }
  bool AddLimit(int& index) { return m_App.AddLimit(m_CommandLine, index); }
  bool AddRestriction(int& index, bool add) { return m_App.AddRestriction(m_CommandLine, index, add); }
  bool AddFile(int& index) { return m_App.AddFile(m_CommandLine, index); }
  bool PrepareExport(int& index) { return m_App.PrepareExport(m_CommandLine, index); }
  bool PrepareImport(int& index) { return m_App.PrepareImport(m_CommandLine, index); }
  bool PrepareRemove(int& index) { return m_App.PrepareRemove(m_CommandLine, index); }

  SetwrightApp& m_App;
  brenic::CommandLine& m_CommandLine = m_App.m_CommandLine;
  int& m_ExitCode = m_App.m_ExitCode;

#define SETWRIGHT_MEMBER(name) decltype(SetwrightApp::name)& name = m_App.name
  SETWRIGHT_MEMBER(m_OptionsMsg);
  SETWRIGHT_MEMBER(m_TypeOptionsMsgs);
  SETWRIGHT_MEMBER(m_LimitsMsg);
  SETWRIGHT_MEMBER(m_RestrictionsMsg);
  SETWRIGHT_MEMBER(m_UserLimitsMsg);
  SETWRIGHT_MEMBER(m_AddTranslations);
  SETWRIGHT_MEMBER(m_RemoveRoots);
  SETWRIGHT_MEMBER(m_PathTranslationsMsg);
  SETWRIGHT_MEMBER(m_CurrentTranslationsMsg);
  SETWRIGHT_MEMBER(m_LogDumpMsg);
  SETWRIGHT_MEMBER(m_ProductMsgs);
  SETWRIGHT_MEMBER(m_ProductsReceived);
  SETWRIGHT_MEMBER(m_ShowInfo);
  SETWRIGHT_MEMBER(m_SuperExit);
  SETWRIGHT_MEMBER(m_Reboot);
  SETWRIGHT_MEMBER(m_Shutdown);
  SETWRIGHT_MEMBER(m_DisplayJSON);
  SETWRIGHT_MEMBER(m_ShowPathTranslations);
  SETWRIGHT_MEMBER(m_UserLimitName);
  SETWRIGHT_MEMBER(m_UserLimitValue);
  SETWRIGHT_MEMBER(m_TranslationsAwaitedSince);
#undef SETWRIGHT_MEMBER
};

namespace scripted {

/// A command line of these arguments, without the program's name.
inline brenic::CommandLine Arguments(std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), "setwright");
  return brenic::CommandLine(static_cast<int>(arguments.size()), arguments.data());
}

/// An identifier of a product type; ordered as the numbers are.
inline rlib::UID Type(uint8_t number) {
  rlib::UID::Raw raw{};
  raw[15] = number;
  return rlib::UID(raw);
}

/// The calls that are open on this thread, innermost first: "SetwrightApp::Startup (Setwright".
inline std::vector<std::string> OpenCalls() {
  std::vector<std::string> calls;
  const std::string text = rlib::OpenCallEntries().str();
  for (size_t at = text.find("\n  "); at != std::string::npos; at = text.find("\n  ", at + 1)) {
    const std::string line = text.substr(at + 3, text.find('\n', at + 1) - at - 3);
    calls.push_back(line.substr(0, line.rfind(':')));
  }
  return calls;
}

class SetwrightTest : public testing::Test {
protected:
  ~SetwrightTest() override {
    EXPECT_FALSE(m_Script.m_RanAway) << "the run did not end by itself";
    brenic::JobFactory::s_JobFactory.Replace({});
  }

  /// Puts a product into the registry as if the Master had it; its parameters are a JSON list.
  static boost::shared_ptr<brenic::Product> Install(uint8_t number, const std::string& name,
                                                    const std::vector<std::string>& aliases = {},
                                                    const std::string& parameters = "[]") {
    const auto product = boost::make_shared<brenic::Product>(
        Type(number), name, rlib::vector<rlib::String>(aliases.begin(), aliases.end()),
        "{\"id\":\"" + Type(number).ToString().str() + "\",\"name\":\"" + name +
            "\",\"parameters\":" + parameters + "}");
    brenic::JobFactory::s_JobFactory.Install(product);
    return product;
  }

  /// The call of a handler that is open when it writes its first log line.
  template <typename Call>
  std::string TraceOf(Call call) {
    std::vector<std::string> calls;
    rlib::Log::SetObserver([&](int, const rlib::String&) {
      if (calls.empty())
        calls = OpenCalls();
    });
    call();
    rlib::Log::SetObserver({});
    return calls.empty() ? "" : calls.front();
  }

  /// Whether an exception of the first log line that the call writes comes out of it.
  template <typename Call>
  static bool LetsThrough(Call call) {
    rlib::Log::SetObserver([first = true](int, const rlib::String&) mutable {
      if (std::exchange(first, false))
        throw new rlib::Exception("The log failed");
    });
    bool came = false;
    try {
      call();
    } catch (const rlib::Exception* e) {
      delete e;
      came = true;
    }
    rlib::Log::SetObserver({});
    return came;
  }

  /// The products phase of a run with these arguments, without the lines of the setup.
  void ReceiveProducts(std::vector<const char*> arguments) {
    m_Access.m_CommandLine = Arguments(std::move(arguments));
    m_App.Startup(m_Access.m_CommandLine);
    m_Script.m_Events.clear();
    m_Recorder.m_Log.clear();
    EXPECT_EQ(Arrive(brenic::MessageFactory::Create<brenic::EndProductsMsg>()), 1u);
  }

  /// The whole run of the program; the products arrive in the first pass unless the script has passes.
  int Run(std::vector<const char*> arguments) {
    if (m_Script.m_Passes.empty())
      m_Script.m_Passes.emplace_back(
          [] { Arrive(brenic::MessageFactory::Create<brenic::EndProductsMsg>()); });
    arguments.insert(arguments.begin(), "setwright");
    return m_App.Start(static_cast<int>(arguments.size()), const_cast<char**>(arguments.data()));
  }

  Script& m_Script = TheScript();
  Recorder m_Recorder;
  SetwrightApp m_App;
  SetwrightAppAccess m_Access{m_App};
};

} // namespace scripted
