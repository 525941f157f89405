#include "rlib/CallEntry.h"

#include <string>
#include <unistd.h>

#include "ThreadTrace.h"

namespace rlib {

namespace {

enum class Slot { k_None, k_Held, k_Gone };

thread_local constinit ThreadTrace* s_Trace = nullptr;
thread_local constinit Slot s_Slot = Slot::k_None;

/// Gives the slot back when a thread ends. The main thread keeps its own: static destructors still make
/// entries after its thread-local objects are gone.
struct SlotReturner {
  ~SlotReturner() {
    if (!s_Trace || gettid() == getpid())
      return;
    s_Slot = Slot::k_Gone;
    s_Trace->m_Thread.store(0, std::memory_order_release);
    s_Trace = nullptr;
  }
};

ThreadTrace* AcquireSlot() {
  s_Slot = Slot::k_Gone;
  for (ThreadTrace& trace : s_ThreadTraces) {
    pid_t free = 0;
    if (trace.m_Thread.compare_exchange_strong(free, gettid(), std::memory_order_acq_rel)) {
      trace.m_Depth.store(0, std::memory_order_release);
      s_Trace = &trace;
      s_Slot = Slot::k_Held;
      static thread_local SlotReturner s_Returner;
      static_cast<void>(s_Returner);
      break;
    }
  }
  return s_Trace;
}

} // namespace

_CallEntry::_CallEntry(const char* function, const char* file, int line) noexcept
    : m_Trace(s_Slot == Slot::k_None ? AcquireSlot() : s_Trace) {
  if (!m_Trace)
    return;
  const int depth = m_Trace->m_Depth.load(std::memory_order_relaxed);
  if (depth < k_MaxDepth) {
    ThreadTrace::Entry& entry = m_Trace->m_Entries[depth];
    entry.m_Function.store(function, std::memory_order_relaxed);
    entry.m_File.store(file, std::memory_order_relaxed);
    entry.m_Line.store(line, std::memory_order_relaxed);
  }
  m_Trace->m_Depth.store(depth + 1, std::memory_order_release);
}

_CallEntry::~_CallEntry() {
  if (m_Trace)
    m_Trace->m_Depth.store(m_Trace->m_Depth.load(std::memory_order_relaxed) - 1, std::memory_order_release);
}

String OpenCallEntries() {
  std::string text;
  WalkCallEntries([&text](const char* piece) { text += piece; }, gettid());
  return String(std::move(text));
}

} // namespace rlib
