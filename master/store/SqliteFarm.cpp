// The part of the store that holds the settings and products.
#include "products/ProductDocument.h"
#include "store/SqliteStore.h"
#include "wire/Contents.h"
#include "wire/Digest.h"

namespace brenic::master {

namespace {

/// The global options stand under the null identifier, which no product has.
void LoadOptions(sqlite3* database, Farm& farm) {
  Statement row(database, "SELECT section, name, value FROM option");
  while (row.Step()) {
    const UID section = wire::Identifier(row.Text(0));
    (section.IsNull() ? farm.m_Options : farm.m_TypeOptions[section])[row.Text(1)] = row.Text(2);
  }
}

shared_ptr<const Product> Parsed(const UID& type, std::string document) {
  const auto product = ParseCheckedProduct(std::move(document));
  if (!product)
    throw StoreFailure("The product " + type.ToString().str() +
                       " in the database cannot be used: " + product.Reason().str());
  return *product;
}

void LoadProducts(sqlite3* database, ProductCatalogue& products) {
  ProductCatalogue::States customised;
  Statement row(database, "SELECT type, origin, document FROM product LEFT JOIN document USING (digest)");
  while (row.Step()) {
    const UID type = wire::Identifier(row.Text(0));
    const std::string origin = row.Text(1);
    if (origin == "removed")
      customised[type] = Customisation();
    else if (row.IsNull(2))
      throw StoreFailure("The product " + type.ToString().str() +
                         " in the database cannot be used: its document is missing");
    else if (origin == "custom")
      customised[type] = Customisation{Parsed(type, row.Text(2))};
    else
      products.AddDefault(Parsed(type, row.Text(2)));
  }
  products.Customise(customised);
}

} // namespace

Farm SqliteStore::LoadFarm() {
  sqlite3* const database = m_Database.Handle();
  Farm farm;
  LoadOptions(database, farm);
  for (Statement row(database, "SELECT type, workers FROM type_limit"); row.Step();)
    farm.m_Limits[wire::Identifier(row.Text(0))] = static_cast<int>(row.Integer(1));
  for (Statement row(database, "SELECT name FROM restriction"); row.Step();)
    farm.m_Restrictions.insert(row.Text(0));
  for (Statement row(database, "SELECT list FROM path_translations"); row.Step();)
    farm.m_Translations = wire::DecodeTranslations(row.Text(0));
  LoadProducts(database, farm.m_Products);
  return farm;
}

void SqliteStore::Apply(const Change& change) {
  for (const OptionChange& option : change.m_Options)
    ApplyOption(option);
  if (change.m_UserLimits)
    ApplyUserLimits(*change.m_UserLimits);
  for (const auto& [type, limit] : change.m_Limits) {
    if (limit.m_After)
      Prepared("INSERT OR REPLACE INTO type_limit VALUES (?,?)").Run(type, *limit.m_After);
    else
      Prepared("DELETE FROM type_limit WHERE type = ?").Run(type);
  }
  for (const auto& [name, on] : change.m_Restrictions) {
    if (on)
      Prepared("INSERT OR IGNORE INTO restriction VALUES (?)").Run(name);
    else
      Prepared("DELETE FROM restriction WHERE name = ?").Run(name);
  }
  if (!change.m_Translations.IsEmpty())
    ApplyTranslations(change.m_Translations);
  ApplyProducts(change);
}

void SqliteStore::ApplyOption(const OptionChange& change) {
  if (change.m_Value.m_After)
    Prepared("INSERT INTO option VALUES (?,?,?) "
             "ON CONFLICT (section, name) DO UPDATE SET value = excluded.value")
        .Run(change.m_Section, change.m_Name, *change.m_Value.m_After);
  else
    Prepared("DELETE FROM option WHERE section = ? AND name = ?").Run(change.m_Section, change.m_Name);
}

void SqliteStore::ApplyUserLimits(const UserLimitsChange& change) {
  Statement& row =
      Prepared("SELECT value FROM option WHERE section = ? AND name = ?").Bind(UID::Null, change.m_Name);
  String text;
  while (row.Step())
    text = row.Text(0);
  OptionChange whole{UID::Null, change.m_Name, {}};
  ApplyOption(whole); // first: SQLite would write the new text before it frees the space of the old one
  if (!change.m_SetAfter)
    return;
  whole.m_Value.m_After = Applied(change, text);
  ApplyOption(whole);
}

void SqliteStore::ApplyTranslations(const ListDifference<TranslationSet>& change) {
  rlib::vector<TranslationSet> translations;
  Statement& row = Prepared("SELECT list FROM path_translations");
  while (row.Step())
    translations = wire::DecodeTranslations(row.Text(0));
  // SQLite would write the new list before it frees the space of the one that it replaces.
  Prepared("DELETE FROM path_translations").Run();
  Prepared("INSERT INTO path_translations VALUES (1, ?)")
      .Run(Blob{wire::EncodeTranslations(Applied(change, std::move(translations)))});
}

void SqliteStore::ApplyProducts(const Change& change) {
  for (const auto& [type, step] : change.m_Products) {
    Prepared("DELETE FROM product WHERE type = ? AND origin <> 'default'").Run(type);
    if (!step.m_After)
      continue;
    if (step.m_After->m_Installed)
      Prepared("INSERT INTO product VALUES (?, 'custom', ?)")
          .Run(type, Blob{KeepDocument(*step.m_After->m_Installed)});
    else
      Prepared("INSERT INTO product VALUES (?, 'removed', NULL)").Run(type);
  }
  for (const auto& [type, step] : change.m_Defaults) {
    Prepared("DELETE FROM product WHERE type = ? AND origin = 'default'").Run(type);
    if (step.m_After && step.m_After->m_Installed)
      Prepared("INSERT INTO product VALUES (?, 'default', ?)")
          .Run(type, Blob{KeepDocument(*step.m_After->m_Installed)});
  }
}

std::string SqliteStore::KeepDocument(const Product& product) {
  std::string digest = Sha256(product.Document());
  // What is there already is right, unless the file was damaged.
  Prepared("INSERT INTO document VALUES (?,?) ON CONFLICT (digest) "
           "DO UPDATE SET document = excluded.document WHERE document <> excluded.document")
      .Run(Blob{digest}, product.Document());
  return digest;
}

shared_ptr<const Product> SqliteStore::LoadDocument(const std::string& digest) {
  Statement& row = Prepared("SELECT document FROM document WHERE digest = ?").Bind(Blob{digest});
  std::optional<std::string> document;
  while (row.Step())
    document = row.Text(0);
  const auto unusable = [&](const std::string& why) {
    return StoreFailure("A product in the audit trail, of the digest " + Hex(digest) +
                            ", cannot be used: " + why,
                        StoreFailure::Kind::k_DamagedRecord);
  };
  if (!document)
    throw unusable("its document is missing");
  if (Sha256(*document) != digest)
    throw unusable("its document was damaged");
  const auto product = ParseCheckedProduct(std::move(*document));
  if (!product)
    throw unusable(product.Reason().str());
  return *product;
}

} // namespace brenic::master
