// Decides every request, one after the other, and commits them together.
#pragma once

#include <atomic>
#include <condition_variable>
#include <span>
#include <thread>

#include "farm/Judgement.h"
#include "serve/AuditKeeping.h"
#include "serve/Batch.h"
#include "serve/TrustedClock.h"
#include "store/Store.h"
#include "wire/Frames.h"

namespace brenic::master {

struct WriterOptions {
  /// What is to be done for a request about certificates at that time. Called within a transaction, which
  /// ends when it refuses with nothing written.
  using Manage =
      std::function<rlib::Result<Managed>(Store& store, const Message& message, const Moment& moment)>;
  /// Called on the writer's thread.
  using Deliver = std::function<void(Batch batch)>;

  std::string m_Run = {}; // names this process of the Master in the audit trail
  Deliver m_Deliver = [](const Batch&) {};
  MachineCommandLines m_Commands = {};
  /// From which a reset of the products reads the default ones, on the writer's thread; with an empty one
  /// they stay as they are.
  Path m_Products = {};
  Manage m_Manage = {};                       // without it, requests about certificates are refused
  std::shared_ptr<TrustedClock> m_Clock = {}; // null: the machine's
  int m_AuditKeep = KeepingOptions::k_Days;   // days that the audit trail keeps
};

/// Owns the settings in memory and, while it runs, the store. Requests take effect in the order of Submit; a
/// request sees those before it. A result is given out after its commit.
/// When the disk is full or another process holds the database too long, writes are refused and reads go on;
/// any other failure of the store ends the process.
class Writer {
public:
  /// A round ends with so many bytes of replies, and no other begins before as many have been taken.
  static constexpr size_t k_MaxReplies = 64 * 1024 * 1024;

  using Manage = WriterOptions::Manage;

  Writer(std::unique_ptr<Store> store, WriterOptions options);
  /// Finishes what was submitted, and the store.
  ~Writer();

  /// As it is before the first batch. To be called before Start.
  std::shared_ptr<const Snapshot> FirstSnapshot() const { return m_Snapshot; }
  void Start();
  /// Any thread.
  void Submit(Request request);
  /// Takes these machine commands and this folder of default products, which are read from it; clients are
  /// told what has changed. Or nothing: `done` is told why. It is called on the writer's thread. Any thread.
  void Reload(MachineCommandLines commands, Path products, std::function<void(const rlib::Result<>&)> done);
  /// Has the writer's thread do something else with the store between two rounds, in a transaction of its
  /// own. A store that cannot take it now leaves it undone, which the log tells (`what` stay as they were).
  /// Any thread.
  void Perform(const char* what, std::function<void(Store& store)> task);
  /// Runs `task` on the writer's thread, behind what was submitted before. Any thread.
  void Do(std::function<void()> task);
  /// Grows with everything that the writer's thread gets done, so that a long round can be told from one that
  /// stands still. Any thread.
  uint64_t Steps() const { return m_Steps; }
  /// Decides the requests at once, on the caller's thread. To be called before Start.
  Batch DecideNow(std::span<const Request> requests) { return Process(requests); }
  /// What Deliver was called with has been dealt with. Any thread.
  void Taken(const Batch& batch);
  /// How many days the audit trail keeps from now on. Any thread.
  void SetAuditKeep(int days);
  /// Forgets what is not decided yet: nobody waits for it any more. Any thread.
  void Abandon() { m_Abandoned = true; }
  /// Other programs that hold the database are not waited for from now on. Any thread.
  void Hurry() { m_Store->Hurry(); }

private:
  struct Decision {
    wire::Answer::Outcome m_Outcome = wire::Answer::REFUSED;
    String m_Reason;
    Judgement m_Judgement;
    bool m_Record = true; // in the audit trail: not when it is there already
  };
  void Run();
  void KeepWhileIdle();
  /// Waits for something to do; false when there is nothing more.
  bool TakeWork(std::vector<Request>& requests, std::vector<std::function<void()>>& tasks);
  using Requests = std::span<const Request>;
  // Each answers at least one of the requests, and says so by the number of results.
  void Serve(Requests requests);
  Batch Process(Requests requests);
  Batch Commit(Requests requests);
  Batch AnswerWithoutStoring(Requests requests, const String& reason);
  void WaitUntilTaken();
  /// Requests about certificates are decided by storing what they ask for, where that may be.
  Decision Decide(const Request& request, const std::string& digest, bool mayStore);
  bool IsForManagers(const Request& request) const;
  Decision DecideNew(const Request& request) const;
  rlib::Result<> TakeDefaults(const Path& folder);
  Decision DecideManaged(const Request& request);
  rlib::Result<> ReloadDefaults(Change& change) const;
  Decision Repeat(const Request& request, const AuditRecord& earlier, const std::string& digest) const;
  AuditRecord MakeRecord(const Request& request, const Decision& decision, const std::string& digest,
                         std::shared_ptr<const Change> change) const;
  void Publish(bool translations, bool products);

  const std::unique_ptr<Store> m_Store;
  MachineCommandLines m_Commands;
  const WriterOptions::Deliver m_Deliver;
  const std::string m_Run;
  Path m_Products;
  const Manage m_Manage;
  const std::shared_ptr<TrustedClock> m_Clock;
  Farm m_Farm;
  AuditKeeping m_Keeping;
  std::set<std::string> m_Dismissed; // serials whose earlier connections may ask for nothing any more
  std::shared_ptr<const Snapshot> m_Snapshot;

  std::mutex m_Mutex;
  std::condition_variable m_Wake;
  std::vector<Request> m_Queue;
  std::vector<std::function<void()>> m_Tasks;
  size_t m_NotTaken = 0; // bytes of frames
  bool m_Stop = false;
  std::atomic<bool> m_Abandoned{false};
  std::atomic<uint64_t> m_Steps{0};
  std::thread m_Thread;
};

} // namespace brenic::master
