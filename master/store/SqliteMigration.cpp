// How a database of an earlier layout becomes one of this layout.
#include <fmt/core.h>

#include "rlib/Log.h"
#include "store/DataFolder.h"
#include "store/LayoutBackup.h"
#include "store/SqliteSchema.h"
#include "store/SqliteStore.h"
#include "wire/Digest.h"

namespace brenic::master {

namespace {

/// Product documents move to a table of their own, by digest. The audit trail stays as it is: its columns of
/// layout 2 are added behind the others, which does not touch its records.
void BringFromLayout1(Database& database) {
  database.Execute("ALTER TABLE product RENAME TO product_of_layout_1");
  database.Execute(k_ProductTables);
  Statement keep(database.Handle(), "INSERT OR IGNORE INTO document VALUES (?,?)");
  Statement add(database.Handle(), "INSERT INTO product VALUES (?,?,?)");
  {
    Statement row(database.Handle(), "SELECT type, origin, document FROM product_of_layout_1");
    while (row.Step()) {
      const std::string document = row.Text(2);
      const std::string digest = Sha256(document);
      const bool hasDocument = row.Text(1) != "removed";
      if (hasDocument)
        keep.Run(Blob{digest}, document);
      const std::string type = row.Text(0);
      add.Run(Blob{type}, row.Text(1), OptionalBlob{hasDocument ? &digest : nullptr});
    }
  }
  database.Execute("DROP TABLE product_of_layout_1");
  database.Execute("ALTER TABLE audit ADD COLUMN size INTEGER NOT NULL DEFAULT 0;"
                   "ALTER TABLE audit ADD COLUMN request BLOB;"
                   "ALTER TABLE audit ADD COLUMN change BLOB;");
}

/// A look for a name read every value on its way, however long.
void BringFromLayout2(Database& database) {
  database.Execute("ALTER TABLE option RENAME TO option_of_layout_2");
  database.Execute(k_OptionTable);
  database.Execute("INSERT INTO option SELECT section, name, value FROM option_of_layout_2;"
                   "DROP TABLE option_of_layout_2");
}

/// Several authorities, and what is known of each certificate. Whose validity is not known is learnt when
/// they are shown.
void BringFromLayout3(Database& database) {
  database.Execute("ALTER TABLE master RENAME TO master_of_layout_3;"
                   "ALTER TABLE client RENAME TO client_of_layout_3");
  database.Execute(k_CredentialTables);
  database.Execute(
      "INSERT INTO master SELECT id, name, '', server_certificate, server_key, 1 FROM master_of_layout_3;"
      "INSERT INTO authority SELECT 1, authority_certificate, authority_key FROM master_of_layout_3;"
      "INSERT INTO client (serial, name, role, authority) "
      "SELECT serial, name, role, 1 FROM client_of_layout_3;"
      "DROP TABLE master_of_layout_3;"
      "DROP TABLE client_of_layout_3");
}

int LayoutOf(Database& database) {
  try {
    return std::stoi(database.Scalar("PRAGMA user_version"));
  } catch (const StoreFailure& failure) {
    throw StoreFailure(
        fmt::format("The database cannot be read; make room on its disk, or look at it with sqlite3: {}",
                    failure.what()),
        failure.Which());
  }
}

void Tell(const Path& dataFolder, int from) {
  const Path database = SqliteStore::File(dataFolder);
  const Path backup = LayoutBackup(dataFolder, from);
  rlib::Report(
      rlib::Log::k_System,
      fmt::format("The database was brought from layout {} to layout {}; as it was before, it is kept in "
                  "'{}'. To go back to the earlier brenic-master, and lose what is changed from now on, "
                  "end this one and run: rm -f {} {} && mv {} {}",
                  from, k_Layout, backup.str().str(), ShellWord(database.str() + "-wal").str(),
                  ShellWord(database.str() + "-shm").str(), ShellWord(backup).str(),
                  ShellWord(database).str()));
}

} // namespace

void SqliteStore::BringToThisLayout(const Path& dataFolder, Earlier earlier) {
  Database database(File(dataFolder), Database::Mode::k_ReadWrite);
  const int found = LayoutOf(database);
  if (found < 1 || found >= k_Layout)
    return;
  rlib::LogSystem(fmt::format("Bringing the database from layout {} to layout {}", found, k_Layout));
  try {
    SetDurability(database);
    database.Execute("BEGIN IMMEDIATE"); // before the copy, so that it is of what is brought to this layout
    // Another process may have been quicker.
    const int layout = LayoutOf(database);
    if (layout >= k_Layout)
      return database.Rollback();
    if (earlier == Earlier::k_Keep)
      BackUpLayout(dataFolder, layout);
    if (layout < 2)
      BringFromLayout1(database);
    if (layout < 3)
      BringFromLayout2(database);
    if (layout < 4)
      BringFromLayout3(database);
    SetLayout(database);
    database.Execute("COMMIT");
  } catch (const StoreFailure& failure) {
    database.Rollback();
    const char* const advice = failure.Which() == StoreFailure::Kind::k_Busy
                                   ? "end the other program that holds it"
                                   : "make room on its disk, or look at it with sqlite3";
    throw StoreFailure(
        fmt::format("The database cannot be brought from layout {} to layout {} and stays as it was; {}: {}",
                    found, k_Layout, advice, failure.what()),
        failure.Which());
  }
  if (earlier == Earlier::k_Keep)
    Tell(dataFolder, found);
}

} // namespace brenic::master
