#include "serve/Handshakes.h"

#include <algorithm>
#include <tuple>

#include <fmt/core.h>

#include "net/ByteStream.h"

namespace brenic::master {

using asio::ip::tcp;

Handshakes::Handshakes(asio::io_context& io, asio::ssl::context& context, OnEnded onEnded)
    : m_Io(io), m_Context(context), m_OnEnded(std::move(onEnded)), m_Work(m_Own.get_executor()),
      m_RoomTimer(m_Own), m_Thread([this] { m_Own.run(); }) {}

Handshakes::~Handshakes() {
  Close();
  m_Own.stop();
  m_Thread.join();
}

void Handshakes::Begin(tcp::socket socket, const tcp::endpoint& remote, const std::string& address) {
  if (m_Count++ == 0)
    m_Busy.emplace(m_Io.get_executor());
  const auto handshake = std::make_shared<Handshake>(
      Handshake{std::make_shared<TlsStream>(HandshakeSocket(std::move(socket)), m_Context),
                remote.address(),
                address,
                Clock::now(),
                asio::steady_timer(m_Own),
                {}});
  asio::post(m_Own, [this, handshake] { Carry(handshake); });
}

void Handshakes::Carry(const std::shared_ptr<Handshake>& handshake) {
  m_All.insert(handshake);
  handshake->m_Timer.expires_at(handshake->m_Since + k_Within);
  handshake->m_Timer.async_wait([this, handshake](const error_code& cancelled) {
    if (!cancelled && m_All.contains(handshake)) // it may be done although the timer had run out
      End(*handshake, fmt::format("it was not done within {} seconds", k_Within.count()));
  });
  // The socket is watched by the I/O thread; what is done with its bytes is done here.
  auto ended = asio::bind_executor(m_Own.get_executor(), [this, handshake](const error_code& failed) {
    handshake->m_Timer.cancel();
    m_All.erase(handshake);
    m_RoomWanted = false;
    const String& reason = handshake->m_EndedBecause;
    const bool isDone = !failed && reason.empty();
    if (isDone)
      handshake->m_Stream->next_layer().Established();
    Ended result{isDone ? handshake->m_Stream : nullptr, handshake->m_Address, handshake->m_Since,
                 reason.empty() ? Explain(failed) : reason};
    asio::post(m_Io, [this, result = std::move(result)] {
      if (--m_Count == 0)
        m_Busy.reset();
      if (!m_Closed)
        m_OnEnded(result);
    });
  });
  handshake->m_Stream->async_handshake(asio::ssl::stream_base::server, std::move(ended));
}

void Handshakes::End(Handshake& handshake, const String& reason) {
  handshake.m_EndedBecause = reason;
  error_code ignored;
  handshake.m_Stream->lowest_layer().close(ignored);
}

void Handshakes::MakeRoom() {
  asio::post(m_Own, [this] {
    m_RoomWanted = true;
    EndOne();
  });
}

std::optional<size_t> Handshakes::WhomToEnd(const std::vector<Waiting>& all) {
  std::map<asio::ip::address, size_t> from;
  for (const Waiting& waiting : all)
    ++from[waiting.m_From];
  const auto rank = [&](const Waiting& waiting) {
    return std::tuple(waiting.m_Waited > k_Patience, from[waiting.m_From], waiting.m_Waited);
  };
  const auto found = std::max_element(all.begin(), all.end(),
                                      [&](const Waiting& a, const Waiting& b) { return rank(a) < rank(b); });
  if (found == all.end() || found->m_Waited <= k_Patience)
    return std::nullopt;
  return found - all.begin();
}

void Handshakes::EndOne() {
  if (!m_RoomWanted)
    return;
  std::vector<Waiting> waiting;
  for (const auto& handshake : m_All)
    waiting.push_back({handshake->m_From, handshake->m_Stream->next_layer().Waited()});
  if (const auto found = WhomToEnd(waiting)) {
    m_RoomWanted = false;
    return End(**std::next(m_All.begin(), static_cast<ptrdiff_t>(*found)),
               "the client kept it waiting while others waited for a place");
  }
  m_RoomTimer.expires_after(k_Patience / 10);
  m_RoomTimer.async_wait([this](const error_code& cancelled) {
    if (!cancelled)
      EndOne();
  });
}

void Handshakes::Close() {
  m_Closed = true;
  asio::post(m_Own, [this] {
    m_RoomWanted = false;
    for (const auto& handshake : m_All)
      End(*handshake, "the Master is ending");
    m_Work.reset();
  });
}

} // namespace brenic::master
