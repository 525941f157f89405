#include "client/Configuration.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <unistd.h>

#include <fmt/core.h>

#include "net/Asio.h"
#include "rlib/IniFile.h"

namespace brenic {

using rlib::Failure;
using rlib::Result;

namespace {

Path FromEnvironment(const char* name) {
  const char* value = std::getenv(name);
  return value ? Path(value) : Path();
}

/// Whether somebody listens there; does not wait.
bool IsServed(const Path& socket) {
  using asio::local::stream_protocol;
  asio::io_context io;
  stream_protocol::socket probe(io);
  error_code error;
  probe.open(stream_protocol(), error);
  probe.non_blocking(true, error);
  if (socket.size() < stream_protocol::endpoint().capacity() - sizeof(sa_family_t))
    probe.connect(stream_protocol::endpoint(socket.str().str()), error);
  else
    error = asio::error::name_too_long;
  return !error;
}

} // namespace

rlib::vector<Path> ConfigurationFiles() {
  if (const Path named = FromEnvironment("BRENIC_CONFIG"); !named.empty())
    return {named};
  rlib::vector<Path> files;
  Path base = FromEnvironment("XDG_CONFIG_HOME");
  if (const Path home = FromEnvironment("HOME"); base.empty() && !home.empty())
    base = home / ".config";
  if (!base.empty())
    files.push_back(base / "brenic/brenic.conf");
  files.push_back("/etc/brenic/brenic.conf");
  return files;
}

rlib::vector<Path> LocalSockets() {
  rlib::vector<Path> sockets;
  if (const Path runtime = FromEnvironment("XDG_RUNTIME_DIR"); !runtime.empty())
    sockets.push_back(runtime / "brenic/master.sock");
  sockets.push_back("/run/brenic/master.sock");
  std::erase_if(sockets, [](const Path& socket) { return !rlib::File::Exists(socket); });
  std::stable_partition(sockets.begin(), sockets.end(), IsServed);
  return sockets;
}

namespace {

/// The first of the files that is there, and can be read.
Result<std::optional<Path>> FindConfiguration() {
  const bool named = !FromEnvironment("BRENIC_CONFIG").empty();
  for (const Path& file : ConfigurationFiles()) {
    if (!named && !rlib::File::Exists(file))
      continue;
    if (access(file.c_str(), R_OK) != 0)
      return Failure(fmt::format("Cannot read the configuration '{}': {}", file.str().str(),
                                 rlib::ErrorText(errno).str()));
    return file;
  }
  return std::nullopt;
}

Result<Configuration> ReadConfiguration(const Path& file) {
  rlib::IniFile ini;
  ini.SetFileName(file.str());
  if (!ini.Load(true, false))
    return Failure(fmt::format("Cannot read the configuration '{}'", file.str().str()));
  Configuration configuration;
  configuration.m_File = file;
  const Path folder = file.Parent();
  Credentials& credentials = configuration.m_Credentials;
  while (ini.SetNextSection()) {
    if (ini.GetCurrentSection().CompareNoCase("Client") != 0)
      continue;
    String name, value;
    while (ini.GetNextValue(name, value)) {
      if (name.CompareNoCase("Master") == 0)
        configuration.m_Master = value;
      else if (name.CompareNoCase("CA") == 0)
        credentials.m_Authority = folder / value;
      else if (name.CompareNoCase("Certificate") == 0)
        credentials.m_Certificate = folder / value;
      else if (name.CompareNoCase("Key") == 0)
        credentials.m_Key = folder / value;
      else if (name.CompareNoCase("ConnectTimeout") == 0)
        configuration.m_ConnectTimeout = value;
    }
  }
  return configuration;
}

} // namespace

Result<std::optional<Configuration>> LoadConfiguration() {
  const Result<std::optional<Path>> file = FindConfiguration();
  if (!file)
    return file.Why();
  if (!*file)
    return std::nullopt;
  Result<Configuration> configuration = ReadConfiguration(**file);
  if (!configuration)
    return configuration.Why();
  return std::move(*configuration);
}

} // namespace brenic
