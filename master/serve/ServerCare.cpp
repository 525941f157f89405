// What the running Master does as time goes by: the clock, its sockets, certificates that end, who was seen
// when, the refusals of each minute.
#include <fmt/core.h>

#include "brenic/ManagementMessages.h"
#include "brenic/MessageFactory.h"
#include "rlib/Escape.h"
#include "rlib/Log.h"
#include "serve/Admission.h"
#include "serve/Server.h"
#include "wire/Contents.h"

namespace brenic::master {

std::optional<Request> Server::RenewalIfDue() {
  if (!m_Care.m_IsDue || m_Clock->IsInDoubt() || !m_Care.m_IsDue(*m_Directory, m_Clock->Now()))
    return std::nullopt;
  wire::Envelope envelope;
  wire::ToWire(*MessageFactory::Create<RenewMasterMsg>(), envelope);
  std::string bytes = envelope.SerializeAsString();
  return MakeRequest(0, std::make_shared<const Peer>(Peer::TheMaster()), envelope, std::move(bytes));
}

void Server::LookAtTime() {
  const int64_t now = m_Clock->Now();
  const bool isInDoubt = m_Clock->IsInDoubt();
  const auto news = m_Clock->News();
  if (news)
    rlib::Report(isInDoubt ? rlib::Log::k_Error : rlib::Log::k_System, *news);
  if (!isInDoubt) {
    EndWhatHasEnded(now);
    LookAfterCertificates(now);
  }
  KeepTimeWhenDue(news.has_value());
  if (!m_Ending)
    MendListeners();
  m_LookTimer.expires_after(m_LookEvery);
  m_LookTimer.async_wait([this](const error_code& cancelled) {
    if (!cancelled && !m_Finished) // it may have run out just before it was cancelled
      LookAtTime();
  });
}

/// A cleaner of old files may have taken a local socket away.
void Server::MendListeners() {
  for (const auto& listener : m_Listeners) {
    const rlib::Result<bool> mended = listener->Mend();
    const String problem = mended ? String() : mended.Reason();
    if (mended && *mended)
      rlib::LogWarning("The local socket was taken away, and is made anew: " + listener->Address());
    if (std::exchange(m_NotMended[listener.get()], problem) != problem && !problem.empty())
      rlib::LogError("The local socket was taken away, and cannot be made anew: " + listener->Address() +
                     ": " + problem);
  }
}

void Server::EndWhatHasEnded(int64_t now) {
  for (const auto& session : Sessions()) {
    const auto guest = m_Sessions.find(session->Number());
    if (guest == m_Sessions.end() || !guest->second.m_Expires || *guest->second.m_Expires > now)
      continue;
    const std::string& serial = session->Client().m_Key;
    if (const auto why = WhyRefused(serial, m_Directory->FindClient(serial), now))
      session->Dismiss(*why);
  }
}

void Server::DismissWhoMayNotStay() {
  for (const auto& session : Sessions()) {
    const Peer& peer = session->Client();
    const auto guest = m_Sessions.find(session->Number());
    if (guest == m_Sessions.end() || peer.IsLocal())
      continue;
    const auto client = m_Directory->FindClient(peer.m_Key);
    if (const auto why = WhyRefused(peer.m_Key, client, m_Clock->Now()))
      session->Dismiss(*why);
    else if (client->m_Role != peer.m_Role)
      session->Dismiss(fmt::format("The role of '{}' has changed: it is {} now; connect again",
                                   rlib::Excerpt(client->m_Name).str(), RoleName(client->m_Role)));
    else if (client->m_Expires)
      guest->second.m_Expires = client->m_Expires;
  }
}

void Server::LookAfterCertificates(int64_t now) {
  const int64_t running = m_Clock->Running();
  if (running < m_NextCare)
    return;
  m_NextCare = running + TrustedClock::k_Hour;
  if (auto due = RenewalIfDue())
    m_Writer.Submit(std::move(*due));
  if (!m_Care.m_EndingSoon)
    return;
  for (const String& line : m_Care.m_EndingSoon(*m_Directory, now))
    rlib::LogWarning(line);
}

/// Once an hour, and when the clock has come into doubt or out of it.
void Server::KeepTimeWhenDue(bool hasNews) {
  const int64_t running = m_Clock->Running();
  if (running >= m_NextSightings)
    KeepSightings();
  if (running >= m_NextKeeping || hasNews)
    KeepTime();
}

/// What a start goes by.
void Server::KeepTime() {
  m_NextKeeping = m_Clock->Running() + TrustedClock::k_Hour;
  m_Writer.Perform("What is known of the time",
                   [clock = m_Clock->Record()](Store& store) { store.SetClock(clock); });
}

void Server::Welcomed(const Peer& peer) {
  if (!peer.IsLocal())
    m_Sightings[peer.m_Key] = {m_Clock->Now(), peer.m_Address, peer.m_Program, peer.m_Version};
}

void Server::KeepSightings() {
  constexpr int64_t k_Minute = 60 * 1000;
  m_NextSightings = m_Clock->Running() + k_Minute;
  if (m_Sightings.empty())
    return;
  m_Writer.Perform("The times when clients were seen",
                   [sightings = std::exchange(m_Sightings, {})](Store& store) {
                     for (const auto& [serial, seen] : sightings)
                       store.SetLastSeen(serial, seen);
                   });
}

void Server::WatchRefusals() {
  m_RefusalTimer.expires_after(std::chrono::minutes(1));
  m_RefusalTimer.async_wait([this](const error_code& cancelled) {
    if (cancelled)
      return;
    RecordRefusals();
    if (!m_Refusals.IsEmpty())
      WatchRefusals();
  });
}

void Server::RecordRefusals() {
  for (Request& request : m_Refusals.Minute())
    m_Writer.Submit(std::move(request));
}

} // namespace brenic::master
