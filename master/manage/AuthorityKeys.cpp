#include "manage/AuthorityKeys.h"

#include <fmt/format.h>

#include "manage/Certificates.h"

namespace brenic::master {

namespace {

/// The texts from "-----BEGIN ...KEY-----" to the end of that block.
std::vector<std::string> KeyBlocks(const std::string& text) {
  static constexpr std::string_view k_Begin = "-----BEGIN ";
  std::vector<std::string> blocks;
  for (size_t at = text.find(k_Begin); at != std::string::npos; at = text.find(k_Begin, at + 1)) {
    const size_t line = text.find('\n', at);
    const size_t end = text.find("-----END ", at);
    if (line == std::string::npos || end == std::string::npos)
      break;
    const size_t last = std::min(text.find('\n', end), text.size() - 1);
    if (text.substr(at, line - at).find("PRIVATE KEY") != std::string::npos)
      blocks.push_back(text.substr(at, last - at + 1));
  }
  return blocks;
}

bool Fits(const Credential& authority, const std::string& key) {
  try {
    return IsKeyOf(authority.m_Certificate, key);
  } catch (Exception* unreadable) {
    delete unreadable;
    return false;
  }
}

/// "The key of authority 1", "The keys of authorities 1, 2".
std::string KeysOf(const std::vector<int64_t>& numbers) {
  return fmt::format("The key{0} of authorit{1} {2}", numbers.size() == 1 ? "" : "s",
                     numbers.size() == 1 ? "y" : "ies", fmt::join(numbers, ", "));
}

rlib::Result<Managed> TakeAway(Store& store, const MasterRecord& master) {
  std::vector<int64_t> taken;
  for (const Authority& authority : master.m_Authorities) {
    if (authority.m_Credential.m_Key.empty())
      continue;
    store.SetAuthorityKey(authority.m_Number, "");
    taken.push_back(authority.m_Number);
  }
  if (taken.empty())
    return rlib::Failure("This Master does not hold the key of any authority");
  return Managed{fmt::format("{} {} not here any more: this Master issues and renews nothing", KeysOf(taken),
                             taken.size() == 1 ? "is" : "are"),
                 nullptr,
                 {}};
}

/// Which keys are here now, and what can be done with them.
std::string HeldText(const MasterRecord& master) {
  std::vector<int64_t> held, missing;
  for (const Authority& authority : master.m_Authorities)
    (authority.m_Credential.m_Key.empty() ? missing : held).push_back(authority.m_Number);
  const int64_t signing = master.m_Authorities.back().m_Number;
  const std::string here = fmt::format("{} {} here", KeysOf(held), held.size() == 1 ? "is" : "are");
  if (master.m_Authorities.back().m_Credential.m_Key.empty())
    return fmt::format("{}; that of authority {}, which signs, is not, so nothing is issued", here, signing);
  const std::string away =
      missing.empty() ? "" : fmt::format("; that of authority {} is not", fmt::join(missing, ", "));
  return fmt::format("{}{}: this Master issues certificates", here, away);
}

} // namespace

std::string ExportAuthority(const MasterRecord& master) {
  std::string text;
  for (const Authority& authority : master.m_Authorities) {
    if (!authority.m_Credential.m_Key.empty())
      text += authority.m_Credential.m_Certificate + authority.m_Credential.m_Key;
  }
  return text;
}

rlib::Result<Managed> MoveAuthority(Store& store, const std::string& keys) {
  const MasterRecord master = store.LoadMaster();
  if (keys.empty())
    return TakeAway(store, master);
  size_t placed = 0;
  size_t fitting = 0;
  const std::vector<std::string> blocks = KeyBlocks(keys);
  for (const Authority& authority : master.m_Authorities) {
    for (const std::string& key : blocks) {
      if (!Fits(authority.m_Credential, key))
        continue;
      ++fitting;
      if (!authority.m_Credential.m_Key.empty())
        break;
      store.SetAuthorityKey(authority.m_Number, key);
      ++placed;
      break;
    }
  }
  if (fitting == 0)
    return rlib::Failure(blocks.empty() ? "The file holds no private key"
                                        : "The file holds no key of this farm's authority");
  if (placed == 0)
    return rlib::Failure(HeldText(master) + "; the file holds no other key of this farm");
  return Managed{HeldText(store.LoadMaster()), nullptr, {}};
}

} // namespace brenic::master
