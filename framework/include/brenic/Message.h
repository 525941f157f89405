// The base of every message between a client and the Master.
#pragma once

#include "brenic/Signal1.h"
#include "brenic/Types.h"

namespace brenic {

/// A message is filled on one thread and handed to Messenger::Send, after which it is not changed.
class Message {
public:
  virtual ~Message() = default;

  /// The identifier by which delivery is awaited: fresh for a message made by MessageFactory.
  UID m_ID;

  /// The class's s_Type.
  virtual const UID& Type() const = 0;
  virtual const char* ClassName() const = 0;

  /// Emits the class's s_Signal with `message`, which must be this object; returns how many slots took it.
  virtual size_t EmitTo(const shared_ptr<Message>& message) const = 0;
};

/// Gives a message class its s_Type and s_Signal. `Class` has a static `k_ClassName`.
template <typename Class>
class MessageOf : public Message {
public:
  static const UID s_Type;
  static Signal1<const shared_ptr<Class>&> s_Signal;

  const UID& Type() const override { return s_Type; }
  const char* ClassName() const override { return Class::k_ClassName; }
  size_t EmitTo(const shared_ptr<Message>& message) const override {
    return s_Signal.Emit(boost::static_pointer_cast<Class>(message));
  }
};

} // namespace brenic
