// A Master's database in one file, as it was at one commit.
#pragma once

#include <string>
#include <vector>

#include "store/Sqlite.h"

namespace brenic::master {

/// Bytes. While one transaction reads it, a database that is served cannot begin its log anew: reading that
/// takes so long that the log exceeds this is given up.
inline constexpr uintmax_t k_MostLogMeanwhile = 512 * 1024 * 1024;

/// Gives up what reads `file`, a database, when its log exceeds that; `database` is what reads.
void StopWhenLogGrows(Database& database, const Path& file, uintmax_t most = k_MostLogMeanwhile);

struct CopyOptions {
  Database::Mode m_Mode = Database::Mode::k_ReadOnly; // of the file that is copied
  bool m_WithKeys = true;
  uintmax_t m_MostLog = k_MostLogMeanwhile;
};

/// Which private keys a database holds.
struct HeldKeys {
  bool m_Master = false;              // the Master's own
  std::vector<int64_t> m_Authorities; // by their numbers, those whose keys are there
  std::vector<int64_t> m_Missing;     // and the others

  bool IsNone() const { return !m_Master && m_Authorities.empty(); }
  bool IsAll() const { return m_Master && m_Missing.empty(); }
};
/// "the Master's own, that of authority 1, not that of authority 2"
std::string KeysText(const HeldKeys& keys);

/// What a copy holds.
struct CopiedState {
  int64_t m_Sequence = 0; // of the last record of the audit trail; 0 for none
  int64_t m_Time = 0;     // of that record, milliseconds since 1970-01-01 UTC
  HeldKeys m_Keys;
};

/// Copies a Master's database of any layout, also while it is served, into `target`, an empty file. Nobody
/// who writes waits for it. Row by row, so that nothing of what was deleted before comes along; without keys,
/// none of them is ever written. The copy has been checked and synced when this returns. Throws StoreFailure
/// or Exception*.
CopiedState CopyDatabase(const Path& source, const Path& target, const CopyOptions& options = {});

/// What a database of any layout holds. Throws StoreFailure.
CopiedState ReadCopiedState(Database& database);

/// Whether the table has the column.
bool HasColumn(Database& database, const char* table, const char* column);

} // namespace brenic::master
