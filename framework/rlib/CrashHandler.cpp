#include "rlib/CrashHandler.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <unistd.h>

#include "Descriptor.h"
#include "ThreadTrace.h"

namespace rlib {
namespace {

struct FatalSignal {
  int m_Number;
  const char* m_Name;
};

constexpr FatalSignal k_FatalSignals[] = {
    {SIGSEGV, "SIGSEGV"}, {SIGBUS, "SIGBUS"}, {SIGFPE, "SIGFPE"}, {SIGILL, "SIGILL"}, {SIGABRT, "SIGABRT"}};

constexpr size_t k_MaxPath = 4096;
constinit char s_PathStart[k_MaxPath]{};
constinit std::atomic<bool> s_Crashing{false};
// So that an overflow of the main thread's stack is reported too.
alignas(16) constinit char s_SignalStack[64 * 1024]{};

void AppendText(char* text, size_t size, const char* tail) {
  const size_t used = std::strlen(text);
  const size_t added = std::min(std::strlen(tail), size - used - 1);
  std::memcpy(text + used, tail, added);
  text[used + added] = '\0';
}

const char* SignalName(int number) {
  for (const FatalSignal& signal : k_FatalSignals)
    if (signal.m_Number == number)
      return signal.m_Name;
  return "signal";
}

void WriteReport(int number) {
  char path[k_MaxPath + 64];
  char digits[24];
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  path[0] = '\0';
  AppendText(path, sizeof(path), s_PathStart);
  AppendText(path, sizeof(path), DecimalText(now.tv_sec, digits));
  AppendText(path, sizeof(path), ".");
  AppendText(path, sizeof(path), DecimalText(getpid(), digits));
  AppendText(path, sizeof(path), ".txt");
  const int fd = open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0640);
  if (fd < 0)
    return;
  const auto put = [fd](const char* text) { static_cast<void>(WriteAll(fd, {text, std::strlen(text)})); };
  put("Signal: ");
  put(SignalName(number));
  put("\nTime: ");
  put(DecimalText(now.tv_sec, digits));
  put(" seconds since 1970-01-01 UTC\nProcess: ");
  put(DecimalText(getpid(), digits));
  put("\nOpen calls, innermost first:\n");
  WalkCallEntries(put, gettid());
  close(fd);
}

/// Calls only what may be called in a signal handler.
void OnFatalSignal(int number) {
  if (s_Crashing.exchange(true)) {
    for (;;) // Another thread is writing the report and ends the process.
      pause();
  }
  WriteReport(number);
  std::signal(number, SIG_DFL);
  raise(number); // Blocked here; takes its default action on return.
}

} // namespace

void InstallCrashHandler(const Path& folder, const String& application) {
  const std::string start = (folder / Path(application + ".crash.")).str().str();
  if (start.size() >= sizeof(s_PathStart))
    return;
  std::memcpy(s_PathStart, start.c_str(), start.size() + 1);

  stack_t current{};
  if (sigaltstack(nullptr, &current) == 0 && (current.ss_flags & SS_DISABLE)) {
    stack_t stack{};
    stack.ss_sp = s_SignalStack;
    stack.ss_size = sizeof(s_SignalStack);
    sigaltstack(&stack, nullptr);
  }
  for (const FatalSignal& signal : k_FatalSignals) {
    struct sigaction action {};
    if (sigaction(signal.m_Number, nullptr, &action) != 0 || (action.sa_flags & SA_SIGINFO) ||
        action.sa_handler != SIG_DFL)
      continue;
    action = {};
    action.sa_handler = OnFatalSignal;
    action.sa_flags = SA_ONSTACK;
    sigfillset(&action.sa_mask);
    sigaction(signal.m_Number, &action, nullptr);
  }
}

} // namespace rlib
