// Ctrl-C, taken on a thread of its own.
#pragma once

#include <functional>
#include <thread>

namespace brenic {

/// While it lives, SIGINT is blocked in the thread that made it and in every thread that this one starts
/// later, and each one that arrives calls `onInterrupt` on the watch's thread. A SIGINT that the process
/// inherited as ignored stays ignored.
class InterruptWatch {
public:
  explicit InterruptWatch(std::function<void()> onInterrupt);
  ~InterruptWatch();
  InterruptWatch(const InterruptWatch&) = delete;
  InterruptWatch& operator=(const InterruptWatch&) = delete;

private:
  int m_Signals = -1; // becomes readable with a SIGINT
  int m_End = -1;     // becomes readable when the watch ends
  std::thread m_Thread;
};

} // namespace brenic
