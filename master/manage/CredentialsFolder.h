// The folder that gets a client's credentials: all of them, or nothing.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "brenic/Types.h"

namespace brenic::master {

/// The key is in it before a certificate is asked for, so that little can go wrong once there is one. All
/// that was made goes with this object, unless it came to Complete.
class CredentialsFolder {
public:
  /// Makes the folder where it is missing; one that is there must be empty. Writes `client.key` and makes
  /// sure of room for the rest. Throws Exception*.
  CredentialsFolder(const Path& folder, const std::string& key);

  /// Writes `ca.pem` (the certificates of all `authorities`), `brenic.conf` and last `client.pem`. Throws
  /// Exception*.
  void Complete(const std::string& authorities, const std::string& certificate, const String& address);

private:
  /// Removes what was made, the last first.
  struct Made {
    ~Made();
    std::vector<std::filesystem::path> m_Paths;
  };

  void Write(const char* name, const std::string& text, int mode);

  const Path m_Folder;
  Made m_Made;
};

/// Makes a folder that may be there already, and those above it. Throws Exception*.
void MakeFolder(const Path& folder, mode_t mode);

} // namespace brenic::master
