#include "brenic/CommandLine.h"

#include <limits>

#include "rlib/Failures.h"
#include "rlib/Log.h"
#include "rlib/Number.h"
#include "rlib/SFormat.h"

namespace brenic {

CommandLine::CommandLine(int argc, const char* const* argv) {
  for (int i = 1; i < argc; ++i)
    m_Arguments.emplace_back(argv[i]);
}

int CommandLine::Begin(const char* name) const {
  if (!name)
    return 0;
  const String wanted = String("-") + name;
  for (size_t i = m_Arguments.size(); i-- > 0;) {
    if (m_Arguments[i].CompareNoCase(wanted) == 0)
      return static_cast<int>(i) + 1;
  }
  return static_cast<int>(m_Arguments.size());
}

bool CommandLine::HasSwitch(const char* name) const {
  const String wanted = String("-") + name;
  for (const String& argument : m_Arguments) {
    if (argument.CompareNoCase(wanted) == 0)
      return true;
  }
  return false;
}

int CommandLine::GetArgumentCount(const char* name) const {
  return static_cast<int>(m_Arguments.size()) - Begin(name);
}

String CommandLine::GetArgument(const char* name, int index, const String& fallback) const {
  if (index < 0 || index >= GetArgumentCount(name))
    return fallback;
  return m_Arguments[static_cast<size_t>(Begin(name) + index)];
}

int CommandLine::GetArgument(const char* name, int index, int fallback) const {
  if (index < 0 || index >= GetArgumentCount(name))
    return fallback;
  const String text = GetArgument(name, index, k_Empty);
  if (const std::optional<int32_t> number = rlib::ParseInt32(text))
    return *number;
  rlib::NoteInputFailure();
  rlib::Report(rlib::Log::k_Error,
               rlib::SFormat("Not a whole number from %d to %d: '%s'", std::numeric_limits<int>::min(),
                             std::numeric_limits<int>::max(), text));
  return std::numeric_limits<int>::min();
}

} // namespace brenic
