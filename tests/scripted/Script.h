// What the scripted client layer answers, and what was asked of it.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "brenic/Messenger.h"

namespace scripted {

struct Wait {
  rlib::UID m_Id;
  float m_Seconds;

  friend bool operator==(const Wait&, const Wait&) = default;
};

/// One per process, replaced by a fresh one before every test. Not thread-safe: the tool runs on one thread.
struct Script {
  static constexpr int k_Always = 1 << 30;
  static constexpr int k_PassLimit = 1000; // passes and waits of one run that never ends by itself

  // Answers.
  bool m_StartupResult = true;
  /// What pass n (from 0) of the client's work does; later passes do nothing.
  std::vector<std::function<void()>> m_Passes;
  /// The result of passes while the run was not told to end.
  int m_ExecuteResult = 1;
  rlib::Time m_ConnectedTime{1};
  boost::shared_ptr<brenic::MasterInfo> m_MasterInfo = boost::make_shared<brenic::MasterInfo>();
  /// How many more waits for a message end without its delivery; none for a message that is not listed.
  std::map<rlib::UID, int> m_Undelivered;
  std::function<void(const boost::shared_ptr<brenic::Message>&)> m_OnSend;
  std::function<void(const rlib::UID&)> m_OnWait; // before the answer
  std::function<void()> m_OnClientInfo;
  std::function<void()> m_OnStartup;
  std::function<void()> m_OnCleanup;

  // What was asked.
  std::vector<boost::shared_ptr<brenic::Message>> m_Sent;
  std::vector<Wait> m_Waits;
  std::vector<std::pair<rlib::UID, int>> m_ClientInfo;
  int m_Startups = 0;
  int m_Executes = 0;
  int m_Cleanups = 0;
  int m_MasterInfoCalls = 0;
  bool m_RanAway = false;
  std::vector<std::string> m_Refusals; // texts of RequestHasFailed
  /// All of it in order: "Startup", "SetClientInfo", "Send <class>", "Wait <class>", "Execute", "Cleanup",
  /// and the lines that a Recorder adds.
  std::vector<std::string> m_Events;

  /// The class names of what was sent, in order.
  std::vector<std::string> SentClasses() const;
};

Script& TheScript();

/// Delivers a message to its slots, as the framework does with one that arrived. Returns how many took it.
size_t Arrive(const boost::shared_ptr<brenic::Message>& message);

} // namespace scripted
