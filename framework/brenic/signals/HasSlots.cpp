#include "brenic/HasSlots.h"

#include <algorithm>

namespace brenic {

HasSlotsBase::~HasSlotsBase() {
  DisconnectAll();
}

size_t HasSlotsBase::SenderCount() const {
  std::lock_guard lock(m_Mutex);
  return m_Senders.size();
}

void HasSlotsBase::DisconnectAll() {
  // A sender is asked with this receiver's mutex released: the signal's mutex comes first.
  std::vector<std::shared_ptr<SignalCore>> senders;
  {
    std::lock_guard lock(m_Mutex);
    senders.swap(m_Senders);
  }
  for (const auto& sender : senders)
    sender->Forget(*this);
}

void HasSlotsBase::AddSender(const std::shared_ptr<SignalCore>& sender) {
  std::lock_guard lock(m_Mutex);
  m_Senders.push_back(sender);
}

void HasSlotsBase::RemoveSender(const SignalCore* sender) {
  std::lock_guard lock(m_Mutex);
  const auto found = std::find_if(m_Senders.begin(), m_Senders.end(),
                                  [&](const auto& held) { return held.get() == sender; });
  if (found != m_Senders.end())
    m_Senders.erase(found);
}

} // namespace brenic
