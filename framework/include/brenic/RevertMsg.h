// Takes back what earlier requests changed.
#pragma once

#include "brenic/Message.h"

namespace brenic {

/// Puts back what the requests of these records of the audit trail changed, all together or nothing.
class RevertMsg : public MessageOf<RevertMsg> {
public:
  static constexpr MessageDescription k_Description{
      "RevertMsg",          TypeOf("5f1d9c0e-6f0b-4c57-9a3e-0d7c1d2a9b0c"),
      "revert changes",     Sender::k_Administrator,
      RequestKind::k_Write, false};

  rlib::vector<int64_t> m_Sequences;

  template <typename Self, typename Visitor>
  static void Fields(Self& self, Visitor&& visit) {
    visit("m_Sequences", self.m_Sequences);
  }
};

} // namespace brenic
