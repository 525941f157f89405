#include "farm/Change.h"

namespace brenic::master {

bool Change::IsEmpty() const {
  return m_Options.empty() && !m_UserLimits && m_Limits.empty() && m_Restrictions.empty() &&
         m_Translations.IsEmpty() && m_Products.empty() && m_Defaults.empty();
}

Change Inverse(const Change& change) {
  Change inverse = change;
  for (OptionChange& option : inverse.m_Options)
    std::swap(option.m_Value.m_Before, option.m_Value.m_After);
  if (inverse.m_UserLimits) {
    std::swap(inverse.m_UserLimits->m_SetBefore, inverse.m_UserLimits->m_SetAfter);
    inverse.m_UserLimits->m_Pieces = inverse.m_UserLimits->m_Pieces.Inverse();
  }
  for (auto& [type, limit] : inverse.m_Limits)
    std::swap(limit.m_Before, limit.m_After);
  for (auto& [name, on] : inverse.m_Restrictions)
    on = !on;
  inverse.m_Translations = inverse.m_Translations.Inverse();
  for (auto* const products : {&inverse.m_Products, &inverse.m_Defaults}) {
    for (auto& [type, product] : *products)
      std::swap(product.m_Before, product.m_After);
  }
  return inverse;
}

std::vector<String> SplitPieces(const String& text) {
  std::vector<String> pieces;
  std::string_view rest = text;
  for (size_t end = rest.find(';'); end != std::string_view::npos; end = rest.find(';')) {
    pieces.emplace_back(rest.substr(0, end));
    rest.remove_prefix(end + 1);
  }
  pieces.emplace_back(rest);
  return pieces;
}

String JoinPieces(const std::vector<String>& pieces) {
  std::string text;
  for (const String& piece : pieces) {
    if (&piece != &pieces.front())
      text += ';';
    text += piece.str();
  }
  return text;
}

} // namespace brenic::master
