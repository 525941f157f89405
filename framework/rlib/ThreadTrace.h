// Where the open calls of all threads are recorded, so that a signal handler can list them.
#pragma once

#include <atomic>
#include <sys/types.h>

#include "rlib/CallEntry.h"

namespace rlib {

/// The open entries of one thread. Written by that thread only; read by a signal handler on any thread, hence
/// atomics.
struct ThreadTrace {
  struct Entry {
    std::atomic<const char*> m_Function;
    std::atomic<const char*> m_File;
    std::atomic<int> m_Line;
  };

  std::atomic<pid_t> m_Thread; // 0: free
  std::atomic<int> m_Depth;    // may exceed k_MaxDepth
  Entry m_Entries[_CallEntry::k_MaxDepth];
};

constexpr int k_MaxTracedThreads = 256;
extern ThreadTrace s_ThreadTraces[k_MaxTracedThreads];

/// Decimal text of the number, somewhere in the buffer, which must hold 24 characters. Async-signal-safe.
const char* DecimalText(long number, char* buffer);

/// Calls put(text) for the pieces of the listing of all open entries. Async-signal-safe when put is. The
/// entries of the calling thread come first and are marked so.
template <typename Put>
void WalkCallEntries(Put put, pid_t caller);

template <typename Put>
void WalkThread(Put& put, const ThreadTrace& trace, pid_t thread, bool isCaller) {
  char buffer[24];
  const int depth = trace.m_Depth.load(std::memory_order_acquire);
  put("Thread ");
  put(DecimalText(thread, buffer));
  put(isCaller ? " (this one):\n" : ":\n");
  if (depth > _CallEntry::k_MaxDepth) {
    put("  ... ");
    put(DecimalText(depth - _CallEntry::k_MaxDepth, buffer));
    put(" deeper calls\n");
  }
  for (int i = (depth < _CallEntry::k_MaxDepth ? depth : _CallEntry::k_MaxDepth) - 1; i >= 0; --i) {
    const ThreadTrace::Entry& entry = trace.m_Entries[i];
    const char* const function = entry.m_Function.load(std::memory_order_relaxed);
    const char* const file = entry.m_File.load(std::memory_order_relaxed);
    put("  ");
    put(function ? function : "?");
    put(" (");
    put(file ? file : "?");
    put(":");
    put(DecimalText(entry.m_Line.load(std::memory_order_relaxed), buffer));
    put(")\n");
  }
}

template <typename Put>
void WalkCallEntries(Put put, pid_t caller) {
  for (const bool wantCaller : {true, false})
    for (const ThreadTrace& trace : s_ThreadTraces) {
      const pid_t thread = trace.m_Thread.load(std::memory_order_acquire);
      if (thread != 0 && (thread == caller) == wantCaller)
        WalkThread(put, trace, thread, wantCaller);
    }
}

} // namespace rlib
