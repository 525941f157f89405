#include "SetwrightApp.h"

#include "rlib/CallEntry.h"
#include "rlib/Log.h"

using namespace brenic;
using namespace rlib;

bool SetwrightApp::AddPathTranslation(CommandLine& cmd, int& index) {
  _CallEntry entry("SetwrightApp::AddPathTranslation", "Setwright", 1338);
  // Two roots are enough, and a third one beyond the end is empty. Deliberate: scripts that give two depend
  // on it.
  if (index + 2 >= cmd.GetArgumentCount(nullptr)) {
    Report(Log::k_Error, "Not enough roots supplied to add a path translation");
    return false;
  }
  TranslationSet translation;
  for (int platform = 0; platform < 3; ++platform)
    translation[platform] = Path(cmd.GetArgument(nullptr, ++index, k_Empty));
  m_AddTranslations.push_back(translation);
  return true;
}

bool SetwrightApp::RemovePathTranslation(CommandLine& cmd, int& index) {
  _CallEntry entry("SetwrightApp::RemovePathTranslation", "Setwright", 1362);
  // The test is on the switch's own position, so that at the end of the line the root is empty. Deliberate:
  // which lines are valid depends on it, and scripts were written against that.
  if (index >= cmd.GetArgumentCount(nullptr)) {
    Report(Log::k_Error, "No root supplied to remove");
    return false;
  }
  m_RemoveRoots.push_back(cmd.GetArgument(nullptr, ++index, k_Empty));
  return true;
}
