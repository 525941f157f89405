// The settings as they were, record by record back from the present ones.
#pragma once

#include "farm/Farm.h"
#include "store/Findings.h"

namespace brenic::master {

/// Default products are left out: not every change of them is in the trail.
class TakingBack {
public:
  explicit TakingBack(const Farm& farm);

  /// Takes back what a record did. A problem for each setting that is not as the record left it, which then
  /// counts as if it were.
  void TakeBack(int64_t sequence, const Change& change, Findings& findings);

  /// All records were taken back: a problem for each setting that is still there.
  void ExpectNothing(Findings& findings) const;

private:
  void TakeBackOptions(int64_t sequence, const Change& change, Findings& findings);
  void TakeBackUserLimits(int64_t sequence, const UserLimitsChange& change, Findings& findings);
  void TakeBackTranslations(int64_t sequence, const ListDifference<TranslationSet>& change,
                            Findings& findings);

  Farm m_Farm;
  rlib::map<UID, Customisation> m_Products;
  // False once they did not fit: nothing is known of those before.
  bool m_KnowsUserLimits = true;
  bool m_KnowsTranslations = true;
};

} // namespace brenic::master
