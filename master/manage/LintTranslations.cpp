#include <algorithm>
#include <array>
#include <map>
#include <numeric>
#include <optional>

#include <fmt/core.h>

#include "manage/Lint.h"
#include "manage/RootColumns.h"
#include "manage/TranslationMend.h"
#include "rlib/Platform.h"

namespace brenic::master {

namespace {

/// The root as far as it tells one folder from another: case of ASCII letters, kind and number of slashes and
/// a separator at the end may differ.
std::string KeyOf(const TranslationSet& set, int platform) {
  const size_t atBeginning = platform == 0 ? 2 : 1; // slashes; two are a server's
  std::string key;
  for (const char c : RootOf(set, platform)) {
    const char plain = c == '\\' ? '/' : c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    if (plain != '/' || key.size() < atBeginning || key.back() != '/')
      key += plain;
  }
  while (key.size() > 1 && key.back() == '/')
    key.pop_back();
  return key;
}

using Keys = std::array<std::string, 3>;

/// Orders keys so that what is inside of a folder stands right behind it.
bool ComesBefore(const std::string& a, const std::string& b) {
  return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
    const auto rank = [](char c) { return c == '/' ? -1 : static_cast<int>(static_cast<unsigned char>(c)); };
    return rank(x) < rank(y);
  });
}

bool IsInside(const std::string& inner, const std::string& outer) {
  return inner.size() > outer.size() && !outer.empty() && inner.starts_with(outer) &&
         (outer.back() == '/' || inner[outer.size()] == '/');
}

/// Two translations of which the earlier one keeps the later one from being reached, as far as programs take
/// the first root that fits.
struct Overlap {
  std::vector<int> m_Same;   // platforms with the same root
  std::vector<int> m_Inside; // platforms where the later root is inside of the earlier one
};

class Linter {
public:
  explicit Linter(const rlib::vector<TranslationSet>& translations)
      : m_Translations(translations), m_Mend(translations) {
    m_Keys.reserve(translations.size());
    for (const TranslationSet& set : translations)
      m_Keys.push_back({KeyOf(set, 0), KeyOf(set, 1), KeyOf(set, 2)});
  }

  std::vector<Finding> Run() {
    FindDuplicates();
    for (int platform = 0; platform != 3; ++platform)
      FindOverlaps(platform);
    for (const auto& [pair, overlap] : m_Overlaps)
      Tell(pair.second, pair.first, overlap);
    for (const size_t at : m_Kept)
      CheckColumns(at);
    return std::move(m_Findings);
  }

private:
  Finding& Add(const char* kind, std::vector<size_t> translations, std::string text) {
    Finding& finding = m_Findings.emplace_back();
    finding.m_Kind = kind;
    finding.m_Text = std::move(text);
    for (size_t& at : translations)
      ++at;
    finding.m_Translations = std::move(translations);
    return finding;
  }

  void Mend(Finding& finding, const std::vector<size_t>& dropped, const std::vector<TranslationSet>& added) {
    finding.m_Command = m_Mend.Command(dropped, added);
    if (finding.m_Command.empty())
      finding.m_Otherwise =
          "No line of setwright of reasonable length mends it, as too many translations share its "
          "roots; take them out with -RemovePathTranslation and add those that are meant";
  }

  /// All that name the same three folders; only the first of them is looked at any further.
  void FindDuplicates() {
    std::vector<size_t> order(m_Keys.size());
    std::iota(order.begin(), order.end(), 0);
    std::sort(order.begin(), order.end(), [&](size_t a, size_t b) {
      const int compared = Compare(m_Keys[a], m_Keys[b]);
      return compared != 0 ? compared < 0 : a < b;
    });
    std::vector<std::vector<size_t>> groups;
    for (const size_t at : order) {
      if (groups.empty() || m_Keys[groups.back().front()] != m_Keys[at])
        groups.emplace_back();
      groups.back().push_back(at);
    }
    std::sort(groups.begin(), groups.end());
    for (const auto& group : groups) {
      m_Kept.push_back(group.front());
      if (group.size() > 1)
        TellDuplicates(group);
    }
  }

  static int Compare(const Keys& a, const Keys& b) {
    for (size_t i = 0; i != 3; ++i) {
      if (const int compared = a[i].compare(b[i]); compared != 0)
        return compared;
    }
    return 0;
  }

  void TellDuplicates(const std::vector<size_t>& group) {
    constexpr size_t k_MostNamed = 10;
    std::string names;
    for (size_t i = 0; i != std::min(group.size(), k_MostNamed); ++i)
      names += (i == 0 ? "" : i + 1 == group.size() ? " and " : ", ") + std::to_string(group[i] + 1);
    if (group.size() > k_MostNamed)
      names += fmt::format(" and {} more", group.size() - k_MostNamed);
    const TranslationSet& first = m_Translations[group.front()];
    const bool isSame = std::all_of(group.begin(), group.end(),
                                    [&](size_t at) { return HasRootsOf(m_Translations[at], first); });
    Finding& finding =
        Add("duplicate translation", group,
            fmt::format("The translations {} {}", names,
                        isSame ? "are the same" : "differ only in case, slash or trailing separator"));
    Mend(finding, group, {first});
  }

  static bool HasRootsOf(const TranslationSet& one, const TranslationSet& other) {
    for (int platform = 0; platform != 3; ++platform) {
      if (RootOf(one, platform) != RootOf(other, platform))
        return false;
    }
    return true;
  }

  const std::string& Key(size_t at, int platform) const { return m_Keys[at][static_cast<size_t>(platform)]; }

  /// Each translation with the first one of the same root before it, and with the first one before it that it
  /// is inside of.
  void FindOverlaps(int platform) {
    std::vector<size_t> order;
    std::copy_if(m_Kept.begin(), m_Kept.end(), std::back_inserter(order),
                 [&](size_t at) { return !Key(at, platform).empty(); });
    std::sort(order.begin(), order.end(), [&](size_t a, size_t b) {
      return Key(a, platform) != Key(b, platform) ? ComesBefore(Key(a, platform), Key(b, platform)) : a < b;
    });
    struct Folder {
      size_t m_At;    // the first translation with this root
      size_t m_First; // the first one of it and of all that it is inside of
    };
    std::vector<Folder> outer; // each inside of the one before
    for (const size_t at : order) {
      if (!outer.empty() && Key(outer.back().m_At, platform) == Key(at, platform)) {
        m_Overlaps[{at, outer.back().m_At}].m_Same.push_back(platform);
        continue;
      }
      while (!outer.empty() && !IsInside(Key(at, platform), Key(outer.back().m_At, platform)))
        outer.pop_back();
      const size_t first = outer.empty() ? at : outer.back().m_First;
      if (first < at)
        m_Overlaps[{at, first}].m_Inside.push_back(platform);
      outer.push_back({at, std::min(at, first)});
    }
  }

  std::string Roots(size_t first, size_t second, const std::vector<int>& platforms,
                    const char* between) const {
    std::string text;
    for (const int platform : platforms)
      text += fmt::format("{}{} '{}' {} '{}'", text.empty() ? "" : ", ", rlib::Platform::Name(platform).str(),
                          RootOf(m_Translations[first], platform), between,
                          RootOf(m_Translations[second], platform));
    return text;
  }

  void Tell(size_t earlier, size_t later, const Overlap& overlap) {
    if (!overlap.m_Same.empty())
      TellSame(earlier, later, overlap.m_Same);
    else
      TellInside(earlier, later, overlap.m_Inside);
  }

  void TellSame(size_t earlier, size_t later, const std::vector<int>& platforms) {
    const bool isExact = std::all_of(platforms.begin(), platforms.end(), [&](int platform) {
      return RootOf(m_Translations[earlier], platform) == RootOf(m_Translations[later], platform);
    });
    Finding& finding =
        Add("same root", {earlier, later},
            fmt::format("The translations {} and {} have {}: {}", earlier + 1, later + 1,
                        isExact ? "the same root, so that the later one is not reached by it"
                                : "a root that differs only in case, slash or trailing separator",
                        Roots(earlier, later, platforms, "and")));
    const auto both = Merged(earlier, later);
    if (both) {
      finding.m_Text += "; the command makes one of them";
      Mend(finding, {earlier, later}, {*both});
    } else {
      finding.m_Text += "; the command takes out the later one, for when the earlier one is right";
      Mend(finding, {later}, {});
    }
  }

  /// One translation that says what both say; none when they contradict each other.
  std::optional<TranslationSet> Merged(size_t one, size_t other) const {
    TranslationSet merged;
    for (int platform = 0; platform != 3; ++platform) {
      const std::string& first = Key(one, platform);
      const std::string& second = Key(other, platform);
      if (!first.empty() && !second.empty() && first != second)
        return std::nullopt;
      merged[platform] = Path(RootOf(m_Translations[first.empty() ? other : one], platform));
    }
    return merged;
  }

  void TellInside(size_t earlier, size_t later, const std::vector<int>& platforms) {
    Finding& finding = Add("shadowed root", {earlier, later},
                           fmt::format("The translation {} stands before {} and shadows it: {}", earlier + 1,
                                       later + 1, Roots(earlier, later, platforms, "holds")));
    bool isBothWays = false;
    for (int platform = 0; platform != 3; ++platform)
      isBothWays |= IsInside(Key(earlier, platform), Key(later, platform));
    if (isBothWays) {
      finding.m_Text +=
          "; no order helps, as it is the other way round on another platform, so the command takes "
          "out the later one";
      Mend(finding, {later}, {});
    } else {
      finding.m_Text += "; the command moves it behind";
      Mend(finding, {earlier}, {m_Translations[earlier]});
    }
  }

  void CheckColumns(size_t at) {
    const TranslationSet& set = m_Translations[at];
    const auto wrong = WrongColumns(set);
    if (wrong.empty())
      return;
    std::string roots;
    for (const int platform : wrong)
      roots += fmt::format("{}{} '{}'", roots.empty() ? "" : ", ", rlib::Platform::Name(platform).str(),
                           RootOf(set, platform));
    Finding& finding = Add(
        "wrong column", {at},
        fmt::format("The translation {} has a root that looks like another platform's: {}", at + 1, roots));
    const TranslationSet right = InRightColumns(set);
    const bool isEmpty =
        std::all_of(right.begin(), right.end(), [](const auto& each) { return each.second.empty(); });
    Mend(finding, {at}, isEmpty ? std::vector<TranslationSet>() : std::vector{right});
  }

  const rlib::vector<TranslationSet>& m_Translations;
  const TranslationMend m_Mend;
  std::vector<Keys> m_Keys;
  std::vector<size_t> m_Kept;                              // ascending, without duplicates of an earlier one
  std::map<std::pair<size_t, size_t>, Overlap> m_Overlaps; // by the later and the earlier one
  std::vector<Finding> m_Findings;
};

} // namespace

std::vector<Finding> LintTranslations(const rlib::vector<TranslationSet>& translations) {
  return Linter(translations).Run();
}

} // namespace brenic::master
