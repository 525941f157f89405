// What a message class is, said once, beside the class.
#pragma once

#include "brenic/Types.h"

namespace brenic {

/// Who may send the messages of a class. A Master takes requests from administrators only, and those of a
/// manager only from its own machine, by its management socket.
enum class Sender { k_Administrator, k_Master, k_Both, k_Manager };

/// What becomes of a request: a read is answered, a write is stored, an operation is carried out. What only a
/// Master sends is none.
enum class RequestKind { k_None, k_Read, k_Write, k_Operation };

/// Constant; refers to texts that live as long as the process.
struct MessageDescription {
  const char* m_ClassName;
  UID m_Type;          // the class's s_Type; once released, never another class's
  const char* m_Words; // what the request asks for as its sender would say it, to follow "refused to"
  Sender m_Sender;
  RequestKind m_Kind;
  /// Carried out by the process of the Master that accepted it or not at all: repeated, it would be done
  /// twice.
  bool m_DoneOnce;
};

/// The identifier of that text, for descriptions; a malformed text does not compile.
consteval UID TypeOf(const char (&text)[37]) {
  UID::Raw bytes{};
  size_t digits = 0;
  for (size_t i = 0; i < 36; ++i) {
    const char c = text[i];
    const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
    const int value = c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
    if (dash ? c != '-' : value < 0)
      throw "not an identifier";
    if (dash)
      continue;
    bytes[digits / 2] = static_cast<uint8_t>(bytes[digits / 2] << 4 | value);
    ++digits;
  }
  return UID(bytes);
}

} // namespace brenic
