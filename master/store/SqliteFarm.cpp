// The part of the store that holds the settings and products.
#include "products/ProductDocument.h"
#include "rlib/Log.h"
#include "store/SqliteStore.h"
#include "wire/Contents.h"

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

void LoadProducts(sqlite3* database, ProductCatalogue& products) {
  // Default ones first: the others change them.
  Statement row(database, "SELECT type, origin, document FROM product ORDER BY origin <> 'default'");
  while (row.Step()) {
    const UID type = wire::Identifier(row.Text(0));
    const std::string origin = row.Text(1);
    if (origin == "removed") {
      products.Remove(type);
      continue;
    }
    const auto parsed = ParseCheckedProduct(row.Text(2));
    if (!parsed)
      throw StoreFailure("The product " + type.ToString().str() +
                         " in the database cannot be used: " + parsed.Reason().str());
    const shared_ptr<const Product> product = *parsed;
    if (origin == "custom")
      products.Install(product);
    else
      products.AddDefault(product);
  }
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
    farm.m_Translations = DecodeTranslations(row.Text(0));
  LoadProducts(database, farm.m_Products);
  return farm;
}

void SqliteStore::Apply(const Effect& effect) {
  ApplyOptions(effect);
  for (const auto& [type, limit] : effect.m_Limits)
    Prepared("INSERT OR REPLACE INTO type_limit VALUES (?,?)").Run(type, limit);
  for (const auto& [name, add] : effect.m_Restrictions) {
    if (add)
      Prepared("INSERT OR IGNORE INTO restriction VALUES (?)").Run(name);
    else
      Prepared("DELETE FROM restriction WHERE name = ?").Run(name);
  }
  if (effect.m_Translations)
    Prepared("INSERT OR REPLACE INTO path_translations VALUES (1, ?)")
        .Run(Blob{EncodeTranslations(*effect.m_Translations)});
  ApplyProducts(effect);
}

void SqliteStore::ApplyOptions(const Effect& effect) {
  for (const auto& [name, value] : effect.m_Options)
    Prepared("INSERT INTO option VALUES (?,?,?) "
             "ON CONFLICT (section, name) DO UPDATE SET value = excluded.value")
        .Run(effect.m_OptionsType, name, value);
}

void SqliteStore::ApplyProducts(const Effect& effect) {
  if (effect.m_Install) {
    Prepared("DELETE FROM product WHERE type = ? AND origin = 'removed'").Run(effect.m_Install->Type());
    Prepared("INSERT OR REPLACE INTO product VALUES (?, 'custom', ?)")
        .Run(effect.m_Install->Type(), effect.m_Install->Document());
  }
  if (effect.m_Remove && effect.m_Remove->IsNull()) {
    Prepared("DELETE FROM product WHERE origin <> 'default'").Run();
  } else if (effect.m_Remove) {
    Prepared("DELETE FROM product WHERE type = ? AND origin = 'custom'").Run(*effect.m_Remove);
    Prepared("INSERT OR REPLACE INTO product SELECT type, 'removed', '' FROM product "
             "WHERE type = ? AND origin = 'default'")
        .Run(*effect.m_Remove);
  }
}

void SqliteStore::ReplaceDefaultProducts(const ProductMap& products) {
  std::map<UID, std::string> wanted, stored;
  for (const auto& [type, product] : products)
    wanted[type] = product->Document();
  for (Statement row(m_Database.Handle(), "SELECT type, document FROM product WHERE origin = 'default'");
       row.Step();)
    stored[wire::Identifier(row.Text(0))] = row.Text(1);
  if (wanted == stored)
    return;
  Begin();
  try {
    Prepared("DELETE FROM product WHERE origin = 'default'").Run();
    for (const auto& [type, document] : wanted)
      Prepared("INSERT INTO product VALUES (?, 'default', ?)").Run(type, document);
    Commit();
  } catch (const StoreFailure&) {
    Rollback();
    throw;
  }
}

} // namespace brenic::master
