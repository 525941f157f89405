// The kinds of connectors that there are.
#pragma once

#include <boost/asio/ssl/context.hpp>

#include "client/Connector.h"
#include "net/Endpoint.h"

namespace brenic {

/// Over TLS, with a client's context.
std::unique_ptr<Connector> MakeTlsConnector(asio::io_context& io, const Endpoint& endpoint,
                                            asio::ssl::context context);
/// Through a local socket.
std::unique_ptr<Connector> MakeLocalConnector(asio::io_context& io, const Endpoint& endpoint);

} // namespace brenic
