#include "serve/Session.h"

#include <fmt/core.h>

#include "farm/Judgement.h"
#include "rlib/Log.h"
#include "rlib/Utf8.h"
#include "wire/Contents.h"
#include "wire/Versions.h"

namespace brenic::master {

Session::Session(SessionHost& host, asio::io_context& io, uint64_t number, std::unique_ptr<ByteStream> stream,
                 const Peer& peer)
    : m_Host(host), m_Number(number), m_Stream(std::make_shared<FrameStream>(io, std::move(stream))),
      m_Peer(std::make_shared<Peer>(peer)), m_Timer(io) {}

void Session::Start(std::chrono::steady_clock::time_point since) {
  // The stream's handlers refer to the session weakly: the host decides how long it lives.
  const auto weak = weak_from_this();
  m_Stream->Start({[weak](wire::Frame& frame) {
                     if (const auto self = weak.lock())
                       self->OnFrame(frame);
                   },
                   [weak](const FrameStream::End& end) {
                     if (const auto self = weak.lock())
                       self->OnEnd(end);
                   },
                   [weak] {
                     if (const auto self = weak.lock())
                       self->OnDrained();
                   },
                   [weak](const wire::Frame& frame) {
                     if (const auto self = weak.lock();
                         self && !self->m_Welcome && !frame.has_hello() && !frame.has_goodbye())
                       throw wire::Malformed("something else where a Hello is expected");
                   }});
  m_Timer.expires_at(since + k_HelloWithin);
  m_Timer.async_wait([weak](const error_code& error) {
    if (const auto self = weak.lock(); self && !error && !self->m_Welcome && !self->m_Left) {
      self->m_Host.ReportStranger(self->Who() + " sent no Hello in time");
      // No protocol error: a slow client may try again.
      self->SayGoodbye(wire::Goodbye::UNSPECIFIED, "no Hello was received in time");
    }
  });
}

void Session::Reject(const String& reason) {
  m_Host.ReportStranger(Who() + " is not let in: " + reason);
  SayGoodbye(wire::Goodbye::REJECTED, reason);
}

void Session::Dismiss(const String& reason) {
  if (!m_Left)
    rlib::LogSystem(Who() + " is not served any more: " + reason);
  SayGoodbye(wire::Goodbye::REJECTED, reason);
}

void Session::TurnAway() {
  SayGoodbye(wire::Goodbye::BUSY, "the Master has no place for another client now");
}

void Session::Deliver(const RequestResult& result) {
  m_Unanswered -= 1;
  m_UnansweredBytes -= result.m_Weight;
  Push(result.m_Frames);
  if (m_Left)
    return;
  if (m_EndReason && m_Unanswered == 0)
    return SayGoodbye(*m_EndReason, m_EndText);
  LimitBacklog();
}

void Session::Push(const Bytes& frame) {
  if (m_Left)
    return;
  m_Stream->Send(frame);
  if (m_Stream->Queued() > k_MaxQueued)
    Drop("it does not read what it is sent");
}

void Session::PushTranslations() {
  m_TranslationsDirty = m_Stream->Queued() > 0;
  if (!m_TranslationsDirty)
    Push(m_Host.CurrentSnapshot()->m_Translations);
}

void Session::PushProducts(const Bytes& changes) {
  m_ProductsDirty = m_ProductsDirty || !changes || m_Stream->Queued() > 0;
  if (m_ProductsDirty)
    OnDrained();
  else
    Push(changes);
}

void Session::OnDrained() {
  if (m_Left || m_Stream->Queued() > 0)
    return;
  if (m_TranslationsDirty)
    PushTranslations();
  if (std::exchange(m_ProductsDirty, false))
    SendProducts(*m_Host.CurrentSnapshot()->m_Products);
  LimitBacklog();
}

/// Not limited in size: it is the one list that the client is owed, and nothing else is queued behind it.
void Session::SendProducts(const ProductFrames& products) {
  for (const Bytes& part : products.m_Parts)
    m_Stream->Send(part);
  m_Stream->Send(products.m_End);
}

void Session::End(wire::Goodbye::Reason reason, const String& text) {
  if (m_Left || m_EndReason)
    return;
  m_EndReason = reason;
  m_EndText = text;
  m_Stream->SetPaused(true);
  if (m_Unanswered == 0)
    SayGoodbye(reason, text);
}

void Session::Drop(const String& reason) {
  if (m_Left)
    return;
  rlib::LogWarning(Who() + " was dropped: " + reason);
  m_Stream->Close();
  Leave();
}

void Session::OnFrame(wire::Frame& frame) {
  if (frame.has_goodbye()) {
    m_Stream->Close();
    return Leave();
  }
  if (!m_Welcome)
    return OnHello(frame.hello());
  if (!frame.has_message())
    throw wire::Malformed("a frame that a client does not send");
  OnRequest(*frame.mutable_message());
}

void Session::OnHello(const wire::Hello& hello) {
  const wire::VersionRange spoken = wire::SpokenBy(hello);
  if (!wire::HighestCommon(spoken, wire::k_SpokenVersions)) {
    m_Host.ReportStranger(fmt::format("{} speaks {} of the protocol", Who().str(), wire::Words(spoken)));
    return SayGoodbye(wire::Goodbye::PROTOCOL_VERSION,
                      fmt::format("this Master speaks {} of the protocol, the client {}",
                                  wire::Words(wire::k_SpokenVersions), wire::Words(spoken)));
  }
  if (!rlib::IsUtf8(hello.name()))
    throw wire::Malformed("a Hello whose name is not valid UTF-8");
  m_Peer->m_ClientId = wire::Identifier(hello.client_id()).ToString().str();
  m_Peer->m_Kind = hello.kind();
  m_Peer->m_Program = hello.name();
  m_Peer->m_Version = hello.version();
  SendWelcome(hello);
}

void Session::SendWelcome(const wire::Hello& hello) {
  const auto snapshot = m_Host.CurrentSnapshot();
  wire::Frame frame;
  *frame.mutable_welcome() = m_Host.WelcomeTemplate();
  wire::NameVersions(*frame.mutable_welcome());
  if (const auto version = wire::HighestCommon(wire::SpokenBy(hello), wire::k_SpokenVersions))
    frame.mutable_welcome()->set_protocol_version(*version);
  frame.mutable_welcome()->set_default_idle_timeout(snapshot->m_DefaultIdleTimeout);
  // A longer one may be stored from the time when it was taken.
  frame.mutable_welcome()->set_message(
      std::string(rlib::Utf8Beginning(snapshot->m_Message.str(), k_MaxMessage)));
  m_Stream->Send(frame);
  if (!m_Peer->m_Manages) // which needs to know nothing of the farm
    SendLists(hello, *snapshot);

  m_Timer.cancel();
  m_MayAsk = m_Peer->m_Role == Role::k_Administrator;
  if (m_MayAsk)
    m_Stream->SetLimit(wire::k_MaxFrame);
  m_Welcome = true;
  m_Host.Welcomed(*m_Peer);
  rlib::LogInfo(fmt::format("{} connected: {} '{}', kind {}", Who().str(), RoleName(m_Peer->m_Role),
                            m_Peer->m_Name.str(), m_Peer->m_Kind));
}

void Session::SendLists(const wire::Hello& hello, const Snapshot& snapshot) {
  m_Stream->Send(snapshot.m_Translations);
  const ProductFrames& products = *snapshot.m_Products;
  if (hello.products_digest() != products.m_Digest)
    return SendProducts(products);
  wire::Frame unchanged;
  unchanged.mutable_products()->set_unchanged(true);
  m_Stream->Send(unchanged);
  m_Stream->Send(products.m_End);
}

void Session::OnRequest(wire::Envelope& envelope) {
  Request request = MakeRequest(m_Number, m_Peer, envelope, m_Stream->MessageBytes());
  if (request.m_Id.IsNull())
    throw wire::Malformed("a request without an identifier");
  m_Unanswered += 1;
  m_UnansweredBytes += request.Weight();
  m_Host.Submit(std::move(request));
  if (!m_MayAsk)
    EndSoon();
  LimitBacklog();
}

/// What the client sent already is answered, and not much more.
void Session::EndSoon() {
  const auto end = [](Session& self) {
    self.End(wire::Goodbye::UNSPECIFIED, "a component may receive, but may not send requests");
  };
  if (m_Unanswered >= k_MaxUnanswered)
    return end(*this);
  if (std::exchange(m_HasAsked, true))
    return;
  m_Timer.expires_after(k_RefuseFor);
  m_Timer.async_wait([weak = weak_from_this(), end](const error_code& error) {
    if (const auto self = weak.lock(); self && !error)
      end(*self);
  });
}

void Session::LimitBacklog() {
  if (m_EndReason || !m_Welcome)
    return;
  // Reading goes on at half of the limit, so that it does not start and stop with every answer.
  const size_t backlog = m_UnansweredBytes + m_Stream->Queued();
  if (m_Unanswered >= k_MaxUnanswered || backlog >= k_MaxBacklog)
    m_Paused = true;
  else if (m_Paused && m_Unanswered <= k_MaxUnanswered / 2 && backlog <= k_MaxBacklog / 2)
    m_Paused = false;
  else
    return;
  m_Stream->SetPaused(m_Paused);
}

void Session::OnEnd(const FrameStream::End& end) {
  const String line = Who() + (end.m_Malformed ? " broke the protocol: " : " disconnected: ") + end.m_Text;
  if (!m_Welcome)
    m_Host.ReportStranger(line);
  else if (end.m_Malformed)
    rlib::LogWarning(line);
  else
    rlib::LogInfo(line);
  Leave();
}

void Session::SayGoodbye(wire::Goodbye::Reason reason, const String& text) {
  if (m_Left)
    return;
  wire::Frame frame;
  frame.mutable_goodbye()->set_reason(reason);
  frame.mutable_goodbye()->set_text(text.str());
  m_Stream->Send(frame);
  m_Stream->CloseWhenWritten(k_GoodbyeWithin);
  Leave();
}

void Session::Leave() {
  if (m_Left)
    return;
  m_Left = true;
  m_Timer.cancel();
  m_Host.Closed(m_Number);
}

String Session::Who() const {
  return "The client at " + m_Peer->m_Address;
}

} // namespace brenic::master
