// A request as a session hands it to the writer.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "brenic/Message.h"
#include "farm/Change.h"
#include "farm/Peer.h"
#include "wire/Frames.h"

namespace brenic::master {

struct Request {
  uint64_t m_Session = 0;
  std::shared_ptr<const Peer> m_Peer;
  UID m_Id;
  std::shared_ptr<const std::string> m_Bytes; // the encoded message, as it came
  const char* m_Class = nullptr;              // null for contents of a class that this Master does not know
  std::string m_Basis;
  shared_ptr<Message> m_Message;   // null when the contents are unknown or were not decoded
  std::optional<String> m_Refusal; // why it is refused, whatever it holds
  bool m_IsRecorded = true;        // in the audit trail
  size_t m_MaxReply = 0;           // bytes of its reply, at most

  /// Bytes that it may take until it is answered.
  size_t Weight() const { return m_Bytes->size() + m_MaxReply; }
};

/// What the writer is to decide of a message, of which `bytes` are those in which it came. Its contents are
/// taken out of the envelope, but are not decoded where that would cost much and they are refused anyway.
/// Throws wire::Malformed.
Request MakeRequest(uint64_t session, std::shared_ptr<const Peer> peer, wire::Envelope& envelope,
                    std::string bytes);

/// The SHA-256 of the request, as a Master of layout 1 made it: of its bytes decoded and encoded again.
std::string DigestOfLayout1(const Request& request);

/// What the audit trail keeps of the request beside the change that the request made: its bytes, or null
/// where it is known by its digest and size alone. Those are large requests and contents that were not
/// decoded; a list and a product unless they are very short, for the change tells all of them, a list in much
/// less space. Of options that are large together a message with the small ones is kept, which has fewer
/// bytes than the request.
std::shared_ptr<const std::string> KeptBytes(const Request& request, const Change& change);

} // namespace brenic::master
