#include "client/Basis.h"

namespace brenic {

void Basis::Delivered(const shared_ptr<const Message>& message) {
  if (const auto value = wire::WholeValueIn(*message))
    m_Delivered[*value] = message;
}

std::string Basis::For(const Message& message) const {
  const auto value = wire::WholeValueIn(message);
  const auto delivered = value ? m_Delivered.find(*value) : m_Delivered.end();
  return delivered != m_Delivered.end() ? wire::BasisOf(*delivered->second) : std::string();
}

} // namespace brenic
