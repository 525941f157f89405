// A signal with one argument, and the connection of a receiver's member function to it.
#pragma once

#include <algorithm>

#include "brenic/HasSlots.h"

namespace brenic {

/// What a signal holds per connected slot. The receiver outlives the connection's place in a signal's list.
template <typename Arg, typename Policy>
class ConnectionBase1 {
public:
  virtual ~ConnectionBase1() = default;
  virtual HasSlots<Policy>* GetSlots() const = 0;
  virtual void Emit(Arg arg) = 0;
  /// The same member function on another receiver, which must be of the same class.
  virtual std::shared_ptr<ConnectionBase1> Duplicate(HasSlots<Policy>* receiver) const = 0;
};

template <typename Receiver, typename Arg, typename Policy>
class Connection1 : public ConnectionBase1<Arg, Policy> {
public:
  using Slot = void (Receiver::*)(Arg);

  Connection1(Receiver* receiver, Slot slot) : m_Slots(receiver), m_Receiver(receiver), m_Slot(slot) {}

  HasSlots<Policy>* GetSlots() const override { return m_Slots; }
  void Emit(Arg arg) override { (m_Receiver->*m_Slot)(arg); }
  std::shared_ptr<ConnectionBase1<Arg, Policy>> Duplicate(HasSlots<Policy>* receiver) const override {
    return std::make_shared<Connection1>(static_cast<Receiver*>(receiver), m_Slot);
  }

private:
  HasSlots<Policy>* m_Slots; // kept apart: asked for also while the receiver is being destroyed
  Receiver* m_Receiver;
  Slot m_Slot;
};

/// Calls its connected slots in the order of connection. Safe from every thread; a slot may connect,
/// disconnect, emit, or destroy its own or another receiver. What is connected during an emission is not
/// called by it; what is disconnected is not called any more.
template <typename Arg, typename Policy = ThreadPolicy::LocalThreaded>
class Signal1 {
public:
  using Connection = ConnectionBase1<Arg, Policy>;

  Signal1() : m_Core(std::make_shared<Core>()) {}
  Signal1(const Signal1&) = delete;
  Signal1& operator=(const Signal1&) = delete;

  ~Signal1() {
    std::lock_guard lock(m_Core->m_Mutex);
    for (const auto& connection : m_Core->m_Connections)
      connection->GetSlots()->RemoveSender(m_Core.get());
    m_Core->m_Connections.clear();
  }

  template <typename Receiver>
  void Connect(Receiver* receiver, void (Receiver::*slot)(Arg)) {
    Add(std::make_shared<Connection1<Receiver, Arg, Policy>>(receiver, slot));
  }

  void Disconnect(HasSlots<Policy>* receiver) {
    std::lock_guard lock(m_Core->m_Mutex);
    const size_t before = m_Core->m_Connections.size();
    m_Core->Forget(*receiver);
    for (size_t removed = before - m_Core->m_Connections.size(); removed > 0; --removed)
      receiver->RemoveSender(m_Core.get());
  }

  /// Connects to `copy` what is connected to `original`, which is of the same class.
  void Duplicate(HasSlots<Policy>* original, HasSlots<Policy>* copy) {
    std::lock_guard lock(m_Core->m_Mutex);
    const auto connections = m_Core->m_Connections;
    for (const auto& connection : connections) {
      if (connection->GetSlots() == original)
        Add(connection->Duplicate(copy));
    }
  }

  /// Returns how many slots were called.
  size_t Emit(Arg arg) {
    const auto core = m_Core; // a slot may destroy this signal
    std::lock_guard lock(core->m_Mutex);
    const auto connections = core->m_Connections;
    size_t called = 0;
    for (const auto& connection : connections) {
      const auto& current = core->m_Connections;
      if (std::find(current.begin(), current.end(), connection) == current.end())
        continue;
      connection->Emit(arg);
      ++called;
    }
    return called;
  }

private:
  struct Core : SignalCore {
    std::vector<std::shared_ptr<Connection>> m_Connections;

    void Forget(HasSlotsBase& receiver) override {
      std::lock_guard lock(m_Mutex);
      std::erase_if(m_Connections, [&](const auto& connection) {
        return static_cast<HasSlotsBase*>(connection->GetSlots()) == &receiver;
      });
    }
  };

  void Add(std::shared_ptr<Connection> connection) {
    std::lock_guard lock(m_Core->m_Mutex);
    m_Core->m_Connections.push_back(connection);
    connection->GetSlots()->AddSender(m_Core);
  }

  std::shared_ptr<Core> m_Core;
};

} // namespace brenic
