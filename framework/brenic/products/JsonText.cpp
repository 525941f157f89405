#include "products/JsonText.h"

#include <algorithm>
#include <optional>
#include <set>
#include <vector>

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include "rlib/Escape.h"

namespace brenic {

namespace {

using nlohmann::json;
using rlib::Failure;
using rlib::Result;

std::string Quoted(const std::string& text) {
  return json(text).dump();
}

/// What both readers of a text have in common: a place in the document, and how they end.
class TextReader : public nlohmann::json_sax<json> {
public:
  /// Why the reading ended early; only when it did.
  const Failure& Why() const { return *m_Failure; }

  bool parse_error(size_t position, const std::string&, const json::exception& error) override {
    return FailNotJson(Reason(error.what()), position);
  }
  /// Bytes are counted from 1.
  bool FailNotJson(const std::string& reason, size_t byte) {
    return Fail(fmt::format("it is no JSON: {} (byte {})", reason, byte));
  }
  bool binary(binary_t&) override { return Fail("it holds binary data"); } // JSON text has none

protected:
  /// Ends the reading.
  bool Fail(const std::string& reason) {
    m_Failure.emplace(reason);
    return false;
  }

private:
  /// The library's message without its own error numbers and positions.
  static std::string Reason(const std::string& what) {
    const size_t number = what.find("] ");
    const size_t dashes = what.find(" - ");
    const size_t colon = what.find(": ");
    const size_t start = dashes != std::string::npos   ? dashes + 3
                         : colon != std::string::npos  ? colon + 2
                         : number != std::string::npos ? number + 2
                                                       : 0;
    return rlib::EscapeControls(what.substr(start, 200)).str();
  }

  std::optional<Failure> m_Failure;
};

class Checker : public TextReader {
public:
  explicit Checker(int maxDepth) : m_MaxDepth(static_cast<size_t>(maxDepth)) {}

  bool null() override { return true; }
  bool boolean(bool) override { return true; }
  bool number_integer(number_integer_t) override { return true; }
  bool number_unsigned(number_unsigned_t) override { return true; }
  bool number_float(number_float_t, const string_t&) override { return true; }
  bool string(string_t&) override { return true; }
  bool start_object(size_t) override { return Open(); }
  bool start_array(size_t) override { return Open(); }
  bool end_object() override { return Close(); }
  bool end_array() override { return Close(); }
  bool key(string_t& key) override {
    if (m_Open.back().insert(key).second)
      return true;
    return Fail(fmt::format("the key {} stands twice in one object", Quoted(key)));
  }

private:
  bool Open() {
    if (m_Open.size() == m_MaxDepth)
      return Fail(fmt::format("it is more than {} levels deep", m_MaxDepth));
    m_Open.emplace_back();
    return true;
  }
  bool Close() {
    m_Open.pop_back();
    return true;
  }

  const size_t m_MaxDepth;
  std::vector<std::set<std::string>> m_Open; // the keys so far of each open object; of a list, none
};

class LayoutWriter : public TextReader {
public:
  explicit LayoutWriter(bool compact) : m_Compact(compact) {}

  std::string m_Out;

  bool null() override { return Put("null"); }
  bool boolean(bool value) override { return Put(value ? "true" : "false"); }
  bool number_integer(number_integer_t value) override { // only for what has a minus sign
    return Put(value == 0 ? "-0" : std::to_string(value));
  }
  bool number_unsigned(number_unsigned_t value) override { return Put(std::to_string(value)); }
  bool number_float(number_float_t, const string_t& digits) override { return Put(digits); }
  bool string(string_t& value) override { return Put(Quoted(value)); }
  bool start_object(size_t) override { return Open('{'); }
  bool start_array(size_t) override { return Open('['); }
  bool end_object() override { return Close('}'); }
  bool end_array() override { return Close(']'); }
  bool key(string_t& key) override {
    Separate();
    m_Out += Quoted(key) + (m_Compact ? ":" : ": ");
    m_AfterKey = true;
    return true;
  }

private:
  void Break(size_t level) {
    if (!m_Compact)
      m_Out.append("\n").append(2 * level, ' ');
  }
  void Separate() {
    if (m_AfterKey) {
      m_AfterKey = false;
      return;
    }
    if (m_Filled.empty())
      return;
    if (m_Filled.back())
      m_Out += ',';
    m_Filled.back() = true;
    Break(m_Filled.size());
  }
  bool Put(const std::string& value) {
    Separate();
    m_Out += value;
    return true;
  }
  bool Open(char bracket) {
    Separate();
    m_Out += bracket;
    m_Filled.push_back(false);
    return true;
  }
  bool Close(char bracket) {
    const bool filled = m_Filled.back();
    m_Filled.pop_back();
    if (filled)
      Break(m_Filled.size());
    m_Out += bracket;
    return true;
  }

  const bool m_Compact;
  bool m_AfterKey = false;
  std::vector<bool> m_Filled; // for each open list or object: whether something stands in it
};

/// Fails unless the text is one JSON value that the reader takes.
Result<> Read(const std::string& text, TextReader& reader) {
  // The library takes a NUL byte for the end of the text, whatever follows.
  const size_t nul = text.find('\0');
  bool taken = json::sax_parse(text.data(), text.data() + std::min(nul, text.size()), &reader);
  if (taken && nul != std::string::npos)
    taken = reader.FailNotJson("a NUL byte", nul + 1);
  if (!taken)
    return reader.Why();
  return {};
}

} // namespace

Result<> CheckJson(const std::string& text, int maxDepth) {
  Checker checker(maxDepth);
  return Read(text, checker);
}

std::string LayOut(const std::string& document, bool compact) {
  LayoutWriter writer(compact);
  if (const Result<> read = Read(document, writer); !read)
    throw new Exception("The product's document cannot be read: " + read.Reason());
  if (!compact)
    writer.m_Out += '\n';
  return std::move(writer.m_Out);
}

} // namespace brenic
