// What a Master accepts no more, as plain text beside its database: a backup that is restored knows nothing
// of what was revoked after it was made. docs/storage.md shows the file.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "brenic/Types.h"
#include "rlib/Result.h"

namespace brenic::master {

class Store;

/// A certificate that is not accepted any more.
struct Revocation {
  int64_t m_Time = 0;   // milliseconds since 1970-01-01 UTC
  std::string m_Serial; // lower-case hexadecimal
  String m_Name;        // of its client

  friend bool operator==(const Revocation&, const Revocation&) = default;
};

/// It as a line, without its end. Throws Exception* for what cannot be one.
std::string RevocationLine(const Revocation& revocation);
/// None for what is no such line.
std::optional<Revocation> RevocationOfLine(const std::string& line);

/// What a file holds.
struct RevokedList {
  std::vector<Revocation> m_Revocations; // in its order
  std::string m_Torn;                    // what stands behind the last end of a line
};

/// Where a data folder keeps it.
Path RevokedFile(const Path& dataFolder);

/// Adds lines to the file, which is made with mode 0600 where there is none. They are synced when this
/// returns: call it before the revocation is committed, so that none is committed that the file does not
/// know. What a write that was cut off left behind the last line is taken away. Throws Exception*.
void AppendRevocations(const Path& file, const std::vector<Revocation>& revocations);

/// What the file holds; no value where there is no such file. Fails for a file that cannot be read or holds a
/// line that is not one of these. A last line without an end is none of the revocations: whoever wrote it did
/// not come to commit what it says, or the file was not copied to its end.
rlib::Result<std::optional<RevokedList>> ReadRevoked(const Path& file);
/// Adds to the file these revocations and all that the store holds, but for certificates that it tells of
/// already, as AppendRevocations does; how many they were. A file that lacks none stays as it is, or is not
/// made. Throws StoreFailure, or Exception*, also for a file that cannot be used (see ReadRevoked): nobody
/// would find in it what is added.
size_t CompleteRevoked(const Path& file, std::vector<Revocation> revocations, Store& store);

/// What is known of a last line without an end, as a sentence; empty when there is none.
std::string TornWords(const Path& file, const RevokedList& list);

} // namespace brenic::master
