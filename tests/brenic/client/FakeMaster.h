// A Master in the test's own process, underneath the client's Connector: in-memory streams whose other end
// follows a plan on the client's I/O thread, and which can break at any byte.
#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>

#include "client/Connector.h"
#include "wire/Contents.h"
#include "wire/Versions.h"

namespace brenic {

class FakeMaster;

/// One connection, seen from the Master. Used on the I/O thread only.
class Link : public std::enable_shared_from_this<Link> {
public:
  Link(asio::io_context& io, FakeMaster& master, int number) : m_Number(number), m_Io(io), m_Master(master) {}

  const int m_Number; // from 1

  void Send(const wire::Frame& frame) { SendBytes(wire::Encode(frame)); }
  void SendBytes(std::string_view bytes);
  /// End of stream for the client, once it has read what was sent.
  void Close();

private:
  friend class FakeMaster;
  friend class FakeConnector;
  friend class FakeStream;

  void Deliver();
  void Take(std::string_view bytes);

  asio::io_context& m_Io;
  FakeMaster& m_Master;
  wire::FrameReader m_Reader;
  std::string m_Output; // not read yet
  bool m_Closed = false;
  bool m_ClientClosed = false;
  size_t m_OutputLeft = std::string::npos; // until the stream breaks
  size_t m_InputLeft = std::string::npos;
  asio::mutable_buffer m_Into;
  ByteStream::Done m_Reading;
};

/// What happens on one connection.
struct Plan {
  std::optional<ConnectFailure> m_Refuse;         // instead of a connection
  error_code m_Break;                             // with an error: the established connection ends with it
  bool m_Silent = false;                          // Hello is not answered
  std::string m_Garbage;                          // instead of Welcome
  std::string m_GarbageLater;                     // behind EndProducts
  std::optional<wire::Goodbye::Reason> m_Goodbye; // instead of Welcome
  std::optional<wire::Goodbye::Reason> m_GoodbyeLater; // instead of the answer to a request
  size_t m_CutOutput = std::string::npos;              // the stream ends behind this many bytes to the client
  size_t m_CutInput = std::string::npos;               // or from it
  bool m_HoldProducts = false;
  bool m_Unchanged = false;
  unsigned m_Version = wire::k_ProtocolVersion;
  std::optional<wire::VersionRange> m_Versions; // none: as a Master that knows of no range
  std::optional<UID> m_MasterId;                // another one than the usual
};

class FakeMaster {
public:
  using OnRequest = std::function<void(Link& link, const wire::Envelope& request)>;

  // Set before the client starts.
  std::vector<Plan> m_Plans{Plan{}}; // by connection; the last holds for all further ones
  std::vector<std::string> m_ProductNames{"one", "two"};
  std::string m_Digest = "digest-1";
  std::optional<wire::PathTranslations> m_Translations;
  /// What to do with a request; Serve unless set otherwise. I/O thread.
  OnRequest m_OnRequest = [this](Link& link, const wire::Envelope& request) { Serve(link, request); };

  const UID m_Id{true};

  std::unique_ptr<Connector> MakeConnector(asio::io_context& io);

  // I/O thread.
  /// Applies the request once, replies to a read, and answers.
  void Serve(Link& link, const wire::Envelope& request);
  void Apply(const wire::Envelope& request);
  void Reply(Link& link, const wire::Envelope& request, const std::string& value = "value");
  void Answer(Link& link, const std::string& id, wire::Answer::Outcome outcome = wire::Answer::COMMITTED,
              const std::string& reason = "");
  void Push(Link& link, const Message& message);
  void SendProducts(Link& link);
  void Goodbye(Link& link, wire::Goodbye::Reason reason);

  // Any thread.
  /// Runs on the I/O thread with the newest connection.
  void Post(std::function<void(Link& link)> task);
  int Connections();
  std::vector<wire::Frame> Frames();
  /// The requests as they came in on connection `number`, encoded.
  std::vector<std::string> Requests(int number);
  /// How often each request was applied.
  std::map<std::string, int> Applied();
  /// How many connections the client has closed itself.
  int Closed();
  /// Waits until the number of frames received, pings included, is at least this. False after a long time.
  bool WaitForFrames(size_t count);

private:
  friend class Link;
  friend class FakeStream;
  friend class FakeConnector;

  struct Seen {
    int m_Connection;
    wire::Frame m_Frame;
  };

  const Plan& PlanOf(int number) const;
  void OnFrame(Link& link, const wire::Frame& frame);

  asio::io_context* m_Io = nullptr;
  std::shared_ptr<Link> m_Newest; // I/O thread

  std::mutex m_Mutex;
  std::condition_variable m_Changed;
  int m_Connections = 0;
  int m_Closed = 0;
  std::vector<Seen> m_Frames;
  std::map<std::string, int> m_Applied;
};

} // namespace brenic
