#include "products/MisspeltMembers.h"

#include <algorithm>

#include "ProductSchema.h"
#include "products/JsonReader.h"
#include "products/JsonText.h"

namespace brenic {

namespace {

using nlohmann::json;

/// The members that the schema knows of the objects that it knows.
struct KnownMembers {
  using Names = std::vector<std::string>;
  Names m_Product, m_Parameter, m_Executables;

  KnownMembers() {
    const json properties = json::parse(k_ProductSchema)["properties"];
    m_Product = NamesIn(properties);
    m_Parameter = NamesIn(properties["parameters"]["items"]["properties"]);
    m_Executables = NamesIn(properties["executables"]["properties"]);
  }

private:
  static Names NamesIn(const json& properties) {
    Names names;
    for (const auto& entry : properties.items())
      names.push_back(entry.key());
    return names;
  }
};

constexpr size_t k_Far = 2;

/// How far a member may be from the known one that is meant by it. Of a short one, most are something else.
size_t Reach(const std::string& known) {
  return known.size() < 4 ? 0 : known.size() < 6 ? 1 : k_Far;
}

class Reader : public JsonReader {
public:
  explicit Reader(const std::string& text) : JsonReader(text) {}

  std::vector<MisspeltMember> m_Found;

  bool start_object(size_t) override { return Open(); }
  bool start_array(size_t) override { return Open(); }
  bool end_object() override { return Close(); }
  bool end_array() override { return Close(); }
  bool key(string_t& key) override {
    m_Path.back() = key;
    if (const KnownMembers::Names* const known = Known())
      Look(key, *known);
    return Done();
  }

private:
  bool Open() {
    m_Path.emplace_back();
    return Done();
  }
  bool Close() {
    m_Path.pop_back();
    return Done();
  }

  /// Of the object that is open; null for one of which nothing is known.
  const KnownMembers::Names* Known() const {
    static const KnownMembers s_Known;
    const size_t depth = m_Path.size();
    return depth == 1                                                          ? &s_Known.m_Product
           : depth == 2 && m_Path.front() == "executables"                     ? &s_Known.m_Executables
           : depth == 3 && m_Path.front() == "parameters" && m_Path[1].empty() ? &s_Known.m_Parameter
                                                                               : nullptr;
  }

  void Look(const std::string& member, const KnownMembers::Names& known) {
    if (std::find(known.begin(), known.end(), member) != known.end())
      return;
    size_t nearest = k_Far + 1;
    const std::string* meant = nullptr;
    for (const std::string& each : known) {
      const size_t longer = std::max(member.size(), each.size());
      const size_t shorter = std::min(member.size(), each.size());
      if (longer - shorter > Reach(each))
        continue;
      const size_t distance = EditDistance(member, each);
      if (distance <= Reach(each) && distance < nearest) {
        nearest = distance;
        meant = &each;
      }
    }
    if (meant)
      m_Found.push_back({TokenBegin(), member, *meant});
  }

  std::vector<std::string> m_Path; // the present key of each open object; of a list, none
};

char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

} // namespace

std::vector<MisspeltMember> FindMisspeltMembers(const std::string& text) {
  Reader reader(text);
  static_cast<void>(reader.Read());
  return std::move(reader.m_Found);
}

size_t EditDistance(const std::string& one, const std::string& other) {
  const auto isSame = [&](size_t i, size_t j) { return Lower(one[i - 1]) == Lower(other[j - 1]); };
  std::vector<std::vector<size_t>> costs(one.size() + 1, std::vector<size_t>(other.size() + 1));
  for (size_t i = 0; i <= one.size(); ++i) {
    for (size_t j = 0; j <= other.size(); ++j) {
      size_t& cost = costs[i][j];
      if (i == 0 || j == 0) {
        cost = i + j;
        continue;
      }
      cost = std::min({costs[i - 1][j] + 1, costs[i][j - 1] + 1, costs[i - 1][j - 1] + !isSame(i, j)});
      if (i > 1 && j > 1 && isSame(i, j - 1) && isSame(i - 1, j))
        cost = std::min(cost, costs[i - 2][j - 2] + 1);
    }
  }
  return costs[one.size()][other.size()];
}

} // namespace brenic
