// What the system throws, always as a pointer, when the work cannot go on.
#pragma once

#include "rlib/String.h"

namespace rlib {

/// A failed operation. Thrown as a pointer to a heap object; the catcher takes the message and deletes it.
class Exception {
public:
  explicit Exception(String message);
  virtual ~Exception();
  Exception(const Exception&) = delete;
  Exception& operator=(const Exception&) = delete;

  /// Kind of failure, for the user: "Exception" unless a subclass says otherwise.
  virtual String Name() const;
  const String& Message() const { return m_Message; }

private:
  String m_Message;
};

/// The system's text for an errno value: "No such file or directory".
String ErrorText(int error);

/// Throws an Exception with the message "what: error text".
[[noreturn]] void ThrowError(const String& what, int error);

} // namespace rlib
