// Setwright: turns its command line into requests to the Master, sends them, and ends when they are
// delivered.
#pragma once

#include <chrono>
#include <optional>

#include "brenic/BrenicClientExecutable.h"
#include "brenic/PathTranslationsMsg.h"
#include "brenic/ProductMessages.h"
#include "brenic/SettingsMessages.h"
#include "brenic/SystemMessages.h"
#include "rlib/Result.h"

namespace rlib {
class IniFile;
}

/// The one application object is `g_SetwrightApp`. Its operations are declared here and defined in the
/// folders of their subsystems; slots and overrides run on the main thread, so no member needs a lock.
class SetwrightApp : public brenic::BrenicClientExecutable {
public:
  SetwrightApp();
  ~SetwrightApp() override;

  bool Startup(brenic::CommandLine& cmd) override;
  int Execute() override;
  void Cleanup() override;
  bool OnException(brenic::Exception* e) override;

  /// How long the path translations are waited for once they are needed.
  static constexpr std::chrono::seconds k_TranslationsWait{10};

private:
  friend struct SetwrightAppAccess; // the tests' way to the members
  friend struct SwitchTable;

  // Slots.
  void ReceivedAllProducts(const boost::shared_ptr<brenic::EndProductsMsg>& message);
  void OnPathTranslations(const boost::shared_ptr<brenic::PathTranslationsMsg>& message);
  void OnSetMasterOptionsMsg(const boost::shared_ptr<brenic::SetMasterOptionsMsg>& message);

  // app/
  bool ParseCommandLine(brenic::CommandLine& cmd);
  void Usage();
  void ShowInfo();
  void QueueMessages();
  bool WaitForMessages();
  bool DumpLogs();
  bool SuperExit();
  bool Reboot();
  bool Shutdown();

  // A handler of a switch with values gets the switch's position, moves it to the last value that it
  // consumed, reports what is wrong with them itself, and returns whether it recorded a request.

  // settings/
  bool AddOption(brenic::CommandLine& cmd, int& index);
  bool AddTypeOption(brenic::CommandLine& cmd, int& index);
  bool AddLimit(brenic::CommandLine& cmd, int& index);
  bool AddRestriction(brenic::CommandLine& cmd, int& index, bool add);
  bool AddFile(brenic::CommandLine& cmd, int& index);
  /// Fails for a type that is unknown or has no product, and for an empty name.
  rlib::Result<> SetTypeOption(const rlib::String& typeText, const rlib::String& name,
                               const rlib::String& value);
  /// Routes the pairs of the current section to the pending requests.
  void AddSection(rlib::IniFile& file);
  /// The pending requests, made on first use; that of a product type is made anew by every call.
  brenic::SetMasterOptionsMsg& OptionsMsg();
  boost::shared_ptr<brenic::SetMasterOptionsMsg> _TypeOptionsMsg(const rlib::UID& type);
  brenic::SetMasterLimitsMsg& LimitsMsg();
  brenic::SetMasterRestrictionsMsg& RestrictionsMsg();

  // products/. These report on stdOut and set the exit code; each makes the command line valid.
  bool PrepareExport(brenic::CommandLine& cmd, int& index);
  bool PrepareImport(brenic::CommandLine& cmd, int& index);
  bool PrepareRemove(brenic::CommandLine& cmd, int& index);
  /// On stdOut and in the log, one line each; the run will end with k_ExitFailed.
  void ReportProductError(const char* what, const rlib::String& error);

  // translations/
  bool AddPathTranslation(brenic::CommandLine& cmd, int& index);
  bool RemovePathTranslation(brenic::CommandLine& cmd, int& index);
  void ProcessPathTranslations();
  void DisplayPathTranslations();
  /// The list is needed and has not come; gives up what needs it after k_TranslationsWait.
  void GiveUpMissingTranslations();

  // userlimits/. Limits are changed by reading, editing and writing back one option, whose reply is dealt
  // with in OnSetMasterOptionsMsg.
  static constexpr int k_RemoveUserLimit = -1;
  static constexpr int k_RemoveAllUserLimits = -2;
  static constexpr int k_DisplayUserLimits = -3;
  bool SetUserLimit(brenic::CommandLine& cmd, int& index);
  bool RemoveUserLimit(brenic::CommandLine& cmd, int& index);
  bool GetUserLimit(brenic::CommandLine& cmd);
  void RequestUserLimits(const rlib::String& name, int value);
  void ShowUserLimits(const rlib::String& limits);

  // The pending requests and flags of the run.
  boost::shared_ptr<brenic::SetMasterOptionsMsg> m_OptionsMsg;
  rlib::map<rlib::UID, boost::shared_ptr<brenic::SetMasterOptionsMsg>> m_TypeOptionsMsgs;
  boost::shared_ptr<brenic::SetMasterLimitsMsg> m_LimitsMsg;
  boost::shared_ptr<brenic::SetMasterRestrictionsMsg> m_RestrictionsMsg;
  boost::shared_ptr<brenic::GetMasterOptionsMsg> m_UserLimitsMsg;
  rlib::vector<brenic::TranslationSet> m_AddTranslations;
  rlib::vector<rlib::String> m_RemoveRoots;
  boost::shared_ptr<brenic::PathTranslationsMsg> m_PathTranslationsMsg;
  boost::shared_ptr<brenic::PathTranslationsMsg> m_CurrentTranslationsMsg; // as last received
  boost::shared_ptr<brenic::LogDumpMsg> m_LogDumpMsg;
  rlib::vector<boost::shared_ptr<brenic::Message>> m_ProductMsgs; // in command-line order
  bool m_ProductsReceived = false; // until then Execute only runs the framework's loop
  bool m_ShowInfo = false;
  bool m_SuperExit = false;
  bool m_Reboot = false;   // cleared once sent
  bool m_Shutdown = false; // cleared once sent
  bool m_DisplayJSON = false;
  bool m_ShowPathTranslations = false; // cleared once shown
  rlib::String m_UserLimitName;
  int m_UserLimitValue = 0; // a limit, or one of the negative codes
  std::optional<std::chrono::steady_clock::time_point> m_TranslationsAwaitedSince;
};

extern SetwrightApp g_SetwrightApp;
