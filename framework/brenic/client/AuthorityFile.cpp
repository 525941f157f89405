#include "client/AuthorityFile.h"

#include <fstream>
#include <iterator>
#include <memory>

#include <fmt/core.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>

#include "net/TlsContext.h"

namespace brenic {

namespace {

struct Free {
  void operator()(BIO* bio) const { BIO_free(bio); }
  void operator()(X509* certificate) const { X509_free(certificate); }
};
using Certificate = std::unique_ptr<X509, Free>;

/// How many marks of certificates, begins and ends, stand in a text. A mark that is damaged in its front is
/// still found by its rear, and one that is damaged there is missed by the other.
size_t CountMarks(std::string_view text) {
  constexpr std::string_view k_Mark = "CERTIFICATE-----";
  size_t count = 0;
  for (size_t at = 0; (at = text.find(k_Mark, at)) != std::string_view::npos; at += k_Mark.size())
    ++count;
  return count;
}

rlib::Failure Damaged(int number, const String& reason) {
  return rlib::Failure(fmt::format("its certificate {} is damaged ({})", number, reason.str()));
}

} // namespace

rlib::Result<> TrustAuthorities(SSL_CTX* context, const Path& file) {
  std::ifstream in(file.c_str(), std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  const std::unique_ptr<BIO, Free> bio(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
  std::string_view rest = text;
  ERR_clear_error();
  for (int number = 1;; ++number) {
    const Certificate certificate(PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr));
    const bool isEnd = !certificate && ERR_GET_REASON(ERR_peek_last_error()) == PEM_R_NO_START_LINE;
    if (!certificate && !isEnd)
      return Damaged(number, TlsError());
    const std::string_view read = rest.substr(0, rest.size() - BIO_ctrl_pending(bio.get()));
    rest.remove_prefix(read.size());
    if (CountMarks(read) != (isEnd ? 0 : 2))
      return Damaged(number, "it does not begin and end as it has to");
    ERR_clear_error();
    if (isEnd)
      return number > 1 ? rlib::Result<>() : rlib::Failure("it holds no certificate");
    if (X509_self_signed(certificate.get(), 0) == 1 && X509_self_signed(certificate.get(), 1) != 1)
      return Damaged(number, "its signature is wrong");
    if (X509_STORE_add_cert(SSL_CTX_get_cert_store(context), certificate.get()) != 1)
      return Damaged(number, TlsError());
  }
}

} // namespace brenic
