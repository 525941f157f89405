// What `plan` prints: a line of text or one of JSON for each line of the file. Pure functions.
#pragma once

#include <string>

#include "manage/OptionsFilePlan.h"

namespace brenic::master {

/// What becomes of a line's option, limit or restriction.
struct PlannedStep {
  const char* m_Result; // "added", "changed", "unchanged" or "skipped"
  PlannedState m_From;
  PlannedState m_To;
};

/// `before` is the farm that the plan was made for.
PlannedStep StepOf(const OptionsFilePlan& plan, const PlannedLine& line, const Farm& before);

/// For people.
std::string PlanText(const PlannedLine& line, const PlannedStep& step, const Farm& before);
/// One JSON object, on one line.
std::string PlanJson(const PlannedLine& line, const PlannedStep& step);

} // namespace brenic::master
