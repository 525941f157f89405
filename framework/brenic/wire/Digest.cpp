#include "wire/Digest.h"

#include <openssl/sha.h>

namespace brenic {

std::string Sha256(std::string_view bytes) {
  std::string digest(SHA256_DIGEST_LENGTH, '\0');
  SHA256(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(),
         reinterpret_cast<unsigned char*>(digest.data()));
  return digest;
}

std::string Hex(std::string_view bytes) {
  static constexpr char k_Digits[] = "0123456789abcdef";
  std::string text;
  text.reserve(2 * bytes.size());
  for (const unsigned char byte : bytes) {
    text += k_Digits[byte >> 4];
    text += k_Digits[byte & 15];
  }
  return text;
}

} // namespace brenic
