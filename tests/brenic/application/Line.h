// A command line as tests write it.
#pragma once

#include <vector>

#include "brenic/CommandLine.h"

/// Without the program's name.
inline brenic::CommandLine Line(std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), "program");
  return brenic::CommandLine(static_cast<int>(arguments.size()), arguments.data());
}
