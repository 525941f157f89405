#include "application/Interrupt.h"

#include <csignal>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace brenic {

InterruptWatch::InterruptWatch(std::function<void()> onInterrupt) {
  // A blocked signal is queued even where it is ignored, so it must not be asked for then.
  struct sigaction inherited {};
  if (sigaction(SIGINT, nullptr, &inherited) == 0 && inherited.sa_handler == SIG_IGN)
    return;
  sigset_t interrupt;
  sigemptyset(&interrupt);
  sigaddset(&interrupt, SIGINT);
  pthread_sigmask(SIG_BLOCK, &interrupt, nullptr);
  m_Signals = signalfd(-1, &interrupt, SFD_CLOEXEC | SFD_NONBLOCK);
  m_End = eventfd(0, EFD_CLOEXEC);
  m_Thread = std::thread([this, onInterrupt = std::move(onInterrupt)] {
    pollfd sources[] = {{m_Signals, POLLIN, 0}, {m_End, POLLIN, 0}};
    while (true) {
      poll(sources, 2, -1);
      if (sources[1].revents != 0)
        return;
      signalfd_siginfo info;
      if (read(m_Signals, &info, sizeof info) == sizeof info)
        onInterrupt();
    }
  });
}

InterruptWatch::~InterruptWatch() {
  if (!m_Thread.joinable())
    return;
  eventfd_write(m_End, 1);
  m_Thread.join();
  close(m_Signals);
  close(m_End);
}

} // namespace brenic
