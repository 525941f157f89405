// A connected, already authenticated stream of bytes. What carries frames sits on one of these, so that tests
// can put their own underneath.
#pragma once

#include <functional>
#include <memory>
#include <string_view>

#include "brenic/Types.h"
#include "net/Asio.h"

namespace brenic {

/// Used on the I/O thread only. At most one read and one write are under way at a time; the buffers stay
/// valid until their handler has been called.
class ByteStream {
public:
  using Done = std::function<void(const error_code& error, size_t bytes)>;

  virtual ~ByteStream() = default;

  /// At least one byte, or an error; the end of the stream is asio::error::eof.
  virtual void ReadSome(asio::mutable_buffer into, Done done) = 0;
  /// All of it, or an error.
  virtual void Write(asio::const_buffer bytes, Done done) = 0;
  /// At once; what is under way ends with an error.
  virtual void Close() = 0;
};

/// A byte stream on any of Asio's stream types.
template <typename Stream>
class AsioByteStream : public ByteStream {
public:
  explicit AsioByteStream(Stream stream) : m_Stream(std::make_shared<Stream>(std::move(stream))) {}
  explicit AsioByteStream(std::shared_ptr<Stream> stream) : m_Stream(std::move(stream)) {}
  ~AsioByteStream() override { AsioByteStream::Close(); }

  // The handlers keep the stream alive: an operation of a closed one still completes.
  void ReadSome(asio::mutable_buffer into, Done done) override {
    m_Stream->async_read_some(into, [stream = m_Stream, done = std::move(done)](
                                        const error_code& error, size_t bytes) { done(error, bytes); });
  }
  void Write(asio::const_buffer bytes, Done done) override {
    asio::async_write(*m_Stream, bytes,
                      [stream = m_Stream, done = std::move(done)](const error_code& error, size_t written) {
                        done(error, written);
                      });
  }
  void Close() override {
    error_code ignored;
    m_Stream->lowest_layer().shutdown(asio::socket_base::shutdown_both, ignored);
    m_Stream->lowest_layer().close(ignored);
  }

private:
  std::shared_ptr<Stream> m_Stream;
};

/// What an error means to a user; for TLS errors the reason of the library.
String Explain(const error_code& error);

} // namespace brenic
