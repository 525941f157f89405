// Reading JSON text with its places: what the library's values would lose.
#pragma once

#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "rlib/Result.h"

namespace brenic {

/// What the readers of a text have in common. Each event says at its end that its token is done with.
class JsonReader : public nlohmann::json_sax<nlohmann::json> {
public:
  /// The text must live as long as the reader.
  explicit JsonReader(const std::string& text) : m_Text(text), m_Read(text.data()) {}

  /// Fails, with the place, unless the text is one JSON value and all of it was taken.
  rlib::Result<> Read();

  bool parse_error(size_t position, const std::string& token,
                   const nlohmann::json::exception& error) override;
  bool binary(binary_t&) override { return false; } // JSON text has none

  // A reader overrides those values in which it is interested.
  bool null() override { return Done(); }
  bool boolean(bool) override { return Done(); }
  bool number_integer(number_integer_t) override { return Done(); }
  bool number_unsigned(number_unsigned_t) override { return Done(); }
  bool number_float(number_float_t, const string_t&) override { return Done(); }
  bool string(string_t&) override { return Done(); }

protected:
  /// Where the token of the present event begins.
  size_t TokenBegin() const;
  /// The token was taken; true, for the event to return.
  bool Done();
  /// Ends the reading; false, for the event to return.
  bool Fail(size_t offset, const std::string& reason);

private:
  const std::string& m_Text;
  const char* m_Read; // up to here the library has read
  size_t m_LastEnd = 0;
  std::optional<rlib::Failure> m_Failure;
};

} // namespace brenic
