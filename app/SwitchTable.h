// The switches of the command line: what they are called, what each takes, and their dispatch.
#pragma once

#include <span>

namespace brenic {
class CommandLine;
}
class SetwrightApp;

/// How many of the arguments behind a switch its handler consumes, which are then not looked at as switches.
/// Counted beyond the end of the line too, as handlers move the position without looking for it. Nothing is
/// consumed when the switch has fewer arguments than it needs.
struct Consumption {
  int m_Fewest;
  int m_Most; // with values that the handler has nothing against

  /// Whether the number depends on what the values are.
  constexpr bool Varies() const { return m_Fewest != m_Most; }
};

/// For documents, completion and tests. Dispatch does not look at the numbers: every handler counts for
/// itself, and the tests hold the rows against the handlers.
struct SwitchRow {
  const char* m_Name; // with its dash
  int m_Least;        // arguments that it needs behind it; with fewer it reports that there are not enough
  Consumption m_Consumed;
};

struct SwitchTable {
  /// In the order in which an argument is compared with them. They live as long as the program.
  static std::span<const SwitchRow> Rows();

  /// Calls the handler of the argument at `index`, which moves the index to the last argument that it
  /// consumed. Returns whether a request was recorded; false for an argument that is not a switch, which
  /// stays.
  static bool Handle(SetwrightApp& app, brenic::CommandLine& cmd, int& index);

private:
  struct Handlers;
};
