// The base of every message between a client and the Master.
#pragma once

#include "brenic/MessageDescription.h"
#include "brenic/Signal1.h"
#include "brenic/Types.h"

namespace brenic {

/// A message is filled on one thread and handed to Messenger::Send, after which it is not changed.
class Message {
public:
  virtual ~Message() = default;

  /// The identifier by which delivery is awaited: fresh for a message made by MessageFactory.
  UID m_ID;

  virtual const MessageDescription& Description() const = 0;

  /// The class's s_Type.
  const UID& Type() const { return Description().m_Type; }
  const char* ClassName() const { return Description().m_ClassName; }

  /// Emits the class's s_Signal with `message`, which must be this object; returns how many slots took it.
  virtual size_t EmitTo(const shared_ptr<Message>& message) const = 0;
};

/// Gives a message class its s_Type and s_Signal. `Class` has a static constexpr `k_Description`, and a
/// static `Fields` that calls a visitor with the name and a reference of each of its fields, of a message or
/// of a const one.
template <typename Class>
class MessageOf : public Message {
public:
  static const UID s_Type;
  static Signal1<const shared_ptr<Class>&> s_Signal;

  const MessageDescription& Description() const override { return Class::k_Description; }
  size_t EmitTo(const shared_ptr<Message>& message) const override {
    return s_Signal.Emit(boost::static_pointer_cast<Class>(message));
  }
};

template <typename Class>
const UID MessageOf<Class>::s_Type = Class::k_Description.m_Type;
template <typename Class>
Signal1<const shared_ptr<Class>&> MessageOf<Class>::s_Signal;

} // namespace brenic
