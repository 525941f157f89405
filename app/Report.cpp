#include "SetwrightApp.h"

#include "rlib/Log.h"
#include "rlib/Stream.h"

using namespace rlib;

bool SetwrightApp::Accepted(const String& error) {
  if (error.empty())
    return true;
  LogError(error);
  stdErr.Put(error);
  stdErr.PutEOL();
  return false;
}
