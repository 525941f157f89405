// The connection to the Master as the application sees it.
#pragma once

#include "brenic/ConnectionEnded.h"
#include "brenic/MasterInfo.h"
#include "brenic/Message.h"

namespace brenic {

/// Messages are answered in the order in which they were sent, whatever thread sent them. A lost connection
/// is restored and what was not answered is sent again; the Master applies each message once.
class Messenger {
public:
  /// Declares this client. Called before BrenicClientExecutable::Startup.
  static void SetClientInfo(const UID& id, int kind);

  /// Queues `message` for the Master, with the contents that it has now. Any thread. A message that is too
  /// large to be sent counts as refused.
  static void Send(const shared_ptr<Message>& message);

  /// Waits up to `seconds` (negative: without limit) until the Master has answered the message, durably
  /// committed or refused; true from then on, at once. On the main thread outside of a slot, other arrivals
  /// are delivered to their slots meanwhile. Throws ConnectionEnded*.
  [[nodiscard]] static bool WaitForSent(const UID& messageId, float seconds);

  /// When the first connection was made; zero if none was. Changes on the main thread only.
  static const Time& ConnectedTime();

  /// Null before the first connection. Changes on the main thread only.
  static shared_ptr<brenic::MasterInfo> MasterInfo();
};

} // namespace brenic
