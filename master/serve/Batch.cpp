#include "serve/Batch.h"

#include "wire/Contents.h"

namespace brenic::master {

RequestResult MakeResult(const Request& request, const wire::Answer::Outcome outcome, const String& reason,
                         const Message* reply) {
  std::string bytes;
  if (reply) {
    wire::Frame frame;
    wire::ToWire(*reply, *frame.mutable_message());
    frame.mutable_message()->set_reply_to(wire::IdentifierBytes(request.m_Id));
    bytes = wire::Encode(frame);
  }
  wire::Frame frame;
  frame.mutable_answer()->set_id(wire::IdentifierBytes(request.m_Id));
  frame.mutable_answer()->set_outcome(outcome);
  frame.mutable_answer()->set_reason(reason.str());
  bytes += wire::Encode(frame);
  return {request.m_Session, request.Weight(), std::make_shared<const std::string>(std::move(bytes)),
          nullptr};
}

size_t Batch::Bytes() const {
  size_t bytes = 0;
  for (const RequestResult& result : m_Results)
    bytes += result.m_Frames->size();
  return bytes;
}

void Batch::NoteNews(const Farm& farm, const Judgement& judgement) {
  m_TranslationsChanged |= !judgement.m_Change.m_Translations.IsEmpty();
  const auto& told = judgement.m_ProductsTold;
  if (told.empty() || (judgement.m_Change.m_Products.empty() && judgement.m_Change.m_Defaults.empty()))
    return;
  m_ProductsChanged = true;
  // A hidden default product may come to show with any change.
  if (told.contains(UID::Null) || !farm.m_Products.Hidden().empty())
    m_ChangedProducts.reset();
  else if (m_ChangedProducts)
    m_ChangedProducts->insert(told.begin(), told.end());
}

} // namespace brenic::master
