// The folder that holds everything of one Master: database, lock, log, the first administrator's credentials.
#pragma once

#include <memory>

#include "brenic/Types.h"
#include "rlib/Result.h"

namespace brenic::master {

/// Whether the folder holds a Master; no folder holds none. Throws Exception* when that cannot be seen.
bool IsInitialised(const Path& folder);
/// Throws Exception* unless the folder holds a Master.
void RequireInitialised(const Path& folder);
/// Throws Exception* when others than the owner may do anything with the folder or the database, which hold
/// private keys.
void RequirePrivate(const Path& folder);

/// The text of a file that a user names, of at most 1 MiB. Fails when it cannot be read.
rlib::Result<String> ReadSmallFile(const Path& file);

/// The path as a shell takes it for one word.
String ShellWord(const Path& path);

/// Where a running Master takes requests about its certificates from its own user and root.
Path ManagementSocket(const Path& folder);
/// The same socket by a path that is short enough for a socket's address, which holds 107 bytes. Usable while
/// the returned object lives. Throws Exception*.
class ShortSocketPath {
public:
  explicit ShortSocketPath(const Path& socket);
  ~ShortSocketPath();
  ShortSocketPath(const ShortSocketPath&) = delete;
  ShortSocketPath& operator=(const ShortSocketPath&) = delete;
  const std::string& str() const { return m_Text; }

private:
  int m_Folder = -1;
  std::string m_Text;
};

/// Whether another process makes or serves the data folder now.
bool IsServed(const Path& folder);

/// Held while a process makes or serves a data folder. Throws Exception* when another one does.
class ServeLock {
public:
  explicit ServeLock(const Path& folder);
  /// Null when another process holds it.
  static std::unique_ptr<ServeLock> Try(const Path& folder);
  ~ServeLock();
  ServeLock(const ServeLock&) = delete;
  ServeLock& operator=(const ServeLock&) = delete;

private:
  ServeLock() = default;
  /// Whether it is held now.
  bool Take(const Path& folder);

  int m_File = -1;
};

} // namespace brenic::master
