// The outcome of what can fail for reasons that its caller deals with on the spot: what a user typed, what a
// peer sent, what a file holds.
#pragma once

#include <optional>
#include <type_traits>
#include <utility>
#include <variant>

#include "rlib/String.h"

namespace rlib {

/// Why something could not be done: one line, in words that a user can act on.
class Failure {
public:
  explicit Failure(String reason) : m_Reason(std::move(reason)) {}
  const String& Reason() const { return m_Reason; }

private:
  String m_Reason;
};

/// A value, or why there is none. Made from either. Like a pointer it is tested first, then looked into.
template <typename Value = void>
class [[nodiscard]] Result {
public:
  template <typename Source = Value>
  requires(std::is_convertible_v<Source&&, Value> && !std::is_same_v<std::decay_t<Source>, Failure>)
      Result(Source&& value)
      : m_Outcome(std::in_place_index<0>, std::forward<Source>(value)) {}
  Result(Failure failure) : m_Outcome(std::in_place_index<1>, std::move(failure)) {}

  explicit operator bool() const { return m_Outcome.index() == 0; }
  /// Only when it is true.
  Value& operator*() { return *std::get_if<0>(&m_Outcome); }
  const Value& operator*() const { return *std::get_if<0>(&m_Outcome); }
  Value* operator->() { return std::get_if<0>(&m_Outcome); }
  const Value* operator->() const { return std::get_if<0>(&m_Outcome); }
  /// Only when it is false.
  const Failure& Why() const { return *std::get_if<1>(&m_Outcome); }
  const String& Reason() const { return Why().Reason(); }

private:
  std::variant<Value, Failure> m_Outcome;
};

/// Done, or why not.
template <>
class [[nodiscard]] Result<void> {
public:
  Result() = default;
  Result(Failure failure) : m_Failure(std::move(failure)) {}

  explicit operator bool() const { return !m_Failure; }
  /// Only when it is false.
  const Failure& Why() const { return *m_Failure; }
  const String& Reason() const { return m_Failure->Reason(); }

private:
  std::optional<Failure> m_Failure;
};

} // namespace rlib
