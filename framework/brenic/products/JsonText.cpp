#include "products/JsonText.h"

#include "products/JsonReader.h"

namespace brenic {

namespace {

using nlohmann::json;

std::string Quoted(const std::string& text) {
  return json(text).dump();
}

class LayoutWriter : public JsonReader {
public:
  LayoutWriter(const std::string& text, bool compact) : JsonReader(text), m_Compact(compact) {}

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
    return Done();
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
    return Done();
  }
  bool Open(char bracket) {
    Separate();
    m_Out += bracket;
    m_Filled.push_back(false);
    return Done();
  }
  bool Close(char bracket) {
    const bool filled = m_Filled.back();
    m_Filled.pop_back();
    if (filled)
      Break(m_Filled.size());
    m_Out += bracket;
    return Done();
  }

  const bool m_Compact;
  bool m_AfterKey = false;
  std::vector<bool> m_Filled; // for each open list or object: whether something stands in it
};

} // namespace

std::string LayOut(const std::string& document, bool compact) {
  LayoutWriter writer(document, compact);
  if (const rlib::Result<> read = writer.Read(); !read)
    throw new Exception("The product's document cannot be read: " + read.Reason());
  if (!compact)
    writer.m_Out += '\n';
  return std::move(writer.m_Out);
}

std::string WithoutLayout(std::string_view text, size_t most) {
  std::string out;
  bool isQuoted = false;
  bool isEscaped = false;
  for (const char c : text) {
    if (out.size() == most)
      break;
    if (!isQuoted && (c == ' ' || c == '\t' || c == '\r' || c == '\n'))
      continue;
    out += c;
    if (c == '"' && !isEscaped)
      isQuoted = !isQuoted;
    isEscaped = isQuoted && c == '\\' && !isEscaped;
  }
  return out;
}

} // namespace brenic
