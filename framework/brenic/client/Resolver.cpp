#include "client/Resolver.h"

#include <mutex>
#include <netdb.h>
#include <thread>

namespace brenic {

struct Lookup::Request : std::enable_shared_from_this<Request> {
  std::mutex m_Mutex;
  asio::io_context* m_Io = nullptr; // null once abandoned
  Done m_Done;

  void Finish(Found found) {
    std::lock_guard lock(m_Mutex);
    if (!m_Io)
      return;
    // Whether it was abandoned is looked up when the handler runs: it may have been since it was posted.
    asio::post(*m_Io, [self = shared_from_this(), found = std::move(found)] {
      if (const Done done = self->Take())
        done(found);
    });
  }

  Done Take() {
    std::lock_guard lock(m_Mutex);
    return std::exchange(m_Done, {});
  }
};

namespace {

constexpr char k_Advice[] = "; check how it is written, and this machine's network";

Lookup::Found FindAddresses(const String& host, uint16_t port) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_ADDRCONFIG;
  addrinfo* list = nullptr;
  if (const int error = getaddrinfo(host.c_str(), nullptr, &hints, &list); error != 0)
    return rlib::Failure(String("the name cannot be resolved: ") + gai_strerror(error) + k_Advice);
  std::vector<asio::ip::tcp::endpoint> found;
  for (const addrinfo* entry = list; entry; entry = entry->ai_next) {
    asio::ip::tcp::endpoint address;
    if (entry->ai_addrlen > address.capacity())
      continue;
    address.resize(entry->ai_addrlen);
    std::copy_n(reinterpret_cast<const char*>(entry->ai_addr), entry->ai_addrlen,
                reinterpret_cast<char*>(address.data()));
    address.port(port);
    found.push_back(address);
  }
  freeaddrinfo(list);
  if (found.empty())
    return rlib::Failure(String("the name has no address") + k_Advice);
  return found;
}

} // namespace

void Lookup::Begin(asio::io_context& io, const Endpoint& endpoint, Done done) {
  Abandon();
  m_Request = std::make_shared<Request>();
  m_Request->m_Io = &io;
  m_Request->m_Done = std::move(done);
  error_code notNumeric;
  const auto address = asio::ip::make_address(endpoint.m_Host.str(), notNumeric);
  if (!notNumeric) {
    m_Request->Finish(std::vector<asio::ip::tcp::endpoint>{{address, endpoint.m_Port}});
    return;
  }
  std::thread([request = m_Request, host = endpoint.m_Host, port = endpoint.m_Port] {
    request->Finish(FindAddresses(host, port));
  }).detach();
}

void Lookup::Abandon() {
  if (!m_Request)
    return;
  std::lock_guard lock(m_Request->m_Mutex);
  m_Request->m_Io = nullptr;
  m_Request->m_Done = {};
}

} // namespace brenic
