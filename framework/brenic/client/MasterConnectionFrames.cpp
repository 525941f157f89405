// The part of a connection to the Master that takes what the Master sends.
#include <fmt/core.h>

#include "client/MasterConnection.h"
#include "rlib/Log.h"
#include "wire/Contents.h"
#include "wire/Versions.h"

namespace brenic {

namespace {

constexpr char k_UseMatchingRelease[] = "use a release of this program that goes with the Master's";

} // namespace

void MasterConnection::OnFrame(wire::Frame& frame) {
  switch (frame.body_case()) {
  case wire::Frame::kWelcome:
    return OnWelcome(frame.welcome());
  case wire::Frame::kGoodbye:
    return OnGoodbye(frame.goodbye());
  default:
    if (!m_Welcomed)
      throw wire::Malformed("a frame before the welcome");
  }
  switch (frame.body_case()) {
  case wire::Frame::kProducts:
    return OnProducts(frame.products());
  case wire::Frame::kMessage:
    return OnMessage(*frame.mutable_message());
  case wire::Frame::kAnswer:
    return OnAnswer(frame.answer());
  default:
    throw wire::Malformed("a frame that a Master does not send");
  }
}

void MasterConnection::OnWelcome(const wire::Welcome& welcome) {
  if (m_Welcomed)
    throw wire::Malformed("a second welcome");
  if (!wire::k_SpokenVersions.Has(welcome.protocol_version()))
    return End(fmt::format("{} answers in version {} of the protocol; it speaks {}, this program {}; {}",
                           Where().str(), welcome.protocol_version(), wire::Words(wire::SpokenBy(welcome)),
                           wire::Words(wire::k_SpokenVersions), k_UseMatchingRelease));
  const UID id = wire::Identifier(welcome.id());
  if (m_MasterId && *m_MasterId != id)
    return End(Where() + " is another Master now; check which one runs there");
  m_MasterId = id;
  m_Welcomed = true;
  m_State = State::k_Open;
  m_AttemptTimer.cancel();
  if (!m_Restoring)
    m_GiveUpTimer.cancel();
  m_Reported = k_Empty;
  m_ProductsComplete = false;
  m_StagedProducts.reset();

  const auto info = boost::make_shared<MasterInfo>();
  info->m_ID = id;
  info->m_Name = welcome.name();
  info->m_Version = welcome.version();
  info->m_Released = Time(welcome.released());
  info->m_Started = Time(welcome.started());
  info->m_DefaultIdleTimeout = welcome.default_idle_timeout();
  info->m_Message = welcome.message();
  m_Events.Push(Connected{info});
  SendAgain();
  WatchWait();
}

void MasterConnection::OnGoodbye(const wire::Goodbye& goodbye) {
  const std::string text =
      goodbye.text().empty() ? "it gives no reason; ask its administrator" : goodbye.text();
  switch (goodbye.reason()) {
  case wire::Goodbye::REJECTED:
    return End(fmt::format("{} does not let this client in{}: {}", Where().str(),
                           m_MasterId ? " any more" : "", text));
  case wire::Goodbye::PROTOCOL_VERSION:
    return End(fmt::format("{} closed the connection: {}; {}", Where().str(), text, k_UseMatchingRelease));
  case wire::Goodbye::PROTOCOL_ERROR:
    return End(fmt::format("{} closed the connection: {}; {}", Where().str(), text, k_CompareVersions));
  default:
    break; // for now; the end of the stream follows
  }
  m_Stream->Close();
  if (m_Welcomed)
    Lost({text, false, {}});
  else
    AttemptFailed({text, false});
}

void MasterConnection::OnProducts(const wire::Products& products) {
  if (products.unchanged())
    return;
  if (!m_StagedProducts)
    m_StagedProducts.emplace();
  for (const wire::Product& product : products.products())
    m_StagedProducts->push_back(wire::FromWire(product));
}

void MasterConnection::OnMessage(wire::Envelope& envelope) {
  auto request = m_Requests.end();
  if (!envelope.reply_to().empty()) {
    request = Find(wire::Identifier(envelope.reply_to()));
    if (request == m_Requests.end() || request->m_Replied)
      return rlib::LogDebug("Dropped a reply to a request that has one");
  } else if (envelope.has_set_master_options()) {
    return rlib::LogWarning("Dropped options that were not asked for");
  }
  const shared_ptr<Message> message = wire::FromWire(envelope);
  if (!message)
    return rlib::LogInfo("Skipped a message of a class that this program does not know");
  if (request != m_Requests.end())
    request->m_Replied = true;

  // The list is no longer the one of that name, nor yet the next.
  if (envelope.has_product() || envelope.has_remove_product())
    m_ProductsDigest.clear();
  Arrived arrived{message, std::nullopt};
  if (envelope.has_shutdown())
    m_ShuttingDown = true;
  if (envelope.has_end_products()) {
    arrived.m_Products = std::exchange(m_StagedProducts, std::nullopt);
    m_ProductsDigest = envelope.end_products().digest();
    m_ProductsComplete = true;
    m_Restoring = false;
    m_Pause = m_Options.m_Timing.m_FirstPause;
    m_GiveUpTimer.cancel();
  }
  m_Events.Push(std::move(arrived));
  WatchWait();
}

void MasterConnection::OnAnswer(const wire::Answer& answer) {
  const auto request = Find(wire::Identifier(answer.id()));
  if (request == m_Requests.end())
    return rlib::LogDebug("Dropped an answer to no request");
  Outcome outcome = Outcome::k_Unknown;
  if (answer.outcome() == wire::Answer::COMMITTED)
    outcome = Outcome::k_Committed;
  else if (answer.outcome() == wire::Answer::REFUSED)
    outcome = Outcome::k_Refused;
  if (request->m_IsShutdown && outcome == Outcome::k_Committed)
    m_ShuttingDown = true;
  m_Events.Push(Answered{request->m_Id, outcome, answer.reason(), request->m_Replied});
  m_Requests.erase(request);
  WatchWait();
}

} // namespace brenic
