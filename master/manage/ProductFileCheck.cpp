#include "manage/ProductFileCheck.h"

#include <cstdio>

#include <fmt/core.h>

#include "farm/ProductCheck.h"
#include "manage/Json.h"
#include "products/JsonText.h"
#include "products/MisspeltMembers.h"
#include "products/ProductDocument.h"
#include "products/ProductFile.h"
#include "rlib/Escape.h"

namespace brenic::master {

namespace {

constexpr std::chrono::seconds k_PipePatience{5};
/// Of one file: each place is looked for in the whole text.
constexpr size_t k_MostPlaces = 50;

/// A product and where it came from.
struct Seen {
  Path m_File;
  String m_Name; // of the product
};

class Checker {
public:
  void Check(const Path& file) {
    m_File = file;
    const auto text = ReadProductFile(file, k_PipePatience);
    if (!text)
      return Add(true, text.Reason().str());
    const auto product = ParseProduct(*text);
    if (!product)
      return Add(true, product.Reason().str());
    m_Places = 0;
    for (const ProductTrap& trap : FindTraps(**product, nullptr))
      AddAt(true, *text, trap.m_Path, trap.m_What.str());
    LookForCopies(**product, *text);
    for (const MisspeltMember& member : FindMisspeltMembers(*text)) {
      if (m_Places++ < k_MostPlaces)
        Add(false,
            fmt::format("{}: the member \"{}\" is not known and is kept as it is; did you mean \"{}\"?",
                        PlaceIn(*text, member.m_Offset), rlib::Excerpt(member.m_Member).str(),
                        member.m_Meant));
    }
    if (m_Places > k_MostPlaces)
      Add(false, fmt::format("there are {} more remarks on it, told when these are dealt with",
                             m_Places - k_MostPlaces));
  }

  std::vector<ProductRemark> m_Remarks;

private:
  void LookForCopies(const Product& product, const std::string& text) {
    const Seen seen{m_File, product.Name()};
    const auto [same, isNew] = m_Types.emplace(product.Type(), seen);
    if (!isNew)
      AddAt(true, text, {"id"},
            fmt::format(
                "the product '{}' of '{}' has the same identifier, so that a farm has only one of them; a "
                "copy needs an identifier of its own, which uuidgen makes",
                rlib::Excerpt(same->second.m_Name).str(), same->second.m_File.str().str()));
    LookForName(product.Name(), {"name"}, seen, text);
    for (size_t i = 0; i != product.Aliases().size(); ++i)
      LookForName(product.Aliases()[i], {"aliases", std::to_string(i)}, seen, text);
  }

  void LookForName(const String& name, const JsonPath& path, const Seen& seen, const std::string& text) {
    const auto [same, isNew] = m_Names.emplace(name, seen);
    if (!isNew)
      AddAt(true, text, path,
            fmt::format("the name '{}' belongs to the product '{}' of '{}' as well",
                        rlib::Excerpt(name).str(), rlib::Excerpt(same->second.m_Name).str(),
                        same->second.m_File.str().str()));
  }

  void AddAt(bool isError, const std::string& text, const JsonPath& path, const std::string& what) {
    if (m_Places++ < k_MostPlaces)
      Add(isError, PlaceOf(text, path) + ": " + what);
  }

  /// `what` may begin with a place, as all that is said of a text does.
  void Add(bool isError, const std::string& what) {
    ProductRemark& remark = m_Remarks.emplace_back();
    remark.m_File = m_File;
    remark.m_IsError = isError;
    int placeEnd = 0;
    if (std::sscanf(what.c_str(), "line %zu, column %zu: %n", &remark.m_Line, &remark.m_Column, &placeEnd) !=
        2)
      placeEnd = 0;
    remark.m_Text = what.substr(static_cast<size_t>(placeEnd));
  }

  Path m_File;
  size_t m_Places = 0;
  std::map<UID, Seen> m_Types;
  std::map<String, Seen, String::ciless> m_Names;
};

} // namespace

std::vector<ProductRemark> CheckProductFiles(const std::vector<Path>& files) {
  Checker checker;
  for (const Path& file : files)
    checker.Check(file);
  return std::move(checker.m_Remarks);
}

std::string RemarkText(const ProductRemark& remark) {
  const std::string place =
      remark.m_Line != 0 ? fmt::format(", line {}, column {}", remark.m_Line, remark.m_Column) : "";
  return rlib::EscapeControls(fmt::format("{}: product file '{}'{}: {}",
                                          remark.m_IsError ? "Error" : "Warning", remark.m_File.str().str(),
                                          place, remark.m_Text.str()))
      .str();
}

std::string RemarkJson(const ProductRemark& remark) {
  Json json{{"file", remark.m_File.str().str()}, {"severity", remark.m_IsError ? "error" : "warning"}};
  if (remark.m_Line != 0) {
    json["line"] = remark.m_Line;
    json["column"] = remark.m_Column;
  }
  json["text"] = remark.m_Text.str();
  return ToLine(json);
}

} // namespace brenic::master
