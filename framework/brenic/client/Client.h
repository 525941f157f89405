// The client behind Messenger: the I/O thread, the queue of what arrives, the state of every request.
#pragma once

#include <memory>
#include <thread>

#include "brenic/BrenicClientApp.h"
#include "brenic/Executable.h"
#include "client/Basis.h"
#include "client/MasterConnection.h"
#include "client/Requests.h"

namespace brenic {

/// One per run. "Main thread" is the one that called Start; it alone delivers messages to slots.
class Client {
public:
  using Clock = EventQueue::Clock;
  using MakeConnector = std::function<std::unique_ptr<Connector>(asio::io_context& io)>;

  /// The process's client, made on first use.
  static Client& Instance();
  /// Puts a new one in its place; for tests that run several in one process.
  static void Renew();

  Client() = default;
  /// Ends without waiting for anything.
  ~Client();

  void SetInfo(const UID& id, int kind);

  /// Begins to connect in the background. `app` hears of refused requests and unhandled messages;
  /// `executable` of what decides the exit status, and is asked whether the run should end.
  void Start(BrenicClientApp& app, Executable& executable, const String& name,
             std::optional<std::chrono::milliseconds> connectTimeout, const MakeConnector& makeConnector,
             const MasterConnection::Timing& timing = {});

  // What Messenger offers.
  void Send(const shared_ptr<Message>& message);
  bool WaitForSent(const UID& messageId, float seconds);
  const Time& ConnectedTime() const { return m_ConnectedTime; }
  shared_ptr<MasterInfo> Info() const { return m_Info; }

  /// Main thread: waits up to `atMost` for one event and deals with it. False once the run should end.
  bool Pass(std::chrono::milliseconds atMost);

  /// Main thread: waits, without delivering anything to slots, until every request is answered or the
  /// connection has ended; then closes it and ends the I/O thread. Later calls do nothing.
  void Finish();

private:
  bool IsAnswered(const UID& id);
  size_t PendingCount();
  bool Over();
  bool WaitElsewhere(const UID& id, Clock::time_point deadline);
  void Deal(Event& event, bool deliver);
  void On(Connected& event);
  void On(Arrived& event, bool deliver);
  void On(const Answered& event);
  void On(Ended& event);
  void Report(const Ended& event);
  void Summarise();
  void CloseConnection();
  void Emit(const shared_ptr<Message>& message);

  BrenicClientApp* m_App = nullptr;
  Executable* m_Executable = nullptr;
  UID m_Id{true};
  int m_Kind = 0;

  asio::io_context m_Io;
  EventQueue m_Events;
  std::unique_ptr<MasterConnection> m_Connection; // touched on the I/O thread only, once that runs
  std::thread m_Thread;
  std::thread::id m_MainThread;

  std::mutex m_Mutex; // guards the four below, and the order in which requests reach the connection
  std::condition_variable m_Changed;
  Requests m_Requests; // handed to Send
  bool m_Ended = false;
  Basis m_Basis;

  // Main thread only.
  Time m_ConnectedTime;
  shared_ptr<MasterInfo> m_Info;
  int m_SlotDepth = 0;
  bool m_EndReported = false; // the last event has been dealt with
  bool m_ProductsAnnounced = false;
  bool m_ShutdownReceived = false;
  bool m_EndWhenIdle = false; // a shutdown was refused: nothing else would end the loop
};

} // namespace brenic
