// What the tables of settings and products hold, row by row.
#include <limits>

#include <fmt/core.h>

#include "farm/SettingsCheck.h"
#include "farm/TextCheck.h"
#include "products/ProductDocument.h"
#include "rlib/Escape.h"
#include "store/DatabaseCheck.h"
#include "wire/Contents.h"
#include "wire/Digest.h"

namespace brenic::master {

namespace {

constexpr char k_SetAgain[] = "set it again with setwright, or look at the table with sqlite3";
constexpr char k_InstallAgain[] =
    "import the product again with setwright (a default product: start the Master anew)";

/// None, with a problem, for what is no identifier.
std::optional<UID> TypeOf(const std::string& bytes, const char* table, Findings& findings) {
  if (bytes.size() == UID::Raw().size())
    return wire::Identifier(bytes);
  findings.Problem(
      fmt::format("The table '{}' has a row whose type is not 16 bytes long but {}", table, bytes.size()),
      "take the row away with sqlite3, or restore a backup");
  return std::nullopt;
}

void Tell(const rlib::Result<>& check, const std::string& whose, Findings& findings) {
  if (!check)
    findings.Problem(check.Reason().str() + whose, k_SetAgain);
}

std::string OfType(const UID& type) {
  return type.IsNull() ? "" : ", of the type " + type.ToString().str();
}

void CheckOptions(Database& database, Farm& farm, Findings& findings) {
  Statement row(database.Handle(), "SELECT section, name, value FROM option");
  while (row.Step()) {
    const auto section = TypeOf(row.Text(0), "option", findings);
    if (!section)
      continue;
    const String name = row.Text(1), value = row.Text(2);
    Tell(CheckName("an", "option", name), OfType(*section), findings);
    Tell(CheckOptionValue(name, value, section->IsNull()), OfType(*section), findings);
    (section->IsNull() ? farm.m_Options : farm.m_TypeOptions[*section])[name] = value;
    findings.Checked("options", 1);
  }
}

void CheckLimits(Database& database, Farm& farm, Findings& findings) {
  Statement row(database.Handle(), "SELECT type, workers FROM type_limit");
  while (row.Step()) {
    const auto type = TypeOf(row.Text(0), "type_limit", findings);
    if (!type)
      continue;
    const int64_t limit = row.Integer(1);
    if (type->IsNull())
      findings.Problem("There is a worker limit of no type", "take it away from 'type_limit' with sqlite3");
    if (limit < -1 || limit > std::numeric_limits<int>::max())
      findings.Problem(fmt::format("The worker limit of the type {} is {}", type->ToString().str(), limit),
                       k_SetAgain);
    farm.m_Limits[*type] = static_cast<int>(limit);
    findings.Checked("limits", 1);
  }
}

void CheckRestrictions(Database& database, Farm& farm, Findings& findings) {
  Statement row(database.Handle(), "SELECT name FROM restriction");
  while (row.Step()) {
    const String name = row.Text(0);
    Tell(CheckName("a", "restriction", name), "", findings);
    farm.m_Restrictions.insert(name);
    findings.Checked("restrictions", 1);
  }
}

void CheckTranslationRow(Database& database, Farm& farm, Findings& findings) {
  Statement row(database.Handle(), "SELECT list FROM path_translations");
  while (row.Step()) {
    const std::string bytes = row.Text(0);
    farm.m_Translations = wire::DecodeTranslations(bytes);
    if (const auto check = CheckTranslations(farm.m_Translations); !check)
      findings.Problem("Of the path translations: " + check.Reason().str(), k_SetAgain);
    if (wire::EncodeTranslations(farm.m_Translations) != bytes)
      findings.Problem("The path translations are not written as a Master writes them", k_SetAgain);
    findings.Checked("path translations", farm.m_Translations.size());
  }
}

/// The product of a row; none, with a problem, when it cannot be used.
shared_ptr<const Product> ProductOf(const Statement& row, const UID& type, Findings& findings) {
  const std::string digest = row.Text(2), document = row.Text(3);
  const auto unusable = [&](const std::string& why) {
    findings.Problem(fmt::format("The product {} cannot be used: {}", type.ToString().str(), why),
                     k_InstallAgain);
    return nullptr;
  };
  if (row.IsNull(3))
    return unusable("its document is missing");
  if (Sha256(document) != digest)
    return unusable("its document is not that of its digest");
  const auto product = ParseProduct(document);
  if (!product)
    return unusable(product.Reason().str());
  if ((*product)->Type() != type)
    return unusable("its document is that of " + (*product)->Type().ToString().str());
  return *product;
}

/// Names that two products have which stand beside each other.
class Names {
public:
  void Add(const Product& product, Findings& findings) {
    AddName(product.Name(), product.Type(), findings);
    for (const String& alias : product.Aliases())
      AddName(alias, product.Type(), findings);
  }

private:
  void AddName(const String& name, const UID& type, Findings& findings) {
    const auto [held, isNew] = m_Names.emplace(name, type);
    if (!isNew && held->second != type)
      findings.Problem(fmt::format("The products {} and {} have the same name, '{}'",
                                   held->second.ToString().str(), type.ToString().str(),
                                   rlib::Excerpt(name).str()),
                       "remove one of them with setwright");
  }

  rlib::map<String, UID, String::ciless> m_Names;
};

void CheckProducts(Database& database, Farm& farm, Findings& findings) {
  ProductCatalogue::States customised;
  Names custom, byDefault;
  Statement row(database.Handle(),
                "SELECT type, origin, digest, document FROM product LEFT JOIN document USING (digest)");
  while (row.Step()) {
    const auto type = TypeOf(row.Text(0), "product", findings);
    if (!type)
      continue;
    const std::string origin = row.Text(1);
    findings.Checked("products", 1);
    if (origin != "default" && origin != "custom" && origin != "removed")
      findings.Problem("The product " + type->ToString().str() + " has an unknown origin", k_InstallAgain);
    if (customised.contains(*type) && origin != "default")
      findings.Problem("The product " + type->ToString().str() + " is both installed and removed",
                       k_InstallAgain);
    if (origin == "removed") {
      customised[*type] = Customisation();
      if (!row.IsNull(2))
        findings.Problem("The product " + type->ToString().str() + " is removed, but has a document",
                         k_InstallAgain);
      continue;
    }
    const auto product = ProductOf(row, *type, findings);
    if (!product)
      continue;
    (origin == "custom" ? custom : byDefault).Add(*product, findings);
    if (origin == "custom")
      customised[*type] = Customisation{product};
    else
      farm.m_Products.AddDefault(product);
  }
  farm.m_Products.Customise(customised);
}

/// Those that only the trail refers to as well.
void CheckDocuments(Database& database, Findings& findings) {
  Statement row(database.Handle(), "SELECT digest, document FROM document");
  while (row.Step()) {
    findings.Checked("product documents", 1);
    const std::string digest = row.Text(0), document = row.Text(1);
    const auto product = ParseCheckedProduct(document);
    if (Sha256(document) != digest)
      findings.Problem("The product document of the digest " + Hex(digest) + " was damaged", k_InstallAgain);
    else if (!product)
      findings.Problem(fmt::format("The product document of the digest {} cannot be used: {}", Hex(digest),
                                   product.Reason().str()),
                       k_InstallAgain);
  }
}

} // namespace

std::optional<Farm> CheckSettings(Database& database, Findings& findings) {
  Farm farm;
  bool isWhole = true;
  const auto check = [&](const char* what, void (*part)(Database&, Farm&, Findings&)) {
    isWhole = findings.Guard(what, [&] { part(database, farm, findings); }) && isWhole;
  };
  check("The options", CheckOptions);
  check("The worker limits", CheckLimits);
  check("The restrictions", CheckRestrictions);
  check("The path translations", CheckTranslationRow);
  check("The products", CheckProducts);
  findings.Guard("The product documents", [&] { CheckDocuments(database, findings); });
  return isWhole ? std::optional(std::move(farm)) : std::nullopt;
}

} // namespace brenic::master
