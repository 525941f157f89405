#include "Merge.h"

#include <algorithm>
#include <unordered_set>

using namespace brenic;
using namespace rlib;

vector<TranslationSet> MergeTranslations(const vector<TranslationSet>& current,
                                         const vector<String>& removeRoots,
                                         const vector<TranslationSet>& additions) {
  const std::unordered_set<String> removed(removeRoots.begin(), removeRoots.end());
  vector<TranslationSet> merged;
  merged.reserve(current.size() + additions.size());
  std::copy_if(current.begin(), current.end(), std::back_inserter(merged), [&](const TranslationSet& set) {
    return std::none_of(set.begin(), set.end(),
                        [&](const auto& entry) { return removed.contains(entry.second.str()); });
  });
  merged.insert(merged.end(), additions.begin(), additions.end());
  return merged;
}
