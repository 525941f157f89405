// Changes of the list of path translations that setwright can make: it takes out all translations that have a
// root, whatever the platform, and adds others at the end.
#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "brenic/PathTranslationsMsg.h"

namespace brenic::master {

/// The root of a platform; empty where there is none.
const std::string& RootOf(const TranslationSet& set, int platform);

/// Finds the command line for a change of a list.
class TranslationMend {
public:
  /// The list must live as long.
  explicit TranslationMend(const rlib::vector<TranslationSet>& translations);

  /// The command line that takes out the translations `dropped` (from 0) and adds `added` at the end. What
  /// has to go with them, because it has the same root, is added again. Empty where setwright cannot do it in
  /// one line of reasonable length.
  std::string Command(const std::vector<size_t>& dropped, const std::vector<TranslationSet>& added) const;

private:
  using Places = std::vector<size_t>;

  /// The root of the translation that the fewest have; the empty one only when it has no other.
  const std::string& RarestRoot(size_t at) const;

  const rlib::vector<TranslationSet>& m_Translations;
  std::unordered_map<std::string, Places> m_ByRoot; // ascending, each once
};

} // namespace brenic::master
