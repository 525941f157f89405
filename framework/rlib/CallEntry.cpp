#include "rlib/CallEntry.h"

#include <string>
#include <unistd.h>

#include "ThreadTrace.h"

namespace rlib {

namespace {

enum class Slot { k_None, k_Held, k_Gone };

thread_local constinit ThreadTrace* t_trace = nullptr;
thread_local constinit Slot t_slot = Slot::k_None;

/// Gives the slot back when a thread ends. The main thread keeps its own: static destructors still make
/// entries after its thread-local objects are gone.
struct SlotReturner {
  ~SlotReturner() {
    if (!t_trace || gettid() == getpid())
      return;
    t_slot = Slot::k_Gone;
    t_trace->m_Thread.store(0, std::memory_order_release);
    t_trace = nullptr;
  }
};

ThreadTrace* AcquireSlot() {
  t_slot = Slot::k_Gone;
  for (ThreadTrace& trace : g_ThreadTraces) {
    pid_t free = 0;
    if (trace.m_Thread.compare_exchange_strong(free, gettid(), std::memory_order_acq_rel)) {
      trace.m_Depth.store(0, std::memory_order_release);
      t_trace = &trace;
      t_slot = Slot::k_Held;
      static thread_local SlotReturner returner;
      static_cast<void>(returner);
      break;
    }
  }
  return t_trace;
}

} // namespace

_CallEntry::_CallEntry(const char* function, const char* file, int line) noexcept
    : m_Trace(t_slot == Slot::k_None ? AcquireSlot() : t_trace) {
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
