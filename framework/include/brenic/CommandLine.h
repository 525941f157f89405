// The arguments of the program, without the program's own name.
#pragma once

#include "brenic/Types.h"

namespace brenic {

class CommandLine {
public:
  CommandLine() = default;
  CommandLine(int argc, const char* const* argv);

  /// Whether "-" + `name` stands anywhere on the line, ignoring ASCII case.
  bool HasSwitch(const char* name) const;

  /// With null: the number of all arguments. With a name: how many arguments follow that switch's last
  /// occurrence; 0 when it is absent.
  int GetArgumentCount(const char* name) const;

  /// The argument at position `index`, counted from 0: of the whole line for a null name, else of what
  /// follows the last occurrence of that switch. `fallback` beyond the end.
  String GetArgument(const char* name, int index, const String& fallback) const;

  /// The same as a whole decimal number in 32-bit range. Text that is not one is an input error (reported,
  /// exit status 1) and gives the lowest 32-bit number, which every later check refuses.
  int GetArgument(const char* name, int index, int fallback) const;

private:
  /// Where the arguments of `name` begin; the argument count when it is absent.
  int Begin(const char* name) const;

  rlib::vector<String> m_Arguments;
};

} // namespace brenic
