// Requests for an action on the whole system or on a machine.
#pragma once

#include "brenic/Message.h"

namespace brenic {

/// Every process of the farm writes its in-memory trace to a dump file.
class LogDumpMsg : public MessageOf<LogDumpMsg> {
public:
  static constexpr const char* k_ClassName = "LogDumpMsg";
};

/// The whole system ends.
class ShutdownMsg : public MessageOf<ShutdownMsg> {
public:
  static constexpr const char* k_ClassName = "ShutdownMsg";
};

class MachineMsg : public MessageOf<MachineMsg> {
public:
  static constexpr const char* k_ClassName = "MachineMsg";

  enum Command : int { k_Reboot = 1, k_Shutdown = 2 };

  int m_Command = 0;
  UID m_Machine; // null: the Master's own machine
};

} // namespace brenic
