// The exit statuses of every Brenic command-line program. The first that applies, in this order, is taken.
#pragma once

namespace brenic {

enum ExitStatus : int {
  k_ExitInterrupted = 130,
  k_ExitUnknownOutcome = 4, // the connection was lost before the answer to a request
  k_ExitHelp = 2,
  k_ExitFindings = 2, // brenic-master: something would change (plan), something was found (lint)
  k_ExitFailed = 1,   // nothing valid asked for, refused by the Master, input unreadable or output unwritable
  k_ExitNoConnection = 3,
  k_ExitDone = 0,
};

} // namespace brenic
