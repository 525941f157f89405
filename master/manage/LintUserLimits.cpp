#include <algorithm>
#include <climits>
#include <cstdlib>
#include <limits>
#include <set>

#include <fmt/core.h>

#include "brenic/Options.h"
#include "manage/Lint.h"
#include "rlib/Number.h"
#include "rlib/SFormat.h"

namespace brenic::master {

namespace {

constexpr size_t k_None = std::numeric_limits<size_t>::max();
/// All commands together; beyond it, only the first finding has one.
constexpr size_t k_MaxCommands = 1024 * 1024;

struct LimitEntry {
  std::string m_Text;   // without its ";"
  std::string m_Name;   // before the first "="
  std::string m_Number; // behind it
  bool m_HasEquals = false;
};

std::vector<LimitEntry> EntriesOf(const String& limits) {
  std::vector<LimitEntry> entries;
  for (const String& piece : SplitPieces(limits)) {
    if (piece.empty())
      continue; // the tool passes over it
    const std::string& text = piece.str();
    const size_t equals = text.find('=');
    const bool has = equals != std::string::npos;
    entries.push_back({text, text.substr(0, equals), has ? text.substr(equals + 1) : "", has});
  }
  return entries;
}

/// For each entry the first one in whose text the tool finds its user, before it; k_None for the others. What
/// it searches for is the name and "=", so that bob's is found at the end of jimbob's.
std::vector<size_t> FoundBefore(const std::vector<LimitEntry>& entries) {
  struct Name {
    std::string m_Reversed; // so that what ends with it stands behind it, sorted
    size_t m_At;
  };
  std::vector<Name> names;
  for (size_t i = 0; i != entries.size(); ++i) {
    if (entries[i].m_HasEquals && !entries[i].m_Name.empty())
      names.push_back({{entries[i].m_Name.rbegin(), entries[i].m_Name.rend()}, i});
  }
  std::sort(names.begin(), names.end(), [](const Name& a, const Name& b) {
    const int order = a.m_Reversed.compare(b.m_Reversed);
    return order != 0 ? order < 0 : a.m_At < b.m_At;
  });
  std::vector<size_t> found(entries.size(), k_None);
  struct Open {
    const Name* m_Name;
    size_t m_First; // of the names that end with this one, the first in the text
  };
  std::vector<Open> open;
  const auto close = [&] {
    const Open last = open.back();
    open.pop_back();
    const size_t at = last.m_Name->m_At;
    if (last.m_First < at)
      found[at] = std::min(found[at], last.m_First);
    if (!open.empty())
      open.back().m_First = std::min({open.back().m_First, last.m_First, at});
  };
  for (const Name& name : names) {
    while (!open.empty() && !name.m_Reversed.starts_with(open.back().m_Name->m_Reversed))
      close();
    if (!open.empty() && open.back().m_Name->m_Reversed == name.m_Reversed)
      found[name.m_At] = open.back().m_Name->m_At; // the same user again
    else
      open.push_back({&name, k_None});
  }
  while (!open.empty())
    close();
  return found;
}

bool IsPlainNumber(const std::string& text) {
  const auto number = rlib::ParseInt32(text);
  return number && *number >= 0 && std::to_string(*number) == text;
}

std::string Trimmed(const std::string& text) {
  const size_t first = text.find_first_not_of(' ');
  return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

/// Whether the tool shows the name as it is: it stands in a format there.
bool IsShownAsItIs(const std::string& name) {
  return name.find_first_of("\"\\") == std::string::npos &&
         rlib::SFormat("'" + String(name) + "' %d", 7L) == "'" + String(name) + "' 7";
}

/// What is wrong with how the tool reads the entry, to go on from it; empty when nothing is.
std::string Misread(const LimitEntry& entry) {
  if (!entry.m_HasEquals)
    return "has no =";
  if (entry.m_Name.empty())
    return "has no user";
  if (!IsPlainNumber(entry.m_Number))
    return fmt::format("is read as the limit {}", std::strtol(entry.m_Number.c_str(), nullptr, 10));
  if (Trimmed(entry.m_Name) != entry.m_Name)
    return "has a space around the user's name, which counts as part of it";
  return "";
}

/// The same limits as the tool reads them, one for each user, so that each is found by its own name.
String Mended(const std::vector<LimitEntry>& entries, bool leaveOutHidden) {
  struct Limit {
    std::string m_Name;
    long m_Number;
  };
  std::vector<Limit> limits;
  std::set<std::string> users;
  for (const LimitEntry& entry : entries) {
    const std::string name = Trimmed(entry.m_Name);
    const long number = std::strtol(entry.m_Number.c_str(), nullptr, 10);
    if (entry.m_HasEquals && !name.empty() && number >= 0 && (!leaveOutHidden || IsShownAsItIs(name)) &&
        users.insert(name).second)
      limits.push_back({name, std::min<long>(number, INT_MAX)});
  }
  const auto text = [&] {
    std::string joined;
    for (const Limit& limit : limits)
      joined += fmt::format("{}={};", limit.m_Name, limit.m_Number);
    return String(joined);
  };
  const auto before = FoundBefore(EntriesOf(text()));
  if (std::any_of(before.begin(), before.end(), [](size_t at) { return at != k_None; }))
    std::stable_sort(limits.begin(), limits.end(), [](const Limit& a, const Limit& b) {
      return a.m_Name.size() < b.m_Name.size(); // no name ends with a longer one
    });
  return text();
}

class Collector {
public:
  explicit Collector(const std::vector<LimitEntry>& entries) : m_Entries(entries) {}

  /// Of an entry that is told otherwise in the text, or of one that is only not shown as it is.
  void Add(const std::string& what, bool isHidden) {
    Finding& finding = m_Findings.emplace_back();
    finding.m_Kind = "user limit";
    finding.m_Text = "User limits: " + what;
    m_IsHidden.push_back(isHidden);
  }

  std::vector<Finding> Take() {
    for (const bool isHidden : {false, true})
      Mend(isHidden);
    return std::move(m_Findings);
  }

private:
  void Mend(bool isHidden) {
    const auto count = static_cast<size_t>(std::count(m_IsHidden.begin(), m_IsHidden.end(), isHidden));
    if (count == 0)
      return;
    const std::string command = SetwrightCommand({"-Option", o_UserLimits, Mended(m_Entries, isHidden)});
    bool isFirst = true;
    for (size_t i = 0; i != m_Findings.size(); ++i) {
      if (m_IsHidden[i] != isHidden)
        continue;
      if (command.empty())
        m_Findings[i].m_Otherwise =
            "They are too long for a command line: write them right as UserLimits into the "
            "section [Distribution] of a file, and send it with setwright -CopyFile";
      else if (isFirst || command.size() * count <= k_MaxCommands)
        m_Findings[i].m_Command = command;
      else
        m_Findings[i].m_Otherwise = "The command of the first finding of this kind mends this one as well";
      isFirst = false;
    }
  }

  const std::vector<LimitEntry>& m_Entries;
  std::vector<Finding> m_Findings;
  std::vector<bool> m_IsHidden;
};

} // namespace

std::vector<Finding> LintUserLimits(const String& limits) {
  const std::vector<LimitEntry> entries = EntriesOf(limits);
  const std::vector<size_t> before = FoundBefore(entries);
  Collector findings(entries);
  for (size_t i = 0; i != entries.size(); ++i) {
    const LimitEntry& entry = entries[i];
    if (const std::string misread = Misread(entry); !misread.empty())
      findings.Add(fmt::format("the entry '{}' {}", entry.m_Text, misread), false);
    if (before[i] != k_None)
      findings.Add(
          fmt::format("-SetUserLimit and -RemoveUserLimit of '{}' change the entry '{}' in place of '{}'",
                      entry.m_Name, entries[before[i]].m_Text, entry.m_Text),
          false);
    if (!IsShownAsItIs(entry.m_Name))
      findings.Add(
          fmt::format("-GetUserLimits does not show the user '{}' as it is, for a quote, a backslash or "
                      "a percent sign in the name; the command leaves the limit out",
                      entry.m_Name),
          true);
  }
  if (!entries.empty() && !limits.str().ends_with(';'))
    findings.Add(
        fmt::format(
            "the last entry, '{}', has no ; behind it, so that a change of it writes all limits twice",
            entries.back().m_Text),
        false);
  return findings.Take();
}

} // namespace brenic::master
