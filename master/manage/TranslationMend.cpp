#include "manage/TranslationMend.h"

#include <algorithm>
#include <set>

#include "manage/Lint.h"

namespace brenic::master {

namespace {

/// More would be a list that nobody looks through before running it.
constexpr size_t k_MostAddedAgain = 20;

void AddTranslation(const TranslationSet& set, std::vector<String>& arguments) {
  arguments.emplace_back("-PathTranslation");
  for (int platform = 0; platform != 3; ++platform)
    arguments.emplace_back(RootOf(set, platform));
}

} // namespace

const std::string& RootOf(const TranslationSet& set, int platform) {
  static const std::string s_None;
  const auto root = set.find(platform);
  return root != set.end() ? root->second.str().str() : s_None;
}

TranslationMend::TranslationMend(const rlib::vector<TranslationSet>& translations)
    : m_Translations(translations) {
  for (size_t i = 0; i != translations.size(); ++i) {
    for (const auto& entry : translations[i]) {
      Places& places = m_ByRoot[entry.second.str().str()];
      if (places.empty() || places.back() != i)
        places.push_back(i);
    }
  }
}

const std::string& TranslationMend::RarestRoot(size_t at) const {
  const auto& set = m_Translations[at];
  const auto score = [&](const Path& root) {
    const std::string& text = root.str().str();
    return std::pair(text.empty(), m_ByRoot.at(text).size());
  };
  const auto rarest = std::min_element(set.begin(), set.end(), [&](const auto& a, const auto& b) {
    return score(a.second) < score(b.second);
  });
  return rarest->second.str().str();
}

std::string TranslationMend::Command(const std::vector<size_t>& dropped,
                                     const std::vector<TranslationSet>& added) const {
  std::vector<String> arguments;
  std::set<size_t> gone;
  for (const size_t at : dropped) {
    if (m_Translations[at].empty())
      return ""; // no root to call it by
    if (gone.contains(at))
      continue;
    const std::string& root = RarestRoot(at);
    const Places& places = m_ByRoot.at(root);
    if (places.size() > dropped.size() + k_MostAddedAgain)
      return "";
    gone.insert(places.begin(), places.end());
    arguments.emplace_back("-RemovePathTranslation");
    arguments.emplace_back(root);
  }
  for (const size_t at : dropped)
    gone.erase(at);
  if (gone.size() > k_MostAddedAgain)
    return "";
  for (const size_t at : gone)
    AddTranslation(m_Translations[at], arguments);
  for (const TranslationSet& set : added)
    AddTranslation(set, arguments);
  return SetwrightCommand(arguments);
}

} // namespace brenic::master
