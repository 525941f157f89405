// TLS as both sides use it: version 1.3 only, both sides authenticated, nothing resumed.
#pragma once

#include <boost/asio/ssl/context.hpp>

#include "brenic/Types.h"

namespace brenic {

/// A context with the settings that both sides share. It trusts nobody and presents nothing yet.
boost::asio::ssl::context MakeTlsContext(boost::asio::ssl::context::method method);

/// The newest reason in OpenSSL's error queue, which is emptied.
String TlsError();

} // namespace brenic
