// What the writer hands to the sessions.
#pragma once

#include "farm/Judgement.h"
#include "serve/Request.h"
#include "serve/Snapshot.h"
#include "wire/Frames.h"

namespace brenic::master {

/// What became of a request.
struct RequestResult {
  uint64_t m_Session = 0;
  size_t m_Weight = 0;             // of the request
  Bytes m_Frames;                  // a reply, if any, and the Answer
  shared_ptr<Message> m_Operation; // to be carried out now: its first commit
};

/// With the Answer, behind the reply if there is one.
RequestResult MakeResult(const Request& request, wire::Answer::Outcome outcome, const String& reason,
                         const Message* reply);

/// What one commit brought, in the order of the requests.
struct Batch {
  size_t Bytes() const; // of all frames
  /// Notes what sessions are to be told of what the judgement does. To be called before the farm takes its
  /// change.
  void NoteNews(const Farm& farm, const Judgement& judgement);

  std::vector<RequestResult> m_Results;
  std::shared_ptr<const Snapshot> m_Snapshot; // as it is with this commit and none after it
  bool m_TranslationsChanged = false;
  bool m_ProductsChanged = false;
  bool m_CertificatesChanged = false; // of the Master or of its clients
  /// The types whose products changed; without a value, any may have.
  std::optional<std::set<UID>> m_ChangedProducts = std::set<UID>();
};

} // namespace brenic::master
