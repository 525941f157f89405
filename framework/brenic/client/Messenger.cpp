#include "brenic/Messenger.h"

#include "client/Client.h"

namespace brenic {

void Messenger::SetClientInfo(const UID& id, int kind) {
  Client::Instance().SetInfo(id, kind);
}

void Messenger::Send(const shared_ptr<Message>& message) {
  Client::Instance().Send(message);
}

bool Messenger::WaitForSent(const UID& messageId, float seconds) {
  return Client::Instance().WaitForSent(messageId, seconds);
}

const Time& Messenger::ConnectedTime() {
  return Client::Instance().ConnectedTime();
}

shared_ptr<MasterInfo> Messenger::MasterInfo() {
  return Client::Instance().Info();
}

} // namespace brenic
