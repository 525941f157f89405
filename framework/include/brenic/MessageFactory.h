// Makes messages by their type identifier.
#pragma once

#include "brenic/MessageClasses.h"

namespace brenic {

class MessageFactory {
public:
  /// A new, default-filled message with a fresh identifier. Throws Exception* for an unknown type.
  static shared_ptr<Message> CreateMessage(const UID& type);

  /// The same, as the class itself.
  template <typename Class>
  static shared_ptr<Class> Create() {
    static_assert(classes::IsIn<Class>(MessageClasses()), "the class is not in the list of message classes");
    return boost::static_pointer_cast<Class>(CreateMessage(Class::s_Type));
  }
};

} // namespace brenic
