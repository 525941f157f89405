#include <cstdlib>

#include "SetwrightApp.h"

#include "brenic/Options.h"
#include "rlib/CallEntry.h"
#include "rlib/IniFile.h"
#include "rlib/Log.h"

using namespace brenic;
using namespace rlib;

namespace {

/// The leading decimal number, cut to 32 bits; 0 when there is none.
int LeadingNumber(const String& text) {
  return static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
}

} // namespace

bool SetwrightApp::AddFile(CommandLine& cmd, int& index) {
  _CallEntry entry("SetwrightApp::AddFile", "Setwright", __LINE__);
  // The test is on the switch's own position, and the file's name stays for the dispatch to look at. Both are
  // deliberate: which lines are valid depends on it, and scripts were written against that.
  if (index >= cmd.GetArgumentCount(nullptr)) {
    Report(Log::k_Error, "Not enough parameters for commandline switch -CopyFile");
    return false;
  }
  IniFile file(false);
  file.SetFileName(cmd.GetArgument(nullptr, index + 1, k_Empty));
  (void)file.Load(true, true); // reports an unreadable file itself, and then has no sections
  while (file.SetNextSection())
    AddSection(file);
  return true;
}

// brenic-master's plan tells beforehand what this does: master/manage/OptionsFilePlan.cpp goes the same way.
void SetwrightApp::AddSection(IniFile& file) {
  const String section = file.GetCurrentSection();
  const auto isCalled = [&](const char* name) { return section.CompareNoCase(name) == 0; };
  String name, value;
  UID type(false);
  if (isCalled(o_Distribution)) {
    while (file.GetNextValue(name, value))
      OptionsMsg().m_Options[name] = value;
  } else if (isCalled(o_Restrictions)) {
    while (file.GetNextValue(name, value))
      RestrictionsMsg().m_Restrictions[name] = value.Bool();
  } else if (isCalled(o_Limit)) {
    while (file.GetNextValue(name, value)) {
      if (m_JobFactory.FindType(name, type))
        LimitsMsg().m_Limits[type] = LeadingNumber(value);
    }
  } else if (m_JobFactory.FindType(section, type)) {
    // The null identifier resolves but does not have a product; its section is skipped.
    const auto product = JobFactory::s_JobFactory.GetProduct(type);
    while (product && file.GetNextValue(name, value)) {
      if (!product->IsDefaultParam(name, value))
        _TypeOptionsMsg(type)->m_Options[name] = value;
    }
  }
}
