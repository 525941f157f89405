#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/core.h>

#include "serve/Listener.h"
#include "serve/Users.h"
#include "store/DataFolder.h"

namespace brenic::master {

namespace {

using asio::local::stream_protocol;

class LocalListener : public Listener {
public:
  LocalListener(asio::io_context& io, const Path& socket, LocalUse use, ReportStranger report,
                OnArrival onArrival)
      : m_Path(socket), m_Use(use), m_Report(std::move(report)), m_OnArrival(std::move(onArrival)),
        m_Loop(io, [this](stream_protocol::socket accepted) { Arrive(std::move(accepted)); }) {
    Open();
    m_Loop.Accept();
  }

  ~LocalListener() override { LocalListener::Close(); }

  void Close() override {
    m_Loop.Close();
    if (IsInPlace())
      unlink(m_Path.c_str());
    m_Bound = false;
  }
  rlib::Result<bool> Mend() override {
    if (IsInPlace())
      return false;
    m_Loop.Close();
    m_Bound = false;
    try {
      Open();
    } catch (Exception* error) {
      const std::unique_ptr<Exception> owned(error);
      m_Loop.Close();
      return rlib::Failure(error->Message());
    }
    m_Loop.Accept();
    return true;
  }
  String Address() const override { return "unix:" + m_Path.str(); }

private:
  void Open() {
    try {
      stream_protocol::acceptor& acceptor = m_Loop.Get();
      RemoveStale();
      acceptor.open();
      acceptor.bind(stream_protocol::endpoint(ShortSocketPath(m_Path).str()));
      m_Bound = lstat(m_Path.c_str(), &m_File) == 0;
      // Everybody may connect; the peer's user decides who is let in.
      if (chmod(m_Path.c_str(), m_Use == LocalUse::k_Management ? 0600 : 0666) != 0)
        rlib::ThrowError("Cannot open the local socket '" + m_Path.str() + "' to users", errno);
      acceptor.listen();
    } catch (const boost::system::system_error& error) {
      throw new Exception(fmt::format("Cannot listen on the local socket '{}': {}", m_Path.str().str(),
                                      error.code().message()));
    }
  }

  /// Whether the path leads here, and not to what others have put there.
  bool IsInPlace() const {
    struct stat info {};
    return m_Bound && lstat(m_Path.c_str(), &info) == 0 && info.st_dev == m_File.st_dev &&
           info.st_ino == m_File.st_ino;
  }

  void RemoveStale() {
    struct stat info {};
    if (lstat(m_Path.c_str(), &info) != 0)
      return;
    if (!S_ISSOCK(info.st_mode))
      throw new Exception("There is a file that is no socket: " + m_Path.str());
    stream_protocol::socket probe(m_Loop.Get().get_executor());
    error_code error;
    probe.connect(stream_protocol::endpoint(ShortSocketPath(m_Path).str()), error);
    if (error != asio::error::connection_refused)
      throw new Exception("Another process serves the local socket '" + m_Path.str() + "'");
    unlink(m_Path.c_str());
  }

  void Arrive(stream_protocol::socket socket) {
    ucred peer{};
    socklen_t size = sizeof peer;
    if (getsockopt(socket.native_handle(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0)
      return m_Report("The user of a local peer cannot be determined: " + rlib::ErrorText(errno));
    Arrival arrival;
    arrival.m_Peer.m_Key = UserKey(peer.uid);
    arrival.m_Peer.m_Name = UserName(peer.uid);
    arrival.m_Peer.m_Address = Address().str();
    arrival.m_Peer.m_Role = Role::k_Administrator;
    arrival.m_Peer.m_Manages = m_Use == LocalUse::k_Management;
    if (peer.uid != 0 && peer.uid != geteuid())
      arrival.m_Rejection =
          String(fmt::format("the user {} may not use the Master's local socket; only root and the "
                             "Master's own user may",
                             arrival.m_Peer.m_Name.str()));
    arrival.m_Stream = std::make_unique<AsioByteStream<stream_protocol::socket>>(std::move(socket));
    m_OnArrival(std::move(arrival));
  }

  const Path m_Path;
  const LocalUse m_Use;
  const ReportStranger m_Report;
  const OnArrival m_OnArrival;
  AcceptLoop<stream_protocol::acceptor> m_Loop;
  bool m_Bound = false;
  struct stat m_File {}; // as it was bound
};

} // namespace

std::unique_ptr<Listener> ListenLocal(asio::io_context& io, const Path& socket, LocalUse use,
                                      Listener::ReportStranger report, Listener::OnArrival onArrival) {
  return std::make_unique<LocalListener>(io, socket, use, std::move(report), std::move(onArrival));
}

} // namespace brenic::master
