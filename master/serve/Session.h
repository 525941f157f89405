// One client's connection.
#pragma once

#include "net/FrameStream.h"
#include "serve/Writer.h"

namespace brenic::master {

/// What a session needs of the Master. I/O thread.
class SessionHost {
public:
  virtual ~SessionHost() = default;

  virtual void Submit(Request request) = 0;
  virtual std::shared_ptr<const Snapshot> CurrentSnapshot() const = 0;
  /// The part of the Welcome that does not change.
  virtual const wire::Welcome& WelcomeTemplate() const = 0;
  /// The session has ended and asks for nothing any more.
  virtual void Closed(uint64_t session) = 0;
  /// The client was let in, and said who it is.
  virtual void Welcomed(const Peer& peer) = 0;
  /// A line about somebody who is not known yet; rate-limited.
  virtual void ReportStranger(const String& line) = 0;
};

/// I/O thread. Lives while the host or an operation holds it.
class Session : public std::enable_shared_from_this<Session> {
public:
  static constexpr std::chrono::seconds k_HelloWithin{5};
  static constexpr std::chrono::seconds k_GoodbyeWithin{1}; // for a peer to take its Goodbye and close
  static constexpr size_t k_MaxUnanswered = 1024;           // requests
  /// Bytes of requests, possible replies and what is not read yet. With a reply of the largest size on top
  /// they stay below k_MaxQueued.
  static constexpr size_t k_MaxBacklog = 48 * 1024 * 1024;
  static constexpr size_t k_MaxQueued = 128 * 1024 * 1024; // bytes of output that the client does not read
  static constexpr std::chrono::seconds k_RefuseFor{1};    // what a client sends that may send nothing

  Session(SessionHost& host, asio::io_context& io, uint64_t number, std::unique_ptr<ByteStream> stream,
          const Peer& peer);

  /// `since` is when the peer connected: it has k_HelloWithin from then on.
  void Start(std::chrono::steady_clock::time_point since);
  /// Lets the client know that it is not let in, and why.
  void Reject(const String& reason);
  /// Ends at once what was let in before, and says why.
  void Dismiss(const String& reason);
  /// Lets the client know that there is no place for it now.
  void TurnAway();

  bool IsWelcome() const { return m_Welcome; }
  /// Whether it is told what changes in the farm.
  bool Follows() const { return m_Welcome && !m_Peer->m_Manages; }
  const Peer& Client() const { return *m_Peer; }
  uint64_t Number() const { return m_Number; }

  void Deliver(const RequestResult& result);
  void Push(const Bytes& frame);
  /// Sends the newest path translations, at once or when everything before them has been written.
  void PushTranslations();
  /// Sends what changed of the products; the whole list when the client still has something before it to
  /// read.
  void PushProducts(const Bytes& changes);
  /// Takes no more requests; ends once those that were taken are answered.
  void End(wire::Goodbye::Reason reason, const String& text);
  /// Ends at once.
  void Drop(const String& reason);

private:
  void OnFrame(wire::Frame& frame);
  void OnHello(const wire::Hello& hello);
  void OnRequest(wire::Envelope& envelope);
  void OnEnd(const FrameStream::End& end);
  void OnDrained();
  void SendWelcome(const wire::Hello& hello);
  void SendLists(const wire::Hello& hello, const Snapshot& snapshot);
  void SendProducts(const ProductFrames& products);
  void SayGoodbye(wire::Goodbye::Reason reason, const String& text);
  void Leave();
  void EndSoon();
  void LimitBacklog();
  String Who() const;

  SessionHost& m_Host;
  const uint64_t m_Number;
  const std::shared_ptr<FrameStream> m_Stream;
  std::shared_ptr<Peer> m_Peer; // not changed after Hello
  asio::steady_timer m_Timer;   // for Hello; later for EndSoon
  bool m_Welcome = false;
  bool m_Left = false;
  bool m_TranslationsDirty = false;
  bool m_ProductsDirty = false;
  bool m_Paused = false; // because of the backlog
  size_t m_Unanswered = 0;
  size_t m_UnansweredBytes = 0;
  bool m_MayAsk = false; // as an administrator
  bool m_HasAsked = false;
  std::optional<wire::Goodbye::Reason> m_EndReason; // once it takes no more requests
  String m_EndText;
};

} // namespace brenic::master
