#include "serve/Alone.h"

#include <unistd.h>

#include "serve/Users.h"
#include "store/SqliteStore.h"
#include "wire/Contents.h"

namespace brenic::master {

std::string DecideAlone(const Path& folder, const Message& message, const CertificateCare& care) {
  auto peer = std::make_shared<Peer>();
  peer->m_Key = UserKey(geteuid());
  peer->m_Name = UserName(geteuid());
  peer->m_Role = Role::k_Administrator;
  peer->m_Address = "brenic-master";
  peer->m_Manages = true;

  wire::Envelope envelope;
  wire::ToWire(message, envelope);
  std::string bytes = envelope.SerializeAsString();
  const Request request = MakeRequest(0, peer, envelope, std::move(bytes));

  auto store = std::make_unique<SqliteStore>(folder, Database::Mode::k_ReadWrite);
  const auto clock = ClockOf(*store);
  // Before anything is recorded, the time of which tells nothing while the clock is in doubt.
  TryToStore("What is known of the time", [&] { store->SetClock(clock->Record()); });
  Writer writer(std::move(store),
                {.m_Run = UID(true).ToString().str(), .m_Manage = care.m_Manage, .m_Clock = clock});
  return *writer.DecideNow({&request, 1}).m_Results.front().m_Frames;
}

} // namespace brenic::master
