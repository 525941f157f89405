// What a client shows a Master to be let in over TLS, and by what it knows the Master.
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

/// A client's context. Returns in `problem` what is wrong with the credentials and what to do; empty when
/// nothing is.
boost::asio::ssl::context MakeClientContext(const Credentials& credentials, String& problem);

} // namespace brenic
