// The running Master: listeners, sessions, the writer, and how it ends.
#pragma once

#include <map>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/signal_set.hpp>

#include "serve/LineLimit.h"
#include "serve/Listener.h"
#include "serve/MachineCommands.h"
#include "serve/Places.h"
#include "serve/RefusalTally.h"
#include "serve/Reloader.h"
#include "serve/Session.h"
#include "serve/Watchdog.h"

namespace brenic::master {

/// How the Master looks after certificates, its own and those of its clients.
struct CertificateCare {
  Writer::Manage m_Manage;
  /// Whether something of the Master's own is to be renewed at that time. I/O thread.
  std::function<bool(Store& directory, int64_t now)> m_IsDue;
  /// What ends soon, as lines for the log; each at 60, 30, 14, 7 and 1 days. Called about once an hour. I/O
  /// thread.
  std::function<std::vector<String>(Store& directory, int64_t now)> m_EndingSoon;
};

struct ServerOptions {
  MasterConfiguration m_Settings;
  Reloader::Load m_Load;                          // reads the settings anew
  int m_ReloadSignal = 0;                         // that has this done
  std::string m_Run = UID(true).ToString().str(); // names this process in the audit trail
  std::vector<int> m_EndSignals;                  // that end it cleanly
  size_t m_Places = Places::k_All;
  Path m_ManagementSocket; // empty: none
  CertificateCare m_Care;
  std::shared_ptr<TrustedClock> m_Clock;       // null: the machine's
  std::chrono::milliseconds m_LookEvery{2000}; // at the clock and at certificates that end
};

/// Made and run on one thread, the I/O thread.
class Server : public SessionHost {
public:
  static constexpr std::chrono::seconds k_EndWithin{5}; // whatever its clients do

  /// Listens from now on. `store` is the writer's, `directory` is used on this thread. Throws Exception*.
  Server(const ServerOptions& options, std::unique_ptr<Store> store, std::unique_ptr<Store> directory);
  ~Server() override;

  /// "127.0.0.1:8730, [::1]:8730"
  String Address() const { return m_Listeners.front()->Address(); }
  uint16_t Port() const { return m_Listeners.front()->Port(); }

  /// Serves until the end that a signal, Stop or a ShutdownMsg asked for.
  void Run();
  /// Ends cleanly. Any thread.
  void Stop();

private:
  void Submit(Request request) override;
  std::shared_ptr<const Snapshot> CurrentSnapshot() const override { return m_Snapshot; }
  const wire::Welcome& WelcomeTemplate() const override { return m_Welcome; }
  void Closed(uint64_t session) override;
  void Welcomed(const Peer& peer) override;
  void ReportStranger(const String& line) override { m_Strangers.Log(line); }

  void Arrive(Arrival arrival);
  void OnBatch(const Batch& batch);
  void CarryOut(const RequestResult& result);
  // One for each operation.
  void CarryOut(uint64_t asker, const LogDumpMsg& message);
  void CarryOut(uint64_t asker, const ShutdownMsg& message);
  void CarryOut(uint64_t asker, const MachineMsg& message);
  void BeginEnding();
  void ShutDownSystem();
  void EndSessions(const String& text);
  void DropSessions();
  void FinishWhenEmpty();
  void WatchSignals();
  /// What the Master asks of itself when something of its own is to be renewed.
  std::optional<Request> RenewalIfDue();
  void LookAtTime();
  void MendListeners();
  void EndWhatHasEnded(int64_t now);
  void LookAfterCertificates(int64_t now);
  void DismissWhoMayNotStay();
  void KeepTimeWhenDue(bool hasNews);
  void KeepTime();
  void KeepSightings();
  void RecordRefusals();
  void WatchRefusals();
  std::vector<std::shared_ptr<Session>> Sessions() const;

  struct Guest {
    std::shared_ptr<Session> m_Session;
    std::unique_ptr<Places::Place> m_Place; // null for one that is turned away
    std::optional<int64_t> m_Expires;       // its certificate
  };

  asio::io_context m_Io{1};
  asio::executor_work_guard<asio::io_context::executor_type> m_Work;
  asio::signal_set m_EndSignals;
  asio::steady_timer m_EndTimer;
  std::shared_ptr<const Snapshot> m_Snapshot; // of the last batch that was dealt with
  wire::Welcome m_Welcome;
  const std::shared_ptr<TrustedClock> m_Clock;
  const CertificateCare m_Care;
  MachineCommands m_Machine;
  std::vector<std::unique_ptr<Listener>> m_Listeners;
  Places m_Places;
  std::map<uint64_t, Guest> m_Sessions;
  uint64_t m_LastSession = 0;
  bool m_Ending = false;
  std::chrono::steady_clock::time_point m_EndBegan;
  bool m_Finished = false;
  LineLimit m_Strangers{20, "about unknown peers"};
  LineLimit m_TurnedAway{1, "about clients without a place"};
  RefusalTally m_Refusals;
  asio::steady_timer m_RefusalTimer; // runs while there are some
  Reloader m_Reloader;
  Watchdog m_Watchdog;
  const std::chrono::milliseconds m_LookEvery;
  asio::steady_timer m_LookTimer;
  // By the running clock.
  int64_t m_NextCare = 0;
  int64_t m_NextKeeping = 0;
  int64_t m_NextSightings = 0;
  std::map<const Listener*, String> m_NotMended;             // why each could not be, when it was last told
  std::map<std::string, ClientRecord::Sighting> m_Sightings; // by serial, not kept yet
  Writer m_Writer;                                           // its thread ends before the rest goes
  // Goes before the writer's store, which leaves no log beside the database when it is closed last.
  const std::unique_ptr<Store> m_Directory;
};

} // namespace brenic::master
