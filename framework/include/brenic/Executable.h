// A program's run from main's arguments to the exit status.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>

#include "brenic/CommandLine.h"
#include "brenic/ExitStatus.h"

namespace brenic {

class Thread;

class Executable {
public:
  Executable(const Executable&) = delete;
  Executable& operator=(const Executable&) = delete;

  // The order of the virtual operations is part of the framework's binary interface; there is no
  // virtual destructor before them, since nobody owns a program by this base.

  /// Ctrl-C. Called on a thread of its own.
  virtual void OnInterrupt();
  /// A thread of the framework ended by an exception.
  virtual void ThreadException(Thread* thread);
  /// Asks the running loop to end. Any thread.
  virtual void Signal(int value);
  /// The whole run; returns the exit status.
  virtual int Start(int argc, char** argv);
  /// Calls the application's Execute while it returns non-zero, then its Cleanup.
  virtual void Go();
  /// Asks the running loop to end, as Signal does.
  virtual void Stop();

  /// The program's one executable; null when there is none.
  static Executable* Instance();

  /// Something happened that leads to this exit status, unless one that goes before it applies as well. Any
  /// thread.
  void Note(ExitStatus status);

  /// Whether Signal or Stop has been called. Any thread.
  bool EndRequested() const { return m_EndRequested; }
  /// Called by Signal and Stop, on their thread; an empty function ends that.
  void SetWake(std::function<void()> wake);
  /// What the user and the log are told when everything else has been said, Cleanup included. Main thread.
  void SetLastLine(const String& line) { m_LastLine = line; }

protected:
  Executable();
  ~Executable();

  CommandLine m_CommandLine;   // set by Start
  int m_ExitCode = k_ExitDone; // set by the application; 0 leaves the status to the outcome of the run

private:
  /// The call's result; after an exception, whether the application dealt with it.
  bool Guarded(const std::function<bool()>& call);
  int Status() const;

  std::atomic<bool> m_EndRequested{false};
  std::atomic<bool> m_UnknownOutcome{false};
  std::atomic<bool> m_Failed{false};
  std::atomic<bool> m_NoConnection{false};
  std::mutex m_WakeMutex;
  std::function<void()> m_Wake;
  String m_LastLine;
};

} // namespace brenic
