// Frames over a byte stream, for both sides: queueing, limits, keep-alive.
#pragma once

#include <chrono>
#include <deque>

#include "net/ByteStream.h"
#include "wire/Frames.h"

namespace brenic {

/// Used on the I/O thread only. Lives as long as somebody holds it or an operation is under way. Who takes
/// parts of a long frame is heard by that. A peer that does not read is not answered any more when it pings,
/// so it cannot make the queue grow by itself.
class FrameStream : public std::enable_shared_from_this<FrameStream> {
public:
  using Bytes = std::shared_ptr<const std::string>;

  /// How long a peer may be silent. Others than these are for tests.
  struct Timing {
    std::chrono::milliseconds m_PingAfter{15'000};
    std::chrono::milliseconds m_DeadAfter{45'000};
  };

  /// Why the stream ended.
  struct End {
    String m_Text;
    bool m_Malformed = false; // the peer broke the protocol, and is told so
    error_code m_Error;
  };

  /// None is called from within Start, Send or Close. After `onEnd`, none is called again.
  struct Handlers {
    std::function<void(wire::Frame& frame)> m_OnFrame;
    std::function<void(const End& end)> m_OnEnd;
    std::function<void()> m_OnDrained; // everything queued has been written
    /// Sees every frame before anything is done with it, Pings and unknown kinds too; throws wire::Malformed
    /// for one that must not come now.
    std::function<void(const wire::Frame& frame)> m_Check = {};
  };

  FrameStream(asio::io_context& io, std::unique_ptr<ByteStream> stream, Timing timing);
  FrameStream(asio::io_context& io, std::unique_ptr<ByteStream> stream)
      : FrameStream(io, std::move(stream), Timing()) {}

  void Start(Handlers handlers);
  void Send(Bytes frame);
  void Send(const wire::Frame& frame) { Send(std::make_shared<const std::string>(wire::Encode(frame))); }

  /// The message of the frame that m_OnFrame is just being called with, in the bytes in which it came.
  std::string MessageBytes() const { return wire::MessageBytes(m_Reader.Bytes()); }

  /// Bytes queued and not yet written.
  size_t Queued() const { return m_Queued; }
  /// The largest frame that is taken from now on, in bytes.
  void SetLimit(size_t bytes) { m_Reader.SetLimit(bytes); }
  /// Frames arrive only while not paused. Pings go on; a paused stream is dead when the peer takes nothing of
  /// what is written, since nothing can be heard from it.
  void SetPaused(bool paused);

  /// Ends without calling a handler.
  void Close();
  /// Ends, without calling a handler, once everything queued has been written and the peer has closed, or
  /// after `atMost`. What still arrives is dropped, since closing with unread input would take back the
  /// output.
  void CloseWhenWritten(std::chrono::milliseconds atMost);

private:
  void Read();
  void TakeFrames();
  void Write();
  void WatchSilence();
  void Fail(const End& end);

  asio::io_context& m_Io;
  const Timing m_Timing;
  std::unique_ptr<ByteStream> m_Stream;
  Handlers m_Handlers;
  wire::FrameReader m_Reader;
  std::array<char, 64 * 1024> m_Input;
  std::deque<Bytes> m_Output;
  size_t m_Queued = 0;
  size_t m_Written = 0; // of the first frame
  bool m_Writing = false;
  bool m_Reading = false;
  bool m_Paused = false;
  bool m_Closed = false;
  bool m_Ending = false;
  bool m_PeerEnded = false; // while ending
  bool m_UnknownLogged = false;
  std::chrono::steady_clock::time_point m_Heard;
  asio::steady_timer m_SilenceTimer;
  asio::steady_timer m_CloseTimer;
};

} // namespace brenic
