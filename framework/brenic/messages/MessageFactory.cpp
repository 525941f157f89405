#include "brenic/MessageFactory.h"

#include "brenic/PathTranslationsMsg.h"
#include "brenic/ProductMessages.h"
#include "brenic/SettingsMessages.h"
#include "brenic/SystemMessages.h"

namespace brenic {

namespace {

UID Parse(const char* text) {
  UID id;
  if (!id.FromString(text))
    throw new Exception(String("Not an identifier: ") + text);
  return id;
}

} // namespace

// Each class's type identifier. Once released, one is never used for another class.
#define BRENIC_MESSAGE(Class, type)                                                                          \
  template <>                                                                                                \
  const UID MessageOf<Class>::s_Type = Parse(type);                                                          \
  template <>                                                                                                \
  Signal1<const shared_ptr<Class>&> MessageOf<Class>::s_Signal {}

BRENIC_MESSAGE(SetMasterOptionsMsg, "5f1d9c0e-6f0b-4c57-9a3e-0d7c1d2a9b01");
BRENIC_MESSAGE(GetMasterOptionsMsg, "5f1d9c0e-6f0b-4c57-9a3e-0d7c1d2a9b02");
BRENIC_MESSAGE(SetMasterLimitsMsg, "5f1d9c0e-6f0b-4c57-9a3e-0d7c1d2a9b03");
BRENIC_MESSAGE(SetMasterRestrictionsMsg, "5f1d9c0e-6f0b-4c57-9a3e-0d7c1d2a9b04");
BRENIC_MESSAGE(PathTranslationsMsg, "5f1d9c0e-6f0b-4c57-9a3e-0d7c1d2a9b05");
BRENIC_MESSAGE(ProductMsg, "5f1d9c0e-6f0b-4c57-9a3e-0d7c1d2a9b06");
BRENIC_MESSAGE(RemoveProductMsg, "5f1d9c0e-6f0b-4c57-9a3e-0d7c1d2a9b07");
BRENIC_MESSAGE(EndProductsMsg, "5f1d9c0e-6f0b-4c57-9a3e-0d7c1d2a9b08");
BRENIC_MESSAGE(LogDumpMsg, "5f1d9c0e-6f0b-4c57-9a3e-0d7c1d2a9b09");
BRENIC_MESSAGE(ShutdownMsg, "5f1d9c0e-6f0b-4c57-9a3e-0d7c1d2a9b0a");
BRENIC_MESSAGE(MachineMsg, "5f1d9c0e-6f0b-4c57-9a3e-0d7c1d2a9b0b");

#undef BRENIC_MESSAGE

namespace {

template <typename... Classes>
shared_ptr<Message> Make(const UID& type) {
  shared_ptr<Message> message;
  (void)((type == Classes::s_Type && (message = boost::make_shared<Classes>())) || ...);
  return message;
}

} // namespace

shared_ptr<Message> MessageFactory::CreateMessage(const UID& type) {
  const auto message = Make<SetMasterOptionsMsg, GetMasterOptionsMsg, SetMasterLimitsMsg,
                            SetMasterRestrictionsMsg, PathTranslationsMsg, ProductMsg, RemoveProductMsg,
                            EndProductsMsg, LogDumpMsg, ShutdownMsg, MachineMsg>(type);
  if (!message)
    throw new Exception("There is no message class with the type " + type.ToString());
  message->m_ID = UID(true);
  return message;
}

} // namespace brenic
