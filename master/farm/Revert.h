// Puts earlier settings back: from farm and trail to a change, or to why there is none.
#pragma once

#include <vector>

#include "farm/Judgement.h"

namespace brenic::master {

/// Records of the trail that one request may revert.
inline constexpr size_t k_MaxReverted = 1000;

/// What takes back what the records of these sequences did, the newest first. It is judged thing by thing
/// (Entry): each must be as that record left it, whoever changed it in between. Otherwise, and where one of
/// the records cannot be reverted, it fails and says so of each. What default products a record read anew
/// stays. The trail must be that which led to the farm.
rlib::Result<Judgement> JudgeRevert(const Farm& farm, Trail& trail, const std::vector<int64_t>& sequences);

} // namespace brenic::master
