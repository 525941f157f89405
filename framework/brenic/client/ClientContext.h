// TLS with a client's credentials.
#pragma once

#include <boost/asio/ssl/context.hpp>

#include "client/Credentials.h"
#include "rlib/Result.h"

namespace brenic {

/// A client's context. Fails, with what is wrong with the credentials and what to do about it, unless all
/// files can be used and the key is kept from others.
rlib::Result<boost::asio::ssl::context> MakeClientContext(const Credentials& credentials);

} // namespace brenic
