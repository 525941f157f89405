// The calls that are open on each thread, for crash reports.
#pragma once

#include "rlib/String.h"

namespace rlib {

struct ThreadTrace;

/// An open call of the calling thread, for crash reports; made on entry to a function and destroyed on every
/// exit. The texts must live as long as the process (literals). Costs a few stores; never allocates, locks or
/// throws. Entries deeper than k_MaxDepth are counted only; threads beyond the fixed number of slots are not
/// recorded.
class _CallEntry {
public:
  static constexpr int k_MaxDepth = 64;

  _CallEntry(const char* function, const char* file, int line) noexcept;
  ~_CallEntry();
  _CallEntry(const _CallEntry&) = delete;
  _CallEntry& operator=(const _CallEntry&) = delete;

private:
  ThreadTrace* const m_Trace;
};

/// The open entries of all threads as text, one line each, innermost first within its thread.
String OpenCallEntries();

} // namespace rlib
