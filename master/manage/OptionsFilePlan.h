// What `setwright -CopyFile` would change of a farm: the file is read as the tool reads it (settings/), the
// requests are those that the tool would send, and the Master's own judgement decides on them.
#pragma once

#include <optional>
#include <vector>

#include "farm/Farm.h"
#include "rlib/Result.h"

namespace brenic::master {

/// What becomes of one line of the file, or of a section that nobody reads.
struct PlannedLine {
  enum class What { k_Section, k_Malformed, k_Option, k_TypeOption, k_Limit, k_Restriction };
  enum class Skipped {
    k_No,
    k_Malformed,      // m_Why says how
    k_UnknownSection, // with m_Pairs pairs
    k_NullSection,    // with m_Pairs pairs; the null identifier resolves, and no product has it
    k_UnknownProduct, // the name of a limit
    k_Default,
    k_Overwritten, // line m_By gives the same again
    k_Lost,        // a request carries one option of a product type, and line m_By has a later one
    k_Refused      // m_Why says why the request with it changes nothing
  };

  size_t m_Line = 0; // from 1
  What m_What = What::k_Malformed;
  Skipped m_Skipped = Skipped::k_No;
  UID m_Type = UID(false); // of a type option or a limit; null for a limit of an unknown product
  String m_Name;           // of section, option or restriction; of a limit, as the file calls the product
  String m_Value;          // as it stands in the file
  size_t m_Pairs = 0;
  size_t m_By = 0;
  String m_Why;
};

/// A state of what a line sets: an option's text, a limit's number, "true" or "false" of a restriction.
/// Nothing where it is not set. A restriction that is off is not set.
using PlannedState = std::optional<String>;

struct OptionsFilePlan {
  std::vector<PlannedLine> m_Lines; // as in the file
  Farm m_After;

  /// How many requests the Master would refuse, or be too large to be sent.
  size_t m_Refused = 0;
};

/// The state that a line's option, limit or restriction has in the farm.
PlannedState StateIn(const Farm& farm, const PlannedLine& line);

/// Fails when the file cannot be read. Memory follows what the farm and the file hold.
rlib::Result<OptionsFilePlan> PlanOptionsFile(const Farm& farm, const Path& file);

} // namespace brenic::master
