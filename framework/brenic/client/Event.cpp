#include "client/Event.h"

#include <algorithm>

namespace brenic {

void EventQueue::Push(Event event) {
  {
    std::lock_guard lock(m_Mutex);
    m_Events.push_back(std::move(event));
  }
  m_Changed.notify_all();
}

void EventQueue::Wake() {
  {
    std::lock_guard lock(m_Mutex);
    m_Woken = true;
  }
  m_Changed.notify_all();
}

template <typename Find>
std::optional<Event> EventQueue::Take(Clock::time_point deadline, Find find) {
  std::unique_lock lock(m_Mutex);
  auto found = m_Events.end();
  const auto ready = [&] {
    found = find();
    return m_Woken || found != m_Events.end();
  };
  if (deadline == Clock::time_point::max())
    m_Changed.wait(lock, ready);
  else
    m_Changed.wait_until(lock, deadline, ready);
  m_Woken = false;
  if (found == m_Events.end())
    return std::nullopt;
  Event event = std::move(*found);
  m_Events.erase(found);
  return event;
}

std::optional<Event> EventQueue::Pop(Clock::time_point deadline) {
  return Take(deadline, [this] { return m_Events.begin(); });
}

std::optional<Event> EventQueue::PopFor(const UID& request, Clock::time_point deadline) {
  return Take(deadline, [&] {
    return std::find_if(m_Events.begin(), m_Events.end(), [&](const Event& event) {
      const auto* answered = std::get_if<Answered>(&event);
      return std::holds_alternative<Ended>(event) || (answered && answered->m_Request == request);
    });
  });
}

} // namespace brenic
