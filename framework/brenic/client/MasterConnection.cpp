#include "client/MasterConnection.h"

#include <algorithm>
#include <ctime>

#include <fmt/core.h>

#include "rlib/Log.h"
#include "wire/Contents.h"
#include "wire/Versions.h"

namespace brenic {

namespace {

using Milliseconds = std::chrono::milliseconds;

constexpr char k_CheckThere[] = "check the address and port, and that the Master runs";

std::string Seconds(Milliseconds time) {
  return fmt::format("{:g} s", static_cast<double>(time.count()) / 1000);
}

} // namespace

std::chrono::seconds SinceBoot() {
  timespec time{};
  clock_gettime(CLOCK_BOOTTIME, &time);
  return std::chrono::seconds(time.tv_sec);
}

MasterConnection::MasterConnection(asio::io_context& io, std::unique_ptr<Connector> connector,
                                   Options options, EventQueue& events)
    : m_Io(io), m_Connector(std::move(connector)), m_Options(std::move(options)), m_Events(events),
      m_Pause(m_Options.m_Timing.m_FirstPause), m_Reason(String("no answer; ") + k_CheckThere),
      m_AttemptTimer(io), m_PauseTimer(io), m_GiveUpTimer(io), m_NoticeTimer(io) {}

void MasterConnection::Start() {
  if (m_Options.m_ConnectTimeout)
    StartGivingUp(*m_Options.m_ConnectTimeout);
  Attempt();
}

void MasterConnection::Stop() {
  m_State = State::k_Ended;
  for (auto* timer : {&m_AttemptTimer, &m_PauseTimer, &m_GiveUpTimer, &m_NoticeTimer})
    timer->cancel();
  m_Connector->Cancel();
  if (m_Stream)
    m_Stream->Close();
}

void MasterConnection::End(const String& text, bool orderly) {
  if (m_State == State::k_Ended)
    return;
  SettleReplied();
  Stop();
  m_Events.Push(Ended{text, orderly});
}

/// The reply of such a request stands in the queue already; sending it again would bring another one.
void MasterConnection::SettleReplied() {
  std::erase_if(m_Requests, [this](const Request& request) {
    if (request.m_Replied)
      m_Events.Push(Answered{request.m_Id, Outcome::k_Committed, k_Empty, true});
    return request.m_Replied;
  });
}

std::optional<Milliseconds> MasterConnection::Limit() const {
  return m_MasterId ? m_Options.m_Timing.m_Restore : m_Options.m_ConnectTimeout;
}

void MasterConnection::StartGivingUp(Milliseconds after) {
  m_GiveUpTimer.expires_after(after);
  m_GiveUpTimer.async_wait([this, after](const error_code& error) {
    if (error)
      return;
    // There is a connection; the next loss has the whole time again.
    if (m_State == State::k_Open)
      m_Restoring = false;
    else
      End(fmt::format("No connection to {} within {}: {}", Where().str(), Seconds(after), m_Reason.str()));
  });
}

void MasterConnection::Attempt() {
  m_State = State::k_Connecting;
  m_Welcomed = false;
  // A timer's handler may be queued already when the timer is cancelled; hence the look at the state.
  m_AttemptTimer.expires_after(m_Options.m_Timing.m_Attempt);
  m_AttemptTimer.async_wait([this](const error_code& error) {
    if (!error && m_State == State::k_Connecting)
      AttemptFailed(
          {fmt::format("no answer within {}; {}", Seconds(m_Options.m_Timing.m_Attempt), k_CheckThere),
           false});
  });
  m_Connector->Connect([this](ConnectResult result) {
    if (m_State != State::k_Connecting)
      return;
    if (auto* stream = std::get_if<std::unique_ptr<ByteStream>>(&result))
      Greet(std::move(*stream));
    else
      AttemptFailed(std::get<ConnectFailure>(result));
  });
}

void MasterConnection::Greet(std::unique_ptr<ByteStream> stream) {
  m_Stream = std::make_shared<FrameStream>(m_Io, std::move(stream), m_Options.m_Timing.m_Silence);
  m_Stream->SetLimit(wire::k_MaxFrame); // whom the connector let through is the Master
  m_Stream->Start({[this](wire::Frame& frame) { OnFrame(frame); },
                   [this](const FrameStream::End& end) {
                     if (end.m_Malformed) {
                       m_Stream.reset(); // it is left to tell the Master why
                       const char* stranger =
                           m_Welcomed ? "" : "check that the address and port are a Master's, and ";
                       End(fmt::format("{} does not keep to the protocol: {}; {}{}", Where().str(),
                                       end.m_Text.str(), stranger, k_CompareVersions));
                     } else if (m_Welcomed)
                       Lost(end);
                     else
                       AttemptFailed(m_Connector->Classify(end.m_Error));
                   },
                   {}});
  wire::Frame frame;
  wire::Hello& hello = *frame.mutable_hello();
  hello.set_protocol_version(wire::k_SpokenVersions.m_Lowest);
  wire::NameVersions(hello);
  hello.set_client_id(wire::IdentifierBytes(m_Options.m_ClientId));
  hello.set_kind(static_cast<uint32_t>(m_Options.m_Kind));
  hello.set_name(m_Options.m_Name.str());
  hello.set_version(m_Options.m_Version);
  hello.set_products_digest(m_ProductsDigest);
  m_Stream->Send(frame);
}

void MasterConnection::AttemptFailed(const ConnectFailure& failure) {
  m_Reason = failure.m_Text;
  if (failure.m_Final)
    return End(fmt::format("Cannot connect to {}: {}", Where().str(), failure.m_Text.str()));
  m_Connector->Cancel();
  if (m_Stream)
    m_Stream->Close();
  if (m_Reported != m_Reason) {
    m_Reported = m_Reason;
    const std::optional<Milliseconds> limit = Limit();
    const std::string until =
        limit ? fmt::format("for up to {}", Seconds(*limit)) : "until it answers (Ctrl-C ends this)";
    rlib::Report(rlib::Log::k_Warning, fmt::format("Cannot connect to {}: {}; trying again {}", Where().str(),
                                                   m_Reason.str(), until));
  }
  Pause();
}

void MasterConnection::Pause() {
  m_State = State::k_Pausing;
  m_AttemptTimer.cancel();
  m_PauseTimer.expires_after(m_Pause);
  m_PauseTimer.async_wait([this](const error_code& error) {
    if (!error && m_State == State::k_Pausing)
      Attempt();
  });
  m_Pause = std::min(2 * m_Pause, m_Options.m_Timing.m_LongestPause);
}

void MasterConnection::Lost(const FrameStream::End& end) {
  SettleReplied();
  if (m_ShuttingDown)
    return End("The Master has ended", true);
  if (std::any_of(m_Requests.begin(), m_Requests.end(),
                  [](const Request& request) { return request.m_Writes >= k_MostWrites; }))
    return End(fmt::format("{} closed {} connections without an answer to the same request", Where().str(),
                           k_MostWrites));
  m_Reason = m_Reported = end.m_Text;
  const Milliseconds limit = m_Options.m_Timing.m_Restore;
  rlib::Report(rlib::Log::k_Warning,
               fmt::format("Lost the connection to {}: {}; connecting again for up to {}", Where().str(),
                           end.m_Text.str(), Seconds(limit)));
  if (!m_Restoring)
    StartGivingUp(limit);
  m_Restoring = true;
  Pause();
}

void MasterConnection::Submit(const UID& request, bool isShutdown, FrameStream::Bytes frame) {
  if (m_State == State::k_Ended)
    return;
  m_Requests.push_back({request, isShutdown, std::move(frame)});
  if (m_State == State::k_Open) {
    Write(m_Requests.back());
    WatchWait();
  }
}

std::list<MasterConnection::Request>::iterator MasterConnection::Find(const UID& id) {
  return std::find_if(m_Requests.begin(), m_Requests.end(), [&](const Request& r) { return r.m_Id == id; });
}

void MasterConnection::SendAgain() {
  const auto now = m_Options.m_Timing.m_Uptime();
  std::erase_if(m_Requests, [&](const Request& request) {
    const bool tooLate = request.m_Writes > 0 && now - request.m_FirstWrite > m_Options.m_Timing.m_Resend;
    if (tooLate)
      m_Events.Push(Answered{request.m_Id, Outcome::k_Unknown,
                             "its answer was lost, and it was sent too long ago to be sent again"});
    return tooLate;
  });
  for (Request& request : m_Requests)
    Write(request);
}

void MasterConnection::Write(Request& request) {
  if (request.m_Writes == 0)
    request.m_FirstWrite = m_Options.m_Timing.m_Uptime();
  ++request.m_Writes;
  m_Stream->Send(request.m_Frame);
}

void MasterConnection::WatchWait() {
  m_NoticeTimer.cancel();
  if (m_ProductsComplete && m_Requests.empty())
    return;
  m_NoticeTimer.expires_after(m_Options.m_Timing.m_Notice);
  m_NoticeTimer.async_wait([this](const error_code& error) {
    if (error || m_State != State::k_Open || (m_ProductsComplete && m_Requests.empty()))
      return;
    rlib::Report(rlib::Log::k_Warning,
                 m_ProductsComplete
                     ? fmt::format("Waiting for {} to answer {} request(s)", Where().str(), m_Requests.size())
                     : fmt::format("Waiting for the product list of {}", Where().str()));
  });
}

} // namespace brenic
