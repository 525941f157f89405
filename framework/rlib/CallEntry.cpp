#include "rlib/CallEntry.h"

#include <string>
#include <unistd.h>

#include "ThreadTrace.h"

namespace rlib {

constinit ThreadTrace g_ThreadTraces[k_MaxTracedThreads]{};

namespace {

enum class Slot { None, Held, Gone };

thread_local constinit ThreadTrace* t_trace = nullptr;
thread_local constinit Slot t_slot = Slot::None;

// Gives the slot back when a thread ends. The main thread keeps its own: static destructors still make
// entries after its thread-local objects are gone.
struct SlotReturner {
  ~SlotReturner() {
    if (!t_trace || gettid() == getpid())
      return;
    t_slot = Slot::Gone;
    t_trace->thread.store(0, std::memory_order_release);
    t_trace = nullptr;
  }
};

ThreadTrace* AcquireSlot() {
  t_slot = Slot::Gone;
  for (ThreadTrace& trace : g_ThreadTraces) {
    pid_t free = 0;
    if (trace.thread.compare_exchange_strong(free, gettid(), std::memory_order_acq_rel)) {
      trace.depth.store(0, std::memory_order_release);
      t_trace = &trace;
      t_slot = Slot::Held;
      static thread_local SlotReturner returner;
      static_cast<void>(returner);
      break;
    }
  }
  return t_trace;
}

} // namespace

_CallEntry::_CallEntry(const char* function, const char* file, int line) noexcept
    : m_Trace(t_slot == Slot::None ? AcquireSlot() : t_trace) {
  if (!m_Trace)
    return;
  const int depth = m_Trace->depth.load(std::memory_order_relaxed);
  if (depth < k_MaxDepth) {
    ThreadTrace::Entry& entry = m_Trace->entries[depth];
    entry.function.store(function, std::memory_order_relaxed);
    entry.file.store(file, std::memory_order_relaxed);
    entry.line.store(line, std::memory_order_relaxed);
  }
  m_Trace->depth.store(depth + 1, std::memory_order_release);
}

_CallEntry::~_CallEntry() {
  if (m_Trace)
    m_Trace->depth.store(m_Trace->depth.load(std::memory_order_relaxed) - 1, std::memory_order_release);
}

const char* DecimalText(long number, char* buffer) {
  char* at = buffer + 23;
  *at = '\0';
  const bool negative = number < 0;
  unsigned long rest =
      negative ? 0ul - static_cast<unsigned long>(number) : static_cast<unsigned long>(number);
  do
    *--at = static_cast<char>('0' + rest % 10);
  while ((rest /= 10) != 0);
  if (negative)
    *--at = '-';
  return at;
}

String OpenCallEntries() {
  std::string text;
  WalkCallEntries([&text](const char* piece) { text += piece; }, gettid());
  return String(std::move(text));
}

} // namespace rlib
