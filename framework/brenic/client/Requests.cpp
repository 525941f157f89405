#include "client/Requests.h"

#include <algorithm>

#include <fmt/core.h>

#include "rlib/Utf8.h"

namespace brenic {

namespace {

constexpr size_t k_Named = 5;        // of a kind
constexpr size_t k_LongestName = 80; // bytes

enum class Kind { k_Committed, k_Refused, k_Unknown };

constexpr struct {
  Kind m_Kind;
  const char* m_Words;
} k_Kinds[] = {
    {Kind::k_Committed, "Committed"}, {Kind::k_Refused, "Refused"}, {Kind::k_Unknown, "Outcome unknown"}};

bool Changes(const RequestState& state) {
  return state.m_Class->m_Kind != RequestKind::k_Read;
}

Kind KindOf(const RequestState& state) {
  switch (state.m_Outcome.value_or(Outcome::k_Unknown)) {
  case Outcome::k_Committed:
    return Kind::k_Committed;
  case Outcome::k_Refused:
  case Outcome::k_NotSent:
    return Kind::k_Refused;
  default:
    return Kind::k_Unknown;
  }
}

std::string Shortened(const std::string& name) {
  const std::string beginning(rlib::Utf8Beginning(name, k_LongestName));
  return beginning.size() < name.size() ? beginning + "..." : name;
}

std::string Listed(const rlib::vector<const RequestState*>& states) {
  std::string text;
  for (size_t i = 0; i < std::min(states.size(), k_Named); ++i)
    text += (i > 0 ? ", " : "") + Shortened(states[i]->m_Name.str());
  if (states.size() > k_Named)
    text += fmt::format(" and {} more", states.size() - k_Named);
  return text;
}

} // namespace

void Requests::Add(const UID& id, const MessageDescription& description, const String& name) {
  const auto [place, isNew] = m_Index.emplace(id, m_States.size());
  if (isNew)
    m_States.push_back({&description, name, std::nullopt});
  else if (!std::exchange(m_States[place->second].m_Outcome, std::nullopt))
    return;
  ++m_Pending;
}

std::optional<RequestState> Requests::Take(const UID& id, Outcome outcome) {
  const auto found = m_Index.find(id);
  if (found == m_Index.end() || m_States[found->second].m_Outcome)
    return std::nullopt;
  --m_Pending;
  m_States[found->second].m_Outcome = outcome;
  return m_States[found->second];
}

bool Requests::IsAnswered(const UID& id) const {
  const auto found = m_Index.find(id);
  return found != m_Index.end() && m_States[found->second].m_Outcome;
}

bool Requests::NeedSummary() const {
  return std::count_if(m_States.begin(), m_States.end(), Changes) > 1 &&
         std::any_of(m_States.begin(), m_States.end(), [](const RequestState& state) {
           return Changes(state) && KindOf(state) != Kind::k_Committed;
         });
}

String Requests::Summary() const {
  std::string line;
  bool unknown = false, shortened = false;
  for (const auto& [kind, words] : k_Kinds) {
    rlib::vector<const RequestState*> states;
    for (const RequestState& state : m_States) {
      if (Changes(state) && KindOf(state) == kind)
        states.push_back(&state);
    }
    if (!states.empty())
      line += fmt::format("{}: {}. ", words, Listed(states));
    else if (kind == Kind::k_Committed)
      line += "Committed: nothing. ";
    unknown = unknown || (kind == Kind::k_Unknown && !states.empty());
    shortened = shortened || states.size() > k_Named;
  }
  line += "Repeat only what was not committed";
  if (unknown)
    line += ", and look before you repeat what is unknown";
  if (shortened)
    line += "; the log names all of them";
  return line;
}

rlib::vector<String> Requests::Details() const {
  rlib::vector<String> lines;
  for (const RequestState& state : m_States) {
    if (Changes(state))
      lines.push_back(k_Kinds[static_cast<size_t>(KindOf(state))].m_Words + (": " + state.m_Name));
  }
  return lines;
}

} // namespace brenic
