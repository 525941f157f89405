// A program's run from main's arguments to the exit status.
#pragma once

#include "brenic/CommandLine.h"
#include "brenic/ExitStatus.h"

namespace brenic {

class Thread;

class Executable {
public:
  virtual ~Executable();

  /// Ctrl-C. Called on a thread of its own.
  virtual void OnInterrupt();
  /// A thread of the framework ended by an exception.
  virtual void ThreadException(Thread* thread);
  /// Asks the running loop to end. Any thread.
  virtual void Signal(int value);
  /// The whole run: Startup, Go, exit status.
  virtual int Start(int argc, char** argv);
  /// Calls the application's Execute while it returns non-zero, then its Cleanup.
  virtual void Go();
  /// Asks the running loop to end, as Signal does.
  virtual void Stop();

  /// The program's one executable; null when there is none.
  static Executable* Instance();

protected:
  Executable();

  /// The program's arguments; set by Start.
  CommandLine m_CommandLine;
  /// Set by the application; 0 leaves the exit status to the outcome of the run.
  int m_ExitCode = k_ExitDone;

private:
  bool StartApplication();
  int Finish() const;
  bool Handled(Exception* e);
};

} // namespace brenic
