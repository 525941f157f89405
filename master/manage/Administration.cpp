#include "manage/Administration.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <fmt/core.h>

#include "Release.h"
#include "rlib/Escape.h"
#include "store/DataFolder.h"
#include "wire/Contents.h"
#include "wire/Versions.h"

namespace brenic::master {

namespace {

[[noreturn]] void FailForSilence(std::chrono::milliseconds patience, bool isAsked) {
  throw new Exception(
      fmt::format("The Master does not answer within {} seconds; {}",
                  std::chrono::ceil<std::chrono::seconds>(patience).count(),
                  isAsked ? "whether this was done is unknown: look before you repeat it"
                          : "nothing was done: look at its log, and whether it was stopped or stands still"));
}

class Connection {
public:
  Connection(int socket, std::chrono::milliseconds patience) : m_Socket(socket), m_Patience(patience) {
    m_Reader.SetLimit(wire::k_MaxFrame);
  }
  ~Connection() { close(m_Socket); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  /// False when the Master has gone.
  bool Send(const wire::Frame& frame) {
    const std::string bytes = wire::Encode(frame);
    for (size_t sent = 0; sent < bytes.size();) {
      const ssize_t now = send(m_Socket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
      if (now <= 0)
        return false;
      sent += static_cast<size_t>(now);
    }
    return true;
  }

  /// The next frame; none when the Master has gone or says nothing for too long.
  std::optional<wire::Frame> Receive(bool isAsked) {
    for (;;) {
      if (auto frame = m_Reader.Next())
        return frame;
      std::array<char, 64 * 1024> bytes;
      const ssize_t count = recv(m_Socket, bytes.data(), bytes.size(), 0);
      if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
        FailForSilence(m_Patience, isAsked);
      if (count <= 0)
        return std::nullopt;
      m_Reader.Feed({bytes.data(), static_cast<size_t>(count)});
    }
  }

private:
  const int m_Socket;
  const std::chrono::milliseconds m_Patience;
  wire::FrameReader m_Reader;
};

/// A Master that runs makes its socket anew, but takes nothing away that it has not made.
void RequireNothingElse(const Path& socket) {
  struct stat info {};
  if (lstat(socket.c_str(), &info) == 0 && !S_ISSOCK(info.st_mode))
    throw new Exception(
        "'" + rlib::EscapeControls(socket.str()) +
        "', by which the Master is asked, is no socket; take it away, and the Master makes it "
        "anew within seconds");
}

/// -1 when nobody listens.
int Connect(const Path& socket, std::chrono::milliseconds patience) {
  const ShortSocketPath path(socket);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.str().copy(address.sun_path, sizeof address.sun_path - 1);
  const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (descriptor < 0)
    rlib::ThrowError("Cannot make a socket", errno);
  const timeval within{patience.count() / 1000, patience.count() % 1000 * 1000};
  setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &within, sizeof within);
  setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &within, sizeof within);
  if (connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
    return descriptor;
  const int error = errno;
  close(descriptor);
  if (error == EAGAIN) // too many wait already
    FailForSilence(patience, false);
  if (error != ENOENT && error != ECONNREFUSED)
    rlib::ThrowError(
        "Cannot reach the Master by '" + socket.str() + "'; run this as the Master's user or as root", error);
  RequireNothingElse(socket);
  return -1;
}

wire::Frame HelloFrame() {
  wire::Frame frame;
  wire::Hello& hello = *frame.mutable_hello();
  hello.set_protocol_version(wire::k_ProtocolVersion);
  wire::NameVersions(hello);
  hello.set_client_id(wire::IdentifierBytes(UID(true)));
  hello.set_name("brenic-master");
  hello.set_version(k_Version);
  return frame;
}

/// Takes what belongs to the answer; whether it is complete.
bool Take(wire::Frame& frame, const Message& message, Asked& asked, std::optional<wire::Answer>& answer) {
  const std::string id = wire::IdentifierBytes(message.m_ID);
  if (frame.has_message() && frame.message().reply_to() == id)
    asked.m_Reply = wire::FromWire(*frame.mutable_message());
  if (frame.has_answer() && frame.answer().id() == id)
    answer = frame.answer();
  return answer.has_value();
}

Asked Judged(Asked asked, const wire::Answer& answer) {
  const String text(answer.reason());
  if (answer.outcome() == wire::Answer::REFUSED)
    throw new Exception(rlib::EscapeControls(text));
  if (answer.outcome() != wire::Answer::COMMITTED)
    throw new Exception("Whether it was done is unknown: " + rlib::EscapeControls(text));
  asked.m_Text = text;
  return asked;
}

} // namespace

Asked ReadAnswer(const Message& message, const std::string& frames) {
  wire::FrameReader reader;
  reader.SetLimit(wire::k_MaxFrame);
  reader.Feed(frames);
  Asked asked;
  std::optional<wire::Answer> answer;
  while (auto frame = reader.Next()) {
    if (Take(*frame, message, asked, answer))
      return Judged(std::move(asked), *answer);
  }
  throw new Exception("The Master gave no answer");
}

std::optional<Asked> AskRunning(const Path& folder, const Message& message,
                                std::chrono::milliseconds patience) {
  const int socket = Connect(ManagementSocket(folder), patience);
  if (socket < 0)
    return std::nullopt;
  Connection connection(socket, patience);
  if (!connection.Send(HelloFrame()))
    return std::nullopt;
  bool isSent = false;
  Asked asked;
  std::optional<wire::Answer> answer;
  while (auto frame = connection.Receive(isSent)) {
    if (frame->has_goodbye() && frame->goodbye().reason() != wire::Goodbye::ENDING && !isSent)
      throw new Exception("The Master does not let this in: " +
                          rlib::EscapeControls(String(frame->goodbye().text())));
    if (frame->has_welcome()) {
      wire::Frame request;
      wire::ToWire(message, *request.mutable_message());
      isSent = true;
      if (!connection.Send(request))
        break;
    }
    if (isSent && Take(*frame, message, asked, answer))
      return Judged(std::move(asked), *answer);
  }
  if (!isSent)
    return std::nullopt;
  throw new Exception(
      "The Master ended, or did not answer in time; whether this was done is unknown: look before "
      "you repeat it");
}

} // namespace brenic::master
