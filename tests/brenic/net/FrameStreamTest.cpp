#include <boost/asio/local/connect_pair.hpp>
#include <gmock/gmock.h>

#include "net/FrameStream.h"
#include "rlib/Log.h"

namespace brenic {
namespace {

using Local = asio::local::stream_protocol;
using namespace std::chrono_literals;

/// A FrameStream on one end of a socket pair; the test has the bytes on the other.
class FrameStreamTest : public testing::Test {
protected:
  FrameStreamTest() { m_Peer.SetLimit(wire::k_MaxFrame); }

  void Start(FrameStream::Timing timing = {}) {
    Local::socket ours(m_Io);
    asio::local::connect_pair(ours, m_Socket);
    m_Stream = std::make_shared<FrameStream>(
        m_Io, std::make_unique<AsioByteStream<Local::socket>>(std::move(ours)), timing);
    m_Stream->Start({[this](wire::Frame& frame) { m_Frames.push_back(frame); },
                     [this](const FrameStream::End& end) { m_Ends.push_back(end); }, [this] { ++m_Drained; },
                     m_Check});
  }
  ~FrameStreamTest() override {
    if (m_Stream)
      m_Stream->Close();
    m_Io.restart();
    m_Io.poll();
  }

  static wire::Frame Hello(const std::string& name) {
    wire::Frame frame;
    frame.mutable_hello()->set_name(name);
    return frame;
  }
  void PeerWrites(const std::string& bytes) { asio::write(m_Socket, asio::buffer(bytes)); }
  /// Runs handlers until the condition holds. False after a long time.
  template <typename Condition>
  bool RunUntil(Condition condition) {
    const auto limit = std::chrono::steady_clock::now() + 30s;
    m_Io.restart();
    while (!condition() && std::chrono::steady_clock::now() < limit)
      m_Io.run_one_for(100ms);
    return condition();
  }
  /// What has been written to the peer by now.
  void PeerReads() {
    error_code error;
    m_Socket.non_blocking(true);
    std::array<char, 4096> buffer;
    while (const size_t size = m_Socket.read_some(asio::buffer(buffer), error)) {
      m_Peer.Feed({buffer.data(), size});
      m_PeerBytes += size;
    }
    m_PeerSawEnd = m_PeerSawEnd || error == asio::error::eof;
    while (auto frame = m_Peer.Next())
      m_PeerFrames.push_back(*frame);
  }

  asio::io_context m_Io;
  Local::socket m_Socket{m_Io};
  std::shared_ptr<FrameStream> m_Stream;
  std::vector<wire::Frame> m_Frames;
  std::vector<FrameStream::End> m_Ends;
  int m_Drained = 0;
  std::function<void(const wire::Frame& frame)> m_Check;
  wire::FrameReader m_Peer;
  std::vector<wire::Frame> m_PeerFrames;
  size_t m_PeerBytes = 0;
  bool m_PeerSawEnd = false;
};

TEST_F(FrameStreamTest, FramesArriveWholeHoweverTheBytesAreCut) {
  Start();
  const std::string bytes = wire::Encode(Hello("one")) + wire::Encode(Hello("two"));
  for (const char byte : bytes) {
    PeerWrites(std::string(1, byte));
    m_Io.restart();
    m_Io.poll();
  }
  ASSERT_TRUE(RunUntil([&] { return m_Frames.size() == 2; }));
  EXPECT_EQ(m_Frames[1].hello().name(), "two");
}

TEST_F(FrameStreamTest, EveryPingIsAnswered) {
  Start();
  wire::Frame ping;
  ping.mutable_ping();
  PeerWrites(wire::Encode(ping) + wire::Encode(ping));
  EXPECT_TRUE(RunUntil([&] {
    PeerReads();
    return m_PeerFrames.size() == 2;
  }));
  EXPECT_TRUE(m_PeerFrames[0].has_pong());
  EXPECT_TRUE(m_Frames.empty());
}

TEST_F(FrameStreamTest, APeerThatPingsAndReadsNothingDoesNotMakeTheQueueGrow) {
  Start();
  wire::Frame ping;
  ping.mutable_ping();
  std::string pings;
  for (int i = 0; i < 10'000; ++i)
    pings += wire::Encode(ping);
  wire::Frame hello = Hello(std::string(8 * 1024 * 1024, 'x')); // more than the socket holds
  m_Stream->Send(hello);
  const size_t queued = m_Stream->Queued();
  PeerWrites(pings + wire::Encode(Hello("behind")));
  ASSERT_TRUE(RunUntil([&] { return m_Frames.size() == 1; }));
  EXPECT_EQ(m_Stream->Queued(), queued);
}

TEST_F(FrameStreamTest, FramesOfUnknownKindsAreSkippedAndLoggedOnce) {
  int lines = 0;
  rlib::Log::SetObserver(
      [&](int, const String& text) { lines += text.str().find("kind") != std::string::npos; });
  Start();
  PeerWrites(std::string(4 * 100, '\0') + wire::Encode(Hello("behind"))); // a hundred empty frames
  EXPECT_TRUE(RunUntil([&] { return m_Frames.size() == 1; }));
  rlib::Log::SetObserver({});
  EXPECT_EQ(lines, 1);
}

TEST_F(FrameStreamTest, AFrameThatTheCheckDoesNotLetPassIsMalformedWhateverItsKind) {
  wire::Frame ping;
  ping.mutable_ping();
  for (const std::string& bytes : {wire::Encode(ping), std::string(4, '\0'), wire::Encode(Hello("x"))}) {
    m_Check = [](const wire::Frame&) { throw wire::Malformed("something that must not come"); };
    m_Socket = Local::socket(m_Io);
    m_Ends.clear();
    Start();
    PeerWrites(bytes);
    ASSERT_TRUE(RunUntil([&] { return !m_Ends.empty(); }));
    EXPECT_TRUE(m_Ends[0].m_Malformed);
    EXPECT_EQ(m_Ends[0].m_Text, String("received something that must not come"));
    m_Stream->Close();
  }
  EXPECT_TRUE(m_Frames.empty());
}

TEST_F(FrameStreamTest, ASilentPeerIsPingedAndThenTakenForDead) {
  Start({20ms, 60ms});
  EXPECT_TRUE(RunUntil([&] { return !m_Ends.empty(); }));
  PeerReads();
  ASSERT_FALSE(m_PeerFrames.empty());
  EXPECT_TRUE(m_PeerFrames[0].has_ping());
  EXPECT_EQ(m_Ends[0].m_Text, String("nothing was heard for 0.06 seconds"));
  EXPECT_FALSE(m_Ends[0].m_Malformed);
  EXPECT_EQ(m_Ends.size(), 1u);
}

TEST_F(FrameStreamTest, APeerThatAnswersPingsLives) {
  Start({20ms, 2000ms});
  wire::Frame pong;
  pong.mutable_pong();
  size_t answered = 0;
  EXPECT_TRUE(RunUntil([&] {
    PeerReads();
    for (; answered < m_PeerFrames.size(); ++answered)
      PeerWrites(wire::Encode(pong));
    return answered >= 4;
  }));
  EXPECT_TRUE(m_Ends.empty());
}

TEST_F(FrameStreamTest, WhilePausedNothingArrivesAndAfterwardsEverything) {
  Start();
  m_Stream->SetPaused(true);
  PeerWrites(wire::Encode(Hello("one")) + wire::Encode(Hello("two")));
  m_Io.restart();
  m_Io.poll();
  EXPECT_TRUE(m_Frames.empty());
  m_Stream->SetPaused(false);
  EXPECT_TRUE(RunUntil([&] { return m_Frames.size() == 2; }));
}

TEST_F(FrameStreamTest, APausedStreamLivesAsLongAsThePeerTakesItsPings) {
  Start({20ms, 200ms});
  m_Stream->SetPaused(true);
  EXPECT_TRUE(RunUntil([&] {
    PeerReads();
    return m_PeerFrames.size() >= 15 || !m_Ends.empty(); // longer than a silence that would be death
  }));
  EXPECT_TRUE(m_Ends.empty());
}

TEST_F(FrameStreamTest, APausedStreamWhosePeerTakesNothingIsDead) {
  Start({20ms, 60ms});
  m_Stream->SetPaused(true);
  m_Stream->Send(Hello(std::string(8 * 1024 * 1024, 'x'))); // more than the socket holds
  EXPECT_TRUE(RunUntil([&] { return !m_Ends.empty(); }));
}

TEST_F(FrameStreamTest, AMalformedFrameIsAnsweredWithTheReasonAndReportedOnce) {
  Start();
  PeerWrites(wire::Encode(Hello("good")) + std::string("\0\0\0\2\xff\xff", 6) + wire::Encode(Hello("late")));
  ASSERT_TRUE(RunUntil([&] { return !m_Ends.empty(); }));
  EXPECT_TRUE(m_Ends[0].m_Malformed);
  EXPECT_EQ(m_Frames.size(), 1u);
  ASSERT_TRUE(RunUntil([&] {
    PeerReads();
    return !m_PeerFrames.empty();
  }));
  EXPECT_EQ(m_PeerFrames[0].goodbye().reason(), wire::Goodbye::PROTOCOL_ERROR);
  EXPECT_EQ(m_PeerFrames[0].goodbye().text(), "received a frame that cannot be decoded");
  EXPECT_EQ(m_Ends.size(), 1u);
}

TEST_F(FrameStreamTest, AFrameAboveTheLimitIsMalformedAndBelowItIsNot) {
  Start();
  PeerWrites(wire::Encode(Hello(std::string(60'000, 'x'))));
  ASSERT_TRUE(RunUntil([&] { return m_Frames.size() == 1; }));
  PeerWrites(std::string("\0\1\0\1", 4));
  ASSERT_TRUE(RunUntil([&] { return !m_Ends.empty(); }));
  EXPECT_EQ(m_Ends[0].m_Text, String("received a frame of 65537 bytes, where 65536 are allowed"));
}

TEST_F(FrameStreamTest, CloseWhenWrittenWritesEverythingAlsoAgainstUnreadInput) {
  Start();
  constexpr size_t k_Size = 4 * 1024 * 1024;
  m_Stream->Send(Hello(std::string(k_Size, 'x')));
  m_Stream->Send(Hello("last"));
  EXPECT_GT(m_Stream->Queued(), k_Size);
  PeerWrites(wire::Encode(Hello("unread")));
  m_Stream->CloseWhenWritten(30s);
  EXPECT_TRUE(RunUntil([&] {
    PeerReads();
    return m_PeerFrames.size() == 2;
  }));
  EXPECT_EQ(m_PeerFrames[1].hello().name(), "last");
  EXPECT_TRUE(m_Frames.empty());
  error_code ignored;
  m_Socket.shutdown(Local::socket::shutdown_send, ignored);
  EXPECT_TRUE(RunUntil([&] {
    PeerReads();
    return m_PeerSawEnd;
  }));
}

TEST_F(FrameStreamTest, CloseWhenWrittenWritesEverythingAlsoWhenThePeerSendsNoMore) {
  Start();
  m_Stream->Send(Hello(std::string(4 * 1024 * 1024, 'x')));
  m_Stream->CloseWhenWritten(30s);
  m_Socket.shutdown(Local::socket::shutdown_send);
  EXPECT_TRUE(RunUntil([&] {
    PeerReads();
    return m_PeerSawEnd;
  }));
  EXPECT_EQ(m_PeerFrames.size(), 1u);
}

TEST_F(FrameStreamTest, CloseWhenWrittenDoesNotWaitForAPeerForEver) {
  Start();
  m_Stream->CloseWhenWritten(20ms);
  EXPECT_TRUE(RunUntil([&] {
    PeerReads();
    return m_PeerSawEnd;
  }));
  EXPECT_TRUE(m_Ends.empty());
}

TEST_F(FrameStreamTest, DrainedIsReportedOnceTheQueueIsEmpty) {
  Start();
  m_Stream->Send(Hello("a"));
  m_Stream->Send(Hello("b"));
  EXPECT_EQ(m_Drained, 0);
  EXPECT_TRUE(RunUntil([&] { return m_Drained > 0; }));
  EXPECT_EQ(m_Stream->Queued(), 0u);
}

TEST_F(FrameStreamTest, TheEndOfTheStreamIsReportedBehindWhatCameBeforeIt) {
  Start();
  PeerWrites(wire::Encode(Hello("last words")));
  m_Socket.close();
  ASSERT_TRUE(RunUntil([&] { return !m_Ends.empty(); }));
  EXPECT_EQ(m_Frames.size(), 1u);
  EXPECT_EQ(m_Ends[0].m_Text, String("the connection was closed by the other side"));
}

} // namespace
} // namespace brenic
