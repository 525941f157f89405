// A program that is a client of the Master.
#pragma once

#include "brenic/BrenicClientApp.h"
#include "brenic/Executable.h"
#include "brenic/HasSlots.h"

namespace brenic {

class BrenicClientExecutable : public BrenicClientApp,
                               public Executable,
                               public HasSlots<ThreadPolicy::LocalThreaded> {
public:
  /// Reads the framework's switches, opens the log and begins to connect in the background. Returns at once:
  /// false, with the reason reported, when it is not clear which Master is meant or the credentials cannot be
  /// used.
  bool Startup(CommandLine& cmd) override;

  /// One pass of the client's work: waits a short time for something to arrive and delivers it. 0 once the
  /// run should end.
  int Execute() override;

  /// Writes one line and ends the process at once.
  void OnInterrupt() override;
};

} // namespace brenic
