#include "UserLimitsText.h"

#include <cstdlib>

#include "rlib/SFormat.h"
#include "rlib/StringTokenizer.h"

using namespace rlib;

namespace {

/// What stands before a user's entry and behind it.
struct Around {
  std::string m_Prefix;
  std::string m_Suffix;
};

Around Find(const std::string& limits, const String& user) {
  const size_t entry = limits.find(user.str() + "=");
  if (entry == std::string::npos)
    return {limits, ""};
  const size_t end = limits.find(';', entry);
  return {limits.substr(0, entry), end == std::string::npos ? limits : limits.substr(end + 1)};
}

/// Wider than any limit that is sent: what another program stored is shown as it is.
long Number(const std::string& text) {
  return std::strtol(text.c_str(), nullptr, 10);
}

} // namespace

String WithLimit(const String& limits, const String& user, int limit) {
  const Around around = Find(limits.str(), user);
  return around.m_Prefix + user.str() + SFormat("=%d;", limit).str() + around.m_Suffix;
}

String WithoutLimit(const String& limits, const String& user) {
  const Around around = Find(limits.str(), user);
  return around.m_Prefix + around.m_Suffix;
}

vector<String> LimitLines(const String& limits) {
  vector<String> lines;
  StringTokenizer tokenizer(limits, ';', false, '"', '\\');
  while (const auto token = tokenizer.GetNext()) {
    const std::string& text = token->str();
    const size_t equals = text.find('=');
    const std::string user = text.substr(0, equals);
    const std::string number = equals == std::string::npos ? text : text.substr(equals + 1);
    lines.push_back(SFormat("User: '" + String(user) + "' with a worker limit of '%d'", Number(number)));
  }
  return lines;
}
