// What a check found.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "brenic/Types.h"

namespace brenic::master {

/// Collects one line for each finding. A damaged file can have any number of them: more than k_Most of a kind
/// are only counted.
class Findings {
public:
  static constexpr size_t k_Most = 1000;

  /// Something is wrong: what, and what to do.
  void Problem(const std::string& what, const std::string& advice);
  /// Something that one should know, though nothing is wrong.
  void Note(const std::string& what);
  /// So many of these were looked at ("options").
  void Checked(const char* what, size_t count) { m_Checked[what] += count; }

  /// Runs `check`, which looks at `what`; false, with a problem, when that cannot be read.
  bool Guard(const char* what, const std::function<void()>& check);

  const std::vector<std::string>& Problems() const { return m_Problems; }
  const std::vector<std::string>& Notes() const { return m_Notes; }
  const std::map<std::string, size_t>& Counts() const { return m_Checked; }
  /// Problems and notes that are not among them.
  size_t MoreThanKept() const { return m_More; }

private:
  void Keep(std::vector<std::string>& lines, const std::string& line);

  std::vector<std::string> m_Problems;
  std::vector<std::string> m_Notes;
  std::map<std::string, size_t> m_Checked;
  size_t m_More = 0;
};

} // namespace brenic::master
