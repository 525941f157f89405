#include "manage/RootColumns.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string>
#include <utility>

#include "manage/TranslationMend.h"

namespace brenic::master {

namespace {

constexpr int k_Windows = 0;
constexpr int k_Linux = 1;
constexpr int k_Mac = 2;

bool IsInFolder(const std::string& root, const std::string& folder) {
  return root.starts_with(folder) && (root.size() == folder.size() || root[folder.size()] == '/');
}

bool IsOfWindows(const std::string& root) {
  const bool hasDrive = root.size() >= 2 && std::isalpha(static_cast<unsigned char>(root[0])) &&
                        root[1] == ':' && (root.size() == 2 || root[2] == '/' || root[2] == '\\');
  return hasDrive || root.starts_with("\\\\");
}

bool IsOfUnix(const std::string& root) {
  return root.starts_with('/') && !root.starts_with("//"); // which Windows takes for a server
}

bool IsOfMac(const std::string& root) {
  return IsInFolder(root, "/Volumes");
}

bool IsOfLinux(const std::string& root) {
  return IsInFolder(root, "/mnt") || IsInFolder(root, "/media");
}

bool IsWrong(const TranslationSet& set, int platform) {
  const std::string& root = RootOf(set, platform);
  if (platform == k_Windows)
    return IsOfUnix(root);
  if (platform == k_Linux)
    return IsOfWindows(root) || IsOfMac(root);
  const std::string& onLinux = RootOf(set, k_Linux);
  return IsOfWindows(root) || (IsOfLinux(root) && (onLinux.empty() || IsOfMac(onLinux)));
}

/// Without wrong roots that another column has as well.
TranslationSet WithoutCopies(TranslationSet set) {
  for (const int platform : {k_Windows, k_Linux, k_Mac}) {
    bool isCopy = false;
    for (const int other : {k_Windows, k_Linux, k_Mac})
      isCopy |= other != platform && RootOf(set, other) == RootOf(set, platform);
    if (isCopy && IsWrong(set, platform))
      set[platform] = Path();
  }
  return set;
}

} // namespace

std::vector<int> WrongColumns(const TranslationSet& set) {
  std::vector<int> wrong;
  for (const int platform : {k_Windows, k_Linux, k_Mac}) {
    if (IsWrong(set, platform))
      wrong.push_back(platform);
  }
  return wrong;
}

TranslationSet InRightColumns(const TranslationSet& original) {
  const TranslationSet set = WithoutCopies(original);
  std::array<int, 3> from{k_Windows, k_Linux, k_Mac};
  TranslationSet best;
  std::pair bestScore{-1, -1}; // roots that are left, columns that stay
  do {
    TranslationSet moved;
    int stays = 0;
    for (int platform = 0; platform != 3; ++platform) {
      const int source = from[static_cast<size_t>(platform)];
      moved[platform] = Path(RootOf(set, source));
      stays += source == platform;
    }
    for (auto wrong = WrongColumns(moved); !wrong.empty(); wrong = WrongColumns(moved))
      moved[wrong.front()] = Path();
    const auto left =
        std::count_if(moved.begin(), moved.end(), [](const auto& each) { return !each.second.empty(); });
    if (const std::pair score{static_cast<int>(left), stays}; score > bestScore) {
      best = moved;
      bestScore = score;
    }
  } while (std::next_permutation(from.begin(), from.end()));
  return best;
}

} // namespace brenic::master
