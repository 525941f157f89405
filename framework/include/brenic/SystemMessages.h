// Requests for an action on the whole system or on a machine.
#pragma once

#include "brenic/Message.h"

namespace brenic {

/// Every process of the farm writes its in-memory trace to a dump file.
class LogDumpMsg : public MessageOf<LogDumpMsg> {
public:
  static constexpr MessageDescription k_Description{"LogDumpMsg",
                                                    TypeOf("5f1d9c0e-6f0b-4c57-9a3e-0d7c1d2a9b09"),
                                                    "dump the logs",
                                                    Sender::k_Both,
                                                    RequestKind::k_Operation,
                                                    false};

  template <typename Self, typename Visitor>
  static void Fields(Self&, Visitor&&) {}
};

/// The whole system ends.
class ShutdownMsg : public MessageOf<ShutdownMsg> {
public:
  static constexpr MessageDescription k_Description{"ShutdownMsg",
                                                    TypeOf("5f1d9c0e-6f0b-4c57-9a3e-0d7c1d2a9b0a"),
                                                    "shut the system down",
                                                    Sender::k_Both,
                                                    RequestKind::k_Operation,
                                                    true};

  template <typename Self, typename Visitor>
  static void Fields(Self&, Visitor&&) {}
};

class MachineMsg : public MessageOf<MachineMsg> {
public:
  static constexpr MessageDescription k_Description{"MachineMsg",
                                                    TypeOf("5f1d9c0e-6f0b-4c57-9a3e-0d7c1d2a9b0b"),
                                                    "reboot or shut down its machine",
                                                    Sender::k_Administrator,
                                                    RequestKind::k_Operation,
                                                    true};

  enum Command : int { k_Reboot = 1, k_Shutdown = 2 };

  int m_Command = 0;
  UID m_Machine; // null: the Master's own machine

  template <typename Self, typename Visitor>
  static void Fields(Self& self, Visitor&& visit) {
    visit("command", self.m_Command);
    visit("machine", self.m_Machine);
  }
};

} // namespace brenic
