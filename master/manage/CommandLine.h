// How the subcommands of brenic-master are declared and run.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include <CLI/CLI.hpp>

#include "brenic/Types.h"

namespace brenic::master {

/// The command line of brenic-master. Each family of subcommands declares its own.
class CommandLine {
public:
  /// Ends with the exit status. Throws Exception* or std::exception when it cannot do what it is for: that
  /// is one line on stdErr, and the status is 1.
  using Command = std::function<int()>;

  explicit CommandLine(const char* description);

  /// A subcommand without options yet; below another one where `parent` says so.
  CLI::App& Add(const char* name, const char* description, Command command, CLI::App* parent = nullptr);
  /// The same for one that works on a data folder, which it is given.
  CLI::App& AddOnFolder(const char* name, const char* description,
                        std::function<void(const Path& folder)> command);

  /// Parses the arguments and runs what they ask for; the exit status. What is wrong with the arguments is
  /// one line on stdErr; an empty value of an option counts as wrong.
  int Run(int argc, char** argv);

private:
  void Parse(int argc, char** argv);

  CLI::App m_App;
  int m_Status = 0;
};

/// For an option that takes a whole number, in decimal digits.
CLI::Validator WholeNumber(int64_t least, int64_t most);

/// What was done, as one line: it quotes arguments.
void Tell(const String& line);

} // namespace brenic::master
