#include "store/CertificateFields.h"

#include <cctype>
#include <ctime>
#include <memory>

#include <openssl/bn.h>
#include <openssl/x509.h>

#include "brenic/Types.h"

namespace brenic::master {

std::string SerialOf(const X509* certificate) {
  const std::unique_ptr<BIGNUM, decltype(&BN_free)> serial(
      ASN1_INTEGER_to_BN(X509_get0_serialNumber(certificate), nullptr), &BN_free);
  char* const text = serial ? BN_bn2hex(serial.get()) : nullptr;
  if (!text)
    throw new Exception("Cannot read a certificate's serial number");
  std::string hex(text);
  OPENSSL_free(text);
  for (char& digit : hex)
    digit = static_cast<char>(std::tolower(static_cast<unsigned char>(digit)));
  return hex;
}

int64_t TimeOf(const ASN1_TIME* time) {
  tm parts{};
  if (!time || ASN1_TIME_to_tm(time, &parts) != 1)
    throw new Exception("Cannot read a certificate's validity");
  return static_cast<int64_t>(timegm(&parts)) * 1000;
}

} // namespace brenic::master
