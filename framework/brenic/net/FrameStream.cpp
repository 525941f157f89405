#include "net/FrameStream.h"

#include <algorithm>

#include <boost/asio/error.hpp>
#include <fmt/core.h>

#include "rlib/Log.h"

namespace brenic {

namespace {

// With this much to read, a peer hears enough without an answer to its Ping. Also keeps what it queues small.
constexpr size_t k_EnoughQueued = 4 * 1024;
// What a frame is written in, and one of which not all can be in the system's buffers without the peer's
// taking it.
constexpr size_t k_Part = 256 * 1024;
constexpr size_t k_Long = 16 * k_Part;

} // namespace

FrameStream::FrameStream(asio::io_context& io, std::unique_ptr<ByteStream> stream, Timing timing)
    : m_Io(io), m_Timing(timing), m_Stream(std::move(stream)), m_SilenceTimer(io), m_CloseTimer(io) {}

void FrameStream::Start(Handlers handlers) {
  m_Handlers = std::move(handlers);
  m_Heard = std::chrono::steady_clock::now();
  WatchSilence();
  Read();
}

void FrameStream::Send(Bytes frame) {
  if (m_Closed)
    return;
  m_Queued += frame->size();
  m_Output.push_back(std::move(frame));
  Write();
}

void FrameStream::SetPaused(bool paused) {
  if (m_Paused != paused)
    m_Heard = std::chrono::steady_clock::now();
  m_Paused = paused;
  if (!paused && !m_Closed && m_Handlers.m_OnFrame)
    asio::post(m_Io, [self = shared_from_this()] { self->TakeFrames(); });
}

void FrameStream::Close() {
  if (m_Closed)
    return;
  m_Closed = true;
  m_Handlers = {};
  m_SilenceTimer.cancel();
  m_CloseTimer.cancel();
  m_Stream->Close();
}

void FrameStream::CloseWhenWritten(std::chrono::milliseconds atMost) {
  m_Handlers = {};
  m_Ending = true;
  m_Paused = false;
  Read();
  m_CloseTimer.expires_after(atMost);
  m_CloseTimer.async_wait([self = shared_from_this()](const error_code& error) {
    if (!error)
      self->Close();
  });
}

void FrameStream::Read() {
  if (m_Reading || m_Closed)
    return;
  m_Reading = true;
  m_Stream->ReadSome(asio::buffer(m_Input),
                     [self = shared_from_this()](const error_code& error, size_t bytes) {
                       self->m_Reading = false;
                       if (self->m_Closed)
                         return;
                       // A peer that sends no more may still take what is queued.
                       if (error == asio::error::eof && self->m_Ending && self->m_Writing) {
                         self->m_PeerEnded = true;
                         return;
                       }
                       if (error)
                         return self->Fail({Explain(error), false, error});
                       if (self->m_Ending)
                         return self->Read();
                       self->m_Heard = std::chrono::steady_clock::now();
                       self->m_Reader.Feed({self->m_Input.data(), bytes});
                       self->TakeFrames();
                     });
}

void FrameStream::TakeFrames() {
  try {
    while (!m_Closed && !m_Paused && m_Handlers.m_OnFrame) {
      auto frame = m_Reader.Next();
      if (!frame)
        break;
      if (m_Handlers.m_Check)
        m_Handlers.m_Check(*frame);
      switch (frame->body_case()) {
      case wire::Frame::kPing:
        if (m_Queued < k_EnoughQueued) {
          wire::Frame pong;
          pong.mutable_pong();
          Send(pong);
        }
        break;
      case wire::Frame::kPong:
        break;
      case wire::Frame::BODY_NOT_SET:
        if (!std::exchange(m_UnknownLogged, true))
          rlib::LogInfo("Skipped a frame of a kind that this program does not know; further ones on this "
                        "connection are not logged");
        break;
      default:
        // A copy: the handler may close the stream, which drops the handlers.
        auto handler = m_Handlers.m_OnFrame;
        handler(*frame);
      }
    }
  } catch (const wire::Malformed& malformed) {
    return Fail({String("received ") + malformed.what(), true, {}});
  }
  if (!m_Paused)
    Read();
}

void FrameStream::Write() {
  if (m_Writing || m_Closed)
    return;
  if (m_Output.empty()) {
    if (m_Handlers.m_OnDrained)
      asio::post(m_Io, m_Handlers.m_OnDrained);
    return;
  }
  m_Writing = true;
  const Bytes bytes = m_Output.front();
  const auto part = asio::buffer(*bytes) + m_Written;
  m_Stream->Write(asio::buffer(part, k_Part),
                  [self = shared_from_this(), bytes](const error_code& error, size_t size) {
                    self->m_Writing = false;
                    if (self->m_Closed)
                      return;
                    self->m_Written += size;
                    if (!error && bytes->size() > k_Long)
                      self->m_Heard = std::chrono::steady_clock::now();
                    if (!error && self->m_Written < bytes->size())
                      return self->Write();
                    self->m_Written = 0;
                    self->m_Queued -= bytes->size();
                    self->m_Output.pop_front();
                    // What arrived before the peer closed may still be read, and tells why; so reading
                    // reports the end, unless nothing is read for now.
                    if (self->m_PeerEnded && (error || self->m_Output.empty()))
                      return self->Close();
                    if (error && self->m_Paused)
                      return self->Fail({Explain(error), false, error});
                    if (error)
                      return;
                    if (self->m_Paused)
                      self->m_Heard = std::chrono::steady_clock::now();
                    self->Write();
                  });
}

void FrameStream::WatchSilence() {
  const auto now = std::chrono::steady_clock::now();
  const auto silent = m_Heard + m_Timing.m_PingAfter;
  m_SilenceTimer.expires_at(
      silent > now ? silent : std::min(now + m_Timing.m_PingAfter, m_Heard + m_Timing.m_DeadAfter));
  m_SilenceTimer.async_wait([weak = weak_from_this()](const error_code& error) {
    const auto self = weak.lock();
    if (error || !self || self->m_Closed)
      return;
    const auto silence = std::chrono::steady_clock::now() - self->m_Heard;
    if (silence >= self->m_Timing.m_DeadAfter) {
      const auto seconds = std::chrono::duration<double>(self->m_Timing.m_DeadAfter).count();
      return self->Fail(
          {fmt::format("nothing was heard for {:g} seconds", seconds), false, asio::error::timed_out});
    }
    if (silence >= self->m_Timing.m_PingAfter && self->m_Output.empty()) {
      wire::Frame ping;
      ping.mutable_ping();
      self->Send(ping);
    }
    self->WatchSilence();
  });
}

void FrameStream::Fail(const End& end) {
  auto handler = m_Handlers.m_OnEnd;
  if (end.m_Malformed) {
    wire::Frame frame;
    frame.mutable_goodbye()->set_reason(wire::Goodbye::PROTOCOL_ERROR);
    frame.mutable_goodbye()->set_text(end.m_Text.str());
    Send(frame);
    CloseWhenWritten(std::chrono::seconds(1));
  } else {
    Close();
  }
  if (handler)
    handler(end);
}

} // namespace brenic
