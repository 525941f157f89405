#include "manage/CertificateWords.h"

#include "manage/Office.h"

namespace brenic::master {

namespace {

// Released records are read by these words, so they stay as they are.
constexpr char k_SerialNumber[] = " with the serial number ";
constexpr char k_ValidUntil[] = ", valid until ";
constexpr char k_Superseded[] = "; ";
constexpr char k_TheOne[] = "the one with the serial number ";
constexpr char k_EndsOn[] = " ends on ";
constexpr char k_Revoked[] = "Revoked the certificate";
constexpr char k_Comma[] = ", ";
constexpr char k_AndMore[] = " and "; // how many

std::string BeginOfIssue(const String& name, Role role) {
  return fmt::format("Issued a certificate for the {} {}{}", RoleName(role), Quoted(name), k_SerialNumber);
}

/// Takes the words away where the text begins with them.
bool Take(std::string_view& text, std::string_view words) {
  if (!text.starts_with(words))
    return false;
  text.remove_prefix(words.size());
  return true;
}

/// Takes away what consists of these characters.
std::string TakeAll(std::string_view& text, std::string_view characters) {
  const size_t end = std::min(text.find_first_not_of(characters), text.size());
  const std::string taken(text.substr(0, end));
  text.remove_prefix(end);
  return taken;
}

std::optional<EndTold> TakeEnd(std::string_view& text, std::string_view between) {
  EndTold told;
  told.m_Serial = TakeAll(text, "0123456789abcdef");
  if (told.m_Serial.empty() || !Take(text, between))
    return std::nullopt;
  told.m_Date = TakeAll(text, "0123456789-");
  return told.m_Date.empty() ? std::nullopt : std::optional(told);
}

} // namespace

std::string IssuedWords(const String& name, Role role, const std::string& serial, int64_t end) {
  return BeginOfIssue(name, role) + serial + k_ValidUntil + DateText(end);
}

std::string SupersededWords(const std::vector<EndTold>& superseded) {
  std::vector<std::string> texts;
  for (const EndTold& one : superseded)
    texts.push_back(k_TheOne + one.m_Serial + k_EndsOn + one.m_Date);
  return texts.empty() ? "" : k_Superseded + Listed(texts);
}

std::string RevokedWords(const String& name, const std::vector<std::string>& serials) {
  return fmt::format("{}{} of {},{}{}", k_Revoked, serials.size() == 1 ? "" : "s", Quoted(name),
                     k_SerialNumber, Listed(serials));
}

std::optional<IssueTold> ReadIssued(const String& name, std::string_view reason) {
  for (const Role role : {Role::k_Administrator, Role::k_Component}) {
    std::string_view rest = reason;
    if (!Take(rest, BeginOfIssue(name, role)))
      continue;
    const auto issued = TakeEnd(rest, k_ValidUntil);
    if (!issued)
      return std::nullopt;
    IssueTold told{role, *issued, {}};
    if (!Take(rest, k_Superseded) || !rest.starts_with(k_TheOne))
      return told;
    while (Take(rest, k_TheOne)) {
      const auto superseded = TakeEnd(rest, k_EndsOn);
      if (!superseded)
        return std::nullopt;
      told.m_Superseded.push_back(*superseded);
      Take(rest, k_Comma);
    }
    told.m_AreAllTold = !rest.starts_with(k_AndMore);
    return told;
  }
  return std::nullopt;
}

std::optional<std::vector<std::string>> ReadRevocation(std::string_view reason) {
  // The last ones: the name before may hold the same words.
  const size_t at = reason.rfind(k_SerialNumber);
  if (!reason.starts_with(k_Revoked) || at == std::string_view::npos)
    return std::nullopt;
  std::string_view rest = reason.substr(at + std::string_view(k_SerialNumber).size());
  std::vector<std::string> serials;
  do
    serials.push_back(TakeAll(rest, "0123456789abcdef"));
  while (Take(rest, k_Comma));
  return rest.empty() || rest.starts_with(k_AndMore) ? std::optional(serials) : std::nullopt;
}

} // namespace brenic::master
