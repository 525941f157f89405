#include "manage/CredentialsFolder.h"

#include <sys/stat.h>

#include <fmt/core.h>

#include "rlib/OutFile.h"

namespace brenic::master {

namespace {

namespace fs = std::filesystem;

constexpr int k_Secret = 0600;
constexpr int k_Public = 0644;
constexpr size_t k_Room = 64 * 1024; // bytes; more than certificates and configuration take

void RequireEmpty(const Path& folder) {
  const fs::path path(folder.str().str());
  std::error_code error;
  if (!fs::exists(fs::symlink_status(path, error)))
    return;
  if (!fs::is_directory(fs::symlink_status(path, error)))
    throw new Exception("'" + folder.str() + "' is no folder");
  if (!fs::is_empty(path, error) || error)
    throw new Exception("'" + folder.str() +
                        "' is not empty; credentials are written to a folder of their own");
}

/// Adds the folders that it made, those above first.
void MakeFolders(const Path& folder, mode_t mode, std::vector<fs::path>& made) {
  fs::path path(folder.str().str());
  if (!path.has_filename() && path.has_relative_path()) // "a/"
    path = path.parent_path();
  std::error_code error;
  std::vector<fs::path> missing;
  for (fs::path above = path.parent_path(); !above.empty() && !fs::exists(above, error);
       above = above.parent_path())
    missing.push_back(above);
  for (; !missing.empty(); missing.pop_back()) {
    if (fs::create_directory(missing.back(), error))
      made.push_back(missing.back());
  }
  if (mkdir(path.c_str(), mode) == 0)
    made.push_back(path);
  else if (errno != EEXIST)
    rlib::ThrowError("Cannot make the folder '" + folder.str() + "'", errno);
  struct stat info {};
  if (stat(path.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
    throw new Exception("'" + folder.str() + "' is no folder");
}

} // namespace

void MakeFolder(const Path& folder, mode_t mode) {
  std::vector<fs::path> made;
  MakeFolders(folder, mode, made);
}

CredentialsFolder::Made::~Made() {
  std::error_code ignored;
  for (; !m_Paths.empty(); m_Paths.pop_back())
    fs::remove(m_Paths.back(), ignored);
}

CredentialsFolder::CredentialsFolder(const Path& folder, const std::string& key) : m_Folder(folder) {
  RequireEmpty(folder);
  MakeFolders(folder, 0700, m_Made.m_Paths);
  Write("client.key", key, k_Secret);
  Write("room", std::string(k_Room, '\n'), k_Secret);
}

void CredentialsFolder::Complete(const std::string& authorities, const std::string& certificate,
                                 const String& address) {
  std::error_code error;
  if (!fs::remove(m_Made.m_Paths.back(), error)) // the room
    rlib::ThrowError("Cannot write to the folder '" + m_Folder.str() + "'", error.value());
  m_Made.m_Paths.pop_back();
  Write("ca.pem", authorities, k_Public);
  Write("brenic.conf",
        fmt::format("[Client]\nMaster = {}\nCA = ca.pem\nCertificate = client.pem\nKey = client.key\n",
                    address.str()),
        k_Public);
  Write("client.pem", certificate, k_Public);
  m_Made.m_Paths.clear();
}

/// Makes a file that must not exist: an existing one would keep its mode and owner.
void CredentialsFolder::Write(const char* name, const std::string& text, int mode) {
  const Path file = m_Folder / name;
  rlib::OutFile out(file, rlib::OutFile::k_Write | rlib::OutFile::k_Create | rlib::OutFile::k_Truncate, true,
                    false, mode);
  out.Put(String(text));
  out.Close();
  m_Made.m_Paths.emplace_back(file.str().str());
}

} // namespace brenic::master
