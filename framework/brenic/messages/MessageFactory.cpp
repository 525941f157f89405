#include "brenic/MessageFactory.h"

#include "brenic/MessageClasses.h"

namespace brenic {

shared_ptr<Message> MessageFactory::CreateMessage(const UID& type) {
  shared_ptr<Message> message;
  const bool known = AnyMessageClass([&]<typename Class>(std::type_identity<Class>) {
    if (type == Class::s_Type)
      message = boost::make_shared<Class>();
    return message != nullptr;
  });
  if (!known)
    throw new Exception("There is no message class with the type " + type.ToString());
  message->m_ID = UID(true);
  return message;
}

} // namespace brenic
