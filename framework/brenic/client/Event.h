// What the I/O thread tells the application's main thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <variant>

#include "brenic/JobFactory.h"
#include "brenic/MasterInfo.h"
#include "brenic/Message.h"

namespace brenic {

/// The Master has let this client in, for the first time or again.
struct Connected {
  shared_ptr<MasterInfo> m_Info;
};

struct Arrived {
  shared_ptr<Message> m_Message;
  /// With EndProductsMsg: the whole list, unless the one in place is what the message names.
  std::optional<JobFactory::ProductList> m_Products;
};

/// Not sent: refused by this side.
enum class Outcome { k_Committed, k_Refused, k_Unknown, k_NotSent };

struct Answered {
  UID m_Request;
  Outcome m_Outcome;
  String m_Reason;
  bool m_Replied = false; // there was a reply, which has arrived before
};

/// There is no connection any more and there will be none. The last event.
struct Ended {
  String m_Text;
  bool m_Orderly; // the system has been shut down
};

using Event = std::variant<Connected, Arrived, Answered, Ended>;

/// Events in order of arrival. Any thread.
class EventQueue {
public:
  using Clock = std::chrono::steady_clock;

  void Push(Event event);
  /// Ends one wait, the current one or the next.
  void Wake();

  /// The first event; none at the deadline or when woken.
  std::optional<Event> Pop(Clock::time_point deadline);
  /// The first that is the answer to `request` or the end of the connection, taken out of turn; none at the
  /// deadline or when woken.
  std::optional<Event> PopFor(const UID& request, Clock::time_point deadline);

private:
  template <typename Find>
  std::optional<Event> Take(Clock::time_point deadline, Find find);

  std::mutex m_Mutex;
  std::condition_variable m_Changed;
  std::deque<Event> m_Events;
  bool m_Woken = false;
};

} // namespace brenic
