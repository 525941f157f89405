#include "rlib/Exception.h"

#include <system_error>

namespace rlib {

Exception::Exception(String message) : m_Message(std::move(message)) {}
Exception::~Exception() = default;

String Exception::Name() const {
  return "Exception";
}

String ErrorText(int error) {
  return String(std::generic_category().message(error));
}

void ThrowError(const String& what, int error) {
  throw new Exception(what + ": " + ErrorText(error));
}

} // namespace rlib
