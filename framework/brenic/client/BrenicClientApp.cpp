#include "brenic/BrenicClientApp.h"

#include <unistd.h>

#include "brenic/Executable.h"
#include "client/Client.h"
#include "rlib/Log.h"

namespace brenic {

void BrenicClientApp::Cleanup() {
  Client::Instance().Finish();
}

String BrenicClientApp::GetClientName() {
  char host[256] = "";
  gethostname(host, sizeof host - 1);
  return ProgramName() + "@" + host;
}

void BrenicClientApp::RequestHasFailed(const String& text) {
  rlib::Report(rlib::Log::k_Error, text);
  Executable::Instance()->Note(k_ExitFailed);
}

} // namespace brenic
