// Files that are to survive a power cut, below what OutFile does.
#pragma once

#include "brenic/Types.h"

namespace brenic::master {

/// Owns a file descriptor; closes it without looking at the result, so only for what was read or synced.
class FileHandle {
public:
  explicit FileHandle(int file) : m_File(file) {}
  ~FileHandle();
  FileHandle(FileHandle&& other) noexcept : m_File(other.m_File) { other.m_File = -1; }
  FileHandle(const FileHandle&) = delete;
  FileHandle& operator=(const FileHandle&) = delete;

  explicit operator bool() const { return m_File >= 0; }
  int Get() const { return m_File; }

private:
  int m_File;
};

/// Makes a file that must not exist, open for reading and writing and closed to others (0600) from the first
/// moment. Throws Exception*.
FileHandle MakePrivateFile(const Path& file);

/// Brings what was written to the file to the disk. Throws Exception*.
void SyncFile(const Path& file);

/// Brings the names in a folder, the present one for an empty path, to the disk. Throws Exception*.
void SyncFolder(const Path& folder);

} // namespace brenic::master
