#include "manage/AuthorityKeys.h"

#include <fmt/core.h>

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

rlib::Result<Managed> TakeAway(Store& store, const MasterRecord& master) {
  size_t taken = 0;
  for (const Authority& authority : master.m_Authorities) {
    if (authority.m_Credential.m_Key.empty())
      continue;
    store.SetAuthorityKey(authority.m_Number, "");
    ++taken;
  }
  if (taken == 0)
    return rlib::Failure("This Master does not hold the authority's key");
  return Managed{
      "The authority's key is not here any more: this Master issues and renews nothing", nullptr, {}};
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
    return rlib::Failure("The authority's key is here already");
  return Managed{"The authority's key is here: this Master issues certificates", nullptr, {}};
}

} // namespace brenic::master
