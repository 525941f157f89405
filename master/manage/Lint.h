// What is probably wrong in a farm's settings, and what mends it. Pure functions.
#pragma once

#include <string>
#include <vector>

#include "farm/Farm.h"

namespace brenic::master {

struct Finding {
  std::string m_Kind;      // "duplicate translation"
  std::string m_Text;      // a sentence, without its full stop; quotes what it is about as it is
  std::string m_Command;   // the line of setwright that mends it, as a shell takes it; empty where none does
  std::string m_Otherwise; // a sentence that says what does, in its place
  std::vector<size_t> m_Translations; // those that it is about, counted from 1 as they are shown
};

/// Everything that is found: path translations, user limits, settings of types that the farm does not have.
/// n log n in what the farm holds.
std::vector<Finding> Lint(const Farm& farm);

// Its parts.
std::vector<Finding> LintTranslations(const rlib::vector<TranslationSet>& translations);
/// Of the text of the user limits, which the tool edits and shows by rules of its own (userlimits/).
std::vector<Finding> LintUserLimits(const String& limits);
std::vector<Finding> LintRemovedTypes(const Farm& farm);

/// For people, one line.
std::string FindingText(const Finding& finding);
/// One JSON object, on one line.
std::string FindingJson(const Finding& finding);

/// The command line of setwright, as a shell takes it. Empty where there is none: longer than shells take, or
/// an argument begins with "-" and could be taken for a switch.
std::string SetwrightCommand(const std::vector<String>& switchesAndValues);

} // namespace brenic::master
