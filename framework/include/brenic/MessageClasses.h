// All message classes in one list, and the ways to go through it. What is done for each class (encoding it,
// judging it, showing it) goes through here, so that a class for which it was forgotten does not compile.
#pragma once

#include <stdexcept>
#include <string>
#include <type_traits>

#include "brenic/ManagementMessages.h"
#include "brenic/PathTranslationsMsg.h"
#include "brenic/ProductMessages.h"
#include "brenic/RevertMsg.h"
#include "brenic/SettingsMessages.h"
#include "brenic/SystemMessages.h"

namespace brenic {

template <typename... Classes>
struct MessageList {};

using MessageClasses =
    MessageList<SetMasterOptionsMsg, GetMasterOptionsMsg, SetMasterLimitsMsg, SetMasterRestrictionsMsg,
                PathTranslationsMsg, ProductMsg, RemoveProductMsg, EndProductsMsg, LogDumpMsg, ShutdownMsg,
                MachineMsg, RevertMsg, IssueClientMsg, IssuedClientMsg, RevokeClientMsg, ChangeHostsMsg,
                RenewAuthorityMsg, MoveAuthorityMsg, RenewMasterMsg, RestoreMsg>;

namespace classes {

template <typename... Classes>
consteval bool AreDistinct(MessageList<Classes...>) {
  const MessageDescription descriptions[] = {Classes::k_Description...};
  for (const MessageDescription& one : descriptions) {
    for (const MessageDescription& other : descriptions) {
      if (&one != &other && (one.m_Type.Bytes() == other.m_Type.Bytes() ||
                             std::string_view(one.m_ClassName) == other.m_ClassName))
        return false;
    }
  }
  return true;
}
static_assert(AreDistinct(MessageClasses()), "two message classes have one type or one name");

template <typename Class, typename... Classes>
consteval bool IsIn(MessageList<Classes...>) {
  return (std::is_same_v<Class, Classes> || ...);
}

template <typename Visitor, typename... Classes>
bool AnyOf(MessageList<Classes...>, Visitor&& visit) {
  return (visit(std::type_identity<Classes>()) || ...);
}

template <typename Base, typename Visitor, typename First, typename... Rest>
auto VisitAs(MessageList<First, Rest...>, Base& message, Visitor& visit) {
  using Class = std::conditional_t<std::is_const_v<Base>, const First, First>;
  if (message.Type() == First::s_Type)
    return visit(static_cast<Class&>(message));
  if constexpr (sizeof...(Rest) > 0)
    return VisitAs(MessageList<Rest...>(), message, visit);
  else
    throw std::logic_error(std::string(message.ClassName()) + " is not in the list of message classes");
}

} // namespace classes

/// Calls `visit` with a std::type_identity of each class until it returns true; returns whether it did.
template <typename Visitor>
bool AnyMessageClass(Visitor&& visit) {
  return classes::AnyOf(MessageClasses(), visit);
}

/// Calls `visit` with the message as the class that it is, and returns its result, which is of the same type
/// for all classes. Throws std::logic_error for a class that is not in the list.
template <typename Visitor>
auto VisitMessage(const Message& message, Visitor&& visit) {
  return classes::VisitAs(MessageClasses(), message, visit);
}
template <typename Visitor>
auto VisitMessage(Message& message, Visitor&& visit) {
  return classes::VisitAs(MessageClasses(), message, visit);
}

/// The description of the class of that name; null when there is none.
inline const MessageDescription* FindDescription(std::string_view className) {
  const MessageDescription* found = nullptr;
  (void)AnyMessageClass([&]<typename Class>(std::type_identity<Class>) {
    found = className == Class::k_Description.m_ClassName ? &Class::k_Description : nullptr;
    return found != nullptr;
  });
  return found;
}

} // namespace brenic
