// Decides every request, one after the other, and commits them together.
#pragma once

#include <atomic>
#include <condition_variable>
#include <span>
#include <thread>

#include "farm/Judgement.h"
#include "serve/Batch.h"
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

  /// Called on the writer's thread.
  using Deliver = std::function<void(Batch batch)>;

  /// `run` names this process of the Master in the audit trail. A reset of the products reads the default
  /// ones from the folder `products`, on the writer's thread; with an empty one they stay as they are.
  Writer(std::unique_ptr<Store> store, MachineCommandLines commands, Deliver deliver, std::string run,
         Path products = {});
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
  Decision Decide(const Request& request, const std::string& digest);
  Decision DecideNew(const Request& request) const;
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
  Farm m_Farm;
  std::shared_ptr<const Snapshot> m_Snapshot;

  std::mutex m_Mutex;
  std::condition_variable m_Wake;
  std::vector<Request> m_Queue;
  size_t m_NotTaken = 0; // bytes of frames
  bool m_ReadDefaults = false;
  bool m_Stop = false;
  std::atomic<bool> m_Abandoned{false};
  std::thread m_Thread;
};

} // namespace brenic::master
