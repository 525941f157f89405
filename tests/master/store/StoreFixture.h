// A store in a folder of its own.
#pragma once

#include <gtest/gtest.h>

#include "TempFolder.h"
#include "store/SqliteStore.h"

namespace brenic::master {

class StoreFixture : public testing::Test {
protected:
  /// A new one that holds this Master and its first administrator, whose serial number is 01.
  explicit StoreFixture(const MasterRecord& master = {}) {
    SqliteStore::Create(SqliteStore::File(m_Folder.Name()), master, {"01", "admin", Role::k_Administrator});
    Open();
  }
  /// Opens it, again when it is open.
  void Open() {
    m_Store.reset();
    m_Store = std::make_unique<SqliteStore>(m_Folder.Name(), Database::Mode::k_ReadWrite);
  }

  const TempFolder m_Folder;
  std::unique_ptr<SqliteStore> m_Store;
};

} // namespace brenic::master
