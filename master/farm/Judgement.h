// What a request means: pure functions from settings and message to effect or refusal.
#pragma once

#include <string>

#include "farm/Farm.h"

namespace brenic::master {

/// Limits of what the Master takes, in bytes unless said otherwise.
inline constexpr size_t k_MaxName = 256;
inline constexpr size_t k_MaxValue = 64 * 1024;
inline constexpr size_t k_MaxUserLimits = 16 * 1024 * 1024;
inline constexpr size_t k_MaxRoot = 4096;
inline constexpr size_t k_MaxTranslationCount = 100'000; // translations

/// What becomes of a request.
struct Judgement {
  String m_Refusal; // why it is refused; empty when it is not
  Effect m_Effect;
  shared_ptr<Message> m_Reply; // to a request that only reads
};

/// The machine commands that this Master can carry out; empty ones are not configured.
struct MachineCommandLines {
  String m_Reboot;
  String m_Shutdown;
};

/// Checks the contents of `message` and says what it changes. A refusal names the field and the reason.
Judgement Judge(const Farm& farm, const MachineCommandLines& commands, const Message& message);

/// Checks the basis of a write of a whole value: returns why the message is refused, empty when it is not.
/// `basis` is the SHA-256 of the value that the change was made from.
String CheckBasis(const Farm& farm, const Message& message, const std::string& basis);

/// Whether a message asks for something that is done once and not stored: never repeated for a resend.
bool IsOperation(const Message& message);

} // namespace brenic::master
