#include "brenic/Executable.h"
#include "rlib/Stream.h"

int main(int argc, char** argv) {
  brenic::Executable* executable = brenic::Executable::Instance();
  if (!executable) {
    rlib::stdErr.PutLine("This program has no application object");
    return brenic::k_ExitFailed;
  }
  return executable->Start(argc, argv);
}
