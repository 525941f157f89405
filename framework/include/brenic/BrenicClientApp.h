// An application that is a client of the Master.
#pragma once

#include "brenic/BrenicApp.h"

namespace brenic {

class BrenicClientApp : public BrenicApp {
public:
  /// Delivers nothing more to slots, waits until everything handed to Messenger::Send is answered for as long
  /// as the connection lives or is being restored, then closes it.
  void Cleanup() override;

  /// The name under which the client appears at the Master.
  virtual String GetClientName();

  /// The Master refused a request: reported in the log and on stdErr, exit status 1; the run goes on.
  virtual void RequestHasFailed(const String& text);
};

} // namespace brenic
