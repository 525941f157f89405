// What a request means: pure functions from farm and message to change or refusal.
#pragma once

#include <string>

#include "farm/Farm.h"
#include "farm/SettingsCheck.h"
#include "rlib/Result.h"

namespace brenic::master {

/// A text of user limits with more pieces than this, before or after, is changed as one text: finding their
/// difference would hold up everybody else.
inline constexpr size_t k_MaxPieces = 200'000;
/// Bytes of option texts before and after, of one request.
inline constexpr size_t k_MaxChange = 256 * 1024 * 1024;

/// What becomes of a request that is not refused.
struct Judgement {
  Change m_Change;
  shared_ptr<Message> m_Reply; // to a request that only reads
  /// The product type that clients are told of, whether it changed or not; the null type: of all.
  std::optional<UID> m_ProductTold;
  bool m_ReloadsDefaults = false; // AddDefaults is to add what that changes
};

/// The machine commands that this Master can carry out; empty ones are not configured.
struct MachineCommandLines {
  String m_Reboot;
  String m_Shutdown;
};

/// Checks the contents of `message` and says what it changes. A refusal says in an administrator's words what
/// is wrong with what.
rlib::Result<Judgement> Judge(const Farm& farm, const MachineCommandLines& commands, const Message& message);

/// Checks the basis of a write of a whole value: `basis` is the SHA-256 of the value that the change was made
/// from, empty when it was made from none.
rlib::Result<> CheckBasis(const Farm& farm, const Message& message, const std::string& basis);

} // namespace brenic::master
