#include "net/ByteStream.h"

#include <boost/asio/error.hpp>
#include <boost/asio/ssl/error.hpp>

namespace brenic {

String Explain(const error_code& error) {
  if (error == asio::error::eof || error == asio::ssl::error::stream_truncated)
    return "the connection was closed by the other side";
  return error.message();
}

} // namespace brenic
