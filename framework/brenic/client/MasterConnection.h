// The client's side of the protocol: one connection after the other, and what is not answered yet.
#pragma once

#include <functional>
#include <list>

#include "client/Connector.h"
#include "client/Event.h"
#include "net/FrameStream.h"

namespace brenic {

/// How long the machine has been up, the time in which it was suspended included.
std::chrono::seconds SinceBoot();

/// Used on the I/O thread only; what happens goes to the event queue.
class MasterConnection {
public:
  /// Others than these are for tests.
  struct Timing {
    std::chrono::milliseconds m_Attempt{5000};
    std::chrono::milliseconds m_Restore{30'000}; // how long to go on when one was lost
    std::chrono::milliseconds m_FirstPause{100}; // between attempts; doubles up to
    std::chrono::milliseconds m_LongestPause{5000};
    std::chrono::milliseconds m_Notice{5000}; // of waiting, before the user is told
    /// How long a request may be sent again; some time later the Master has forgotten it.
    std::chrono::seconds m_Resend{std::chrono::hours(12)};
    std::function<std::chrono::seconds()> m_Uptime = SinceBoot;
    FrameStream::Timing m_Silence;
  };

  struct Options {
    UID m_ClientId{true};
    int m_Kind = 0;
    String m_Name;
    unsigned m_Version = 0;
    /// How long to go on without a first connection; none: without limit.
    std::optional<std::chrono::milliseconds> m_ConnectTimeout;
    Timing m_Timing;
  };

  static constexpr int k_MostWrites = 3; // of one request, on as many connections
  static constexpr char k_CompareVersions[] = "compare the versions of this program and of the Master";

  MasterConnection(asio::io_context& io, std::unique_ptr<Connector> connector, Options options,
                   EventQueue& events);

  void Start();
  /// Sends the request, now or once there is a connection, and again on a later connection until it is
  /// answered. `frame` is complete, `request` its message's identifier.
  void Submit(const UID& request, bool isShutdown, FrameStream::Bytes frame);
  /// Ends at once, without an event.
  void Stop();

private:
  enum class State { k_Connecting, k_Open, k_Pausing, k_Ended };

  struct Request {
    UID m_Id;
    bool m_IsShutdown;
    FrameStream::Bytes m_Frame;
    int m_Writes = 0;
    std::chrono::seconds m_FirstWrite{0}; // by m_Uptime
    bool m_Replied = false;
  };

  void Attempt();
  void Greet(std::unique_ptr<ByteStream> stream);
  void AttemptFailed(const ConnectFailure& failure);
  void Lost(const FrameStream::End& end);
  void Pause();
  void End(const String& text, bool orderly = false);
  void SettleReplied();
  /// How long to go on without a connection; none: without limit.
  std::optional<std::chrono::milliseconds> Limit() const;

  void OnFrame(wire::Frame& frame);
  void OnWelcome(const wire::Welcome& welcome);
  void OnGoodbye(const wire::Goodbye& goodbye);
  void OnProducts(const wire::Products& products);
  void OnMessage(wire::Envelope& envelope);
  void OnAnswer(const wire::Answer& answer);

  std::list<Request>::iterator Find(const UID& id);
  void Write(Request& request);
  void SendAgain();
  void StartGivingUp(std::chrono::milliseconds after);
  void WatchWait();
  String Where() const { return "the Master at " + m_Connector->Address(); }

  asio::io_context& m_Io;
  std::unique_ptr<Connector> m_Connector;
  const Options m_Options;
  EventQueue& m_Events;

  State m_State = State::k_Connecting;
  std::shared_ptr<FrameStream> m_Stream;
  bool m_Welcomed = false;     // on this connection
  bool m_Restoring = false;    // a connection was lost and the next has not proved good yet
  bool m_ShuttingDown = false; // the system is; the connection will close
  std::optional<UID> m_MasterId;
  std::list<Request> m_Requests; // unanswered, in order
  std::chrono::milliseconds m_Pause;
  String m_Reason;   // of the last failure
  String m_Reported; // the last reason that the user was told

  bool m_ProductsComplete = false; // on this connection
  std::string m_ProductsDigest;
  std::optional<JobFactory::ProductList> m_StagedProducts; // parts of a whole list, until its end

  asio::steady_timer m_AttemptTimer;
  asio::steady_timer m_PauseTimer;
  asio::steady_timer m_GiveUpTimer;
  asio::steady_timer m_NoticeTimer;
};

} // namespace brenic
