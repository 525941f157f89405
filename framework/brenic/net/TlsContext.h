// TLS as both sides use it: version 1.3 only, both sides authenticated, nothing resumed.
#pragma once

#include <boost/asio/ssl/context.hpp>

#include "brenic/Types.h"

namespace brenic {

/// Files of a client's credentials, in PEM form.
struct Credentials {
  Path m_Authority;
  Path m_Certificate;
  Path m_Key;
};

/// A context with the settings that both sides share. It trusts nobody and presents nothing yet.
boost::asio::ssl::context MakeTlsContext(boost::asio::ssl::context::method method);

/// A client's context. Returns in `problem` what is wrong with the credentials and what to do; empty when
/// nothing is.
boost::asio::ssl::context MakeClientContext(const Credentials& credentials, String& problem);

/// The newest reason in OpenSSL's error queue, which is emptied.
String TlsError();

} // namespace brenic
