// Decides every request, one after the other, and commits them together.
#pragma once

#include <atomic>
#include <condition_variable>
#include <span>
#include <thread>

#include "farm/Judgement.h"
#include "serve/Batch.h"
#include "serve/TrustedClock.h"
#include "store/Store.h"
#include "wire/Frames.h"

namespace brenic::master {

/// Owns the settings in memory and, while it runs, the store. Requests take effect in the order of Submit; a
/// request sees those before it. A result is given out after its commit.
/// When the disk is full or another process holds the database too long, writes are refused and reads go on;
/// any other failure of the store ends the process.
class Writer {
public:
  /// A round ends with so many bytes of replies, and no other begins before as many have been taken.
  static constexpr size_t k_MaxReplies = 64 * 1024 * 1024;

  /// What is to be done for a request about certificates at that time, in milliseconds since 1970-01-01 UTC.
  /// Called within a transaction, which ends when it refuses with nothing written.
  using Manage = std::function<rlib::Result<Managed>(Store& store, const Message& message, int64_t now)>;
  /// Called on the writer's thread.
  using Deliver = std::function<void(Batch batch)>;

  /// `run` names this process of the Master in the audit trail. A reset of the products reads the default
  /// ones from the folder `products`, on the writer's thread; with an empty one they stay as they are.
  /// `manage` decides the requests about certificates; without it they are refused.
  Writer(std::unique_ptr<Store> store, MachineCommandLines commands, Deliver deliver, std::string run,
         Path products = {}, Manage manage = {}, std::shared_ptr<TrustedClock> clock = {});
  /// Finishes what was submitted, and the store.
  ~Writer();

  /// As it is before the first batch. To be called before Start.
  std::shared_ptr<const Snapshot> FirstSnapshot() const { return m_Snapshot; }
  void Start();
  /// Any thread.
  void Submit(Request request);
  /// Reads the default products anew, behind what was submitted before. What is other is recorded, and in a
  /// batch without results. When it cannot be stored, or the folder not be read, they stay, and the log says
  /// so. Any thread.
  void ReadDefaultProducts();
  /// Has the writer's thread do something else with the store between two rounds, in a transaction of its
  /// own. A store that cannot take it now leaves it undone, which the log tells (`what` stay as they were).
  /// Any thread.
  void Perform(const char* what, std::function<void(Store& store)> task);
  /// Decides the requests at once, on the caller's thread. To be called before Start.
  Batch DecideNow(std::span<const Request> requests) { return Process(requests); }
  /// What Deliver was called with has been dealt with. Any thread.
  void Taken(const Batch& batch);
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
  using Requests = std::span<const Request>;
  // Each answers at least one of the requests, and says so by the number of results.
  Batch Process(Requests requests);
  Batch Commit(Requests requests);
  Batch AnswerWithoutStoring(Requests requests, const String& reason);
  void WaitUntilTaken();
  void Give(Batch batch);
  std::optional<Batch> TakeDefaults();
  /// Requests about certificates are decided by storing what they ask for, where that may be.
  Decision Decide(const Request& request, const std::string& digest, bool mayStore);
  bool IsForManagers(const Request& request) const;
  Decision DecideNew(const Request& request) const;
  Decision DecideManaged(const Request& request);
  void PerformTasks();
  rlib::Result<> ReloadDefaults(Change& change) const;
  Decision Repeat(const Request& request, const AuditRecord& earlier, const std::string& digest) const;
  AuditRecord MakeRecord(const Request& request, const Decision& decision, const std::string& digest,
                         std::shared_ptr<const Change> change) const;
  void Publish(bool translations, bool products);

  const std::unique_ptr<Store> m_Store;
  const MachineCommandLines m_Commands;
  const Deliver m_Deliver;
  const std::string m_Run;
  const Path m_Products;
  const Manage m_Manage;
  const std::shared_ptr<TrustedClock> m_Clock;
  Farm m_Farm;
  std::set<std::string> m_Dismissed; // serials whose earlier connections may ask for nothing any more
  std::shared_ptr<const Snapshot> m_Snapshot;

  std::mutex m_Mutex;
  std::condition_variable m_Wake;
  struct Task {
    const char* m_What;
    std::function<void(Store& store)> m_Do;
  };
  std::vector<Request> m_Queue;
  std::vector<Task> m_Tasks;
  size_t m_NotTaken = 0; // bytes of frames
  bool m_ReadDefaults = false;
  bool m_Stop = false;
  std::atomic<bool> m_Abandoned{false};
  std::thread m_Thread;
};

} // namespace brenic::master
