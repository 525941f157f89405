#include <algorithm>
#include <set>

#include <fmt/core.h>

#include "products/JsonReader.h"
#include "products/JsonText.h"
#include "rlib/Escape.h"

namespace brenic {

namespace {

class Checker : public JsonReader {
public:
  Checker(const std::string& text, int maxDepth)
      : JsonReader(text), m_MaxDepth(static_cast<size_t>(maxDepth)) {}

  bool start_object(size_t) override { return Open(); }
  bool start_array(size_t) override { return Open(); }
  bool end_object() override { return Close(); }
  bool end_array() override { return Close(); }
  bool key(string_t& key) override {
    if (!m_Open.back().insert(key).second)
      return Fail(TokenBegin(),
                  fmt::format("the key \"{}\" stands twice in one object", rlib::Excerpt(key).str()));
    return Done();
  }

private:
  bool Open() {
    if (m_Open.size() == m_MaxDepth)
      return Fail(TokenBegin(), fmt::format("it is more than {} levels deep", m_MaxDepth));
    m_Open.emplace_back();
    return Done();
  }
  bool Close() {
    m_Open.pop_back();
    return Done();
  }

  const size_t m_MaxDepth;
  std::vector<std::set<std::string>> m_Open; // the keys so far of each open object; of a list, none
};

/// Reads up to the value at a place.
class Finder : public JsonReader {
public:
  Finder(const std::string& text, const JsonPath& path) : JsonReader(text), m_Wanted(path) {}

  size_t m_Found = 0;

  bool null() override { return Value() && Next(); }
  bool boolean(bool) override { return Value() && Next(); }
  bool number_integer(number_integer_t) override { return Value() && Next(); }
  bool number_unsigned(number_unsigned_t) override { return Value() && Next(); }
  bool number_float(number_float_t, const string_t&) override { return Value() && Next(); }
  bool string(string_t&) override { return Value() && Next(); }
  bool start_object(size_t) override { return Value() && Open(k_NoIndex); }
  bool start_array(size_t) override { return Value() && Open(0); }
  bool end_object() override { return Close(); }
  bool end_array() override { return Close(); }
  bool key(string_t& key) override {
    m_Path.back() = key;
    return Done();
  }

private:
  static constexpr size_t k_NoIndex = static_cast<size_t>(-1);

  bool Value() {
    if (m_Path != m_Wanted)
      return true;
    m_Found = TokenBegin();
    return false;
  }
  bool Open(size_t index) {
    m_Indexes.push_back(index);
    m_Path.push_back(index == k_NoIndex ? "" : std::to_string(index));
    return Done();
  }
  bool Close() {
    m_Indexes.pop_back();
    m_Path.pop_back();
    return Next();
  }
  /// In a list, the next value has the next index.
  bool Next() {
    if (!m_Indexes.empty() && m_Indexes.back() != k_NoIndex)
      m_Path.back() = std::to_string(++m_Indexes.back());
    return Done();
  }

  const JsonPath& m_Wanted;
  JsonPath m_Path; // of the value that comes next
  std::vector<size_t> m_Indexes;
};

} // namespace

rlib::Result<> CheckJson(const std::string& text, int maxDepth) {
  return Checker(text, maxDepth).Read();
}

std::string PlaceIn(std::string_view text, size_t offset) {
  const std::string_view before = text.substr(0, offset);
  const size_t lineBegin = before.rfind('\n') + 1; // 0 when there is none
  const auto line = std::count(before.begin(), before.end(), '\n') + 1;
  const auto column = std::count_if(before.begin() + static_cast<std::ptrdiff_t>(lineBegin), before.end(),
                                    [](char c) { return static_cast<unsigned char>(c) >> 6 != 2; }) +
                      1;
  return fmt::format("line {}, column {}", line, column);
}

std::string PlaceOf(const std::string& text, const JsonPath& path) {
  Finder finder(text, path);
  // It ends early, without a failure, where it has found it.
  static_cast<void>(finder.Read());
  return PlaceIn(text, finder.m_Found);
}

} // namespace brenic
