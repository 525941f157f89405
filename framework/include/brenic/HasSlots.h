// The receiving side of signals: who derives from HasSlots can have member functions connected to a Signal1.
//
// Locking: every signal and every receiver has its own mutex; where both are held, the signal's is taken
// first. Either side may be destroyed first and on any thread; its destructor removes it from the other side
// and waits for a slot of the receiver that is running on another thread.
#pragma once

#include <memory>
#include <mutex>
#include <vector>

namespace brenic {

class HasSlotsBase;

/// The part of a signal that receivers refer to. It outlives the signal for as long as a receiver holds it.
class SignalCore {
public:
  virtual ~SignalCore() = default;

  /// Held while the signal's connections are read, changed or emitted to. Recursive, since a slot may connect
  /// and disconnect.
  std::recursive_mutex m_Mutex;

  /// Removes every connection to `receiver`. Takes m_Mutex only, so the caller must not hold a receiver's.
  virtual void Forget(HasSlotsBase& receiver) = 0;
};

class HasSlotsBase {
public:
  HasSlotsBase() = default;
  HasSlotsBase(const HasSlotsBase&) = delete;
  HasSlotsBase& operator=(const HasSlotsBase&) = delete;

  /// How many connections this receiver has.
  size_t SenderCount() const;

protected:
  virtual ~HasSlotsBase();

  /// Disconnects from every signal; returns once no slot of this receiver runs on another thread. A class
  /// whose slots use its own members calls this first in its destructor.
  void DisconnectAll();

private:
  template <typename Arg, typename Policy>
  friend class Signal1;

  void AddSender(const std::shared_ptr<SignalCore>& sender);
  void RemoveSender(const SignalCore* sender);

  mutable std::mutex m_Mutex;
  std::vector<std::shared_ptr<SignalCore>> m_Senders; // one entry per connection
};

namespace ThreadPolicy {

/// Every signal and receiver has a mutex of its own. The framework emits its message signals on the
/// application's main thread only.
struct LocalThreaded {};

} // namespace ThreadPolicy

template <typename Policy>
class HasSlots : public HasSlotsBase {};

} // namespace brenic
