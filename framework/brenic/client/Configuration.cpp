#include "client/Configuration.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>

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

constexpr size_t k_LongestFile = 1 << 20; // bytes

/// Relative to the file; empty where nothing is named.
Path Beside(const Configuration& configuration, const String& value) {
  return value.empty() ? Path() : configuration.m_File.Parent() / value;
}

/// The names that [Client] may hold.
constexpr struct {
  const char* m_Name;
  void (*m_Take)(Configuration& configuration, const String& value);
} k_Names[] = {
    {"Master", [](Configuration& c, const String& value) { c.m_Master = value; }},
    {"CA", [](Configuration& c, const String& v) { c.m_Credentials.m_Authority = Beside(c, v); }},
    {"Certificate", [](Configuration& c, const String& v) { c.m_Credentials.m_Certificate = Beside(c, v); }},
    {"Key", [](Configuration& c, const String& v) { c.m_Credentials.m_Key = Beside(c, v); }},
    {"ConnectTimeout", [](Configuration& c, const String& value) { c.m_ConnectTimeout = value; }},
};

std::string KnownNames() {
  std::string names;
  for (const auto& known : k_Names)
    names += (names.empty() ? "" : ", ") + std::string(known.m_Name);
  return names;
}

/// Takes a configuration line by line.
class Reader {
public:
  explicit Reader(const Path& file) { m_Configuration.m_File = file; }

  const Configuration& Done() const { return m_Configuration; }

  /// Fails with what is wrong with the line.
  Result<> Take(std::string_view line) {
    const auto isControl = [](unsigned char c) { return (c < 0x20 && c != '\t') || c == 0x7f; };
    if (std::any_of(line.begin(), line.end(), isControl))
      return Failure("it holds a control character");
    rlib::IniFile ini; // of this line alone: so its number is known
    ini.LoadText(line);
    if (ini.SkippedLines() > 0)
      return Failure("it is neither a section nor 'Name = value' nor a comment");
    if (!ini.SetNextSection())
      return {};
    String name, value;
    return ini.GetNextValue(name, value) ? TakePair(name, value) : TakeSection(ini.GetCurrentSection());
  }

private:
  Result<> TakeSection(const String& name) {
    if (name.CompareNoCase("Client") != 0)
      return Failure(fmt::format("the section [{}] is not known; there is only [Client]", name.str()));
    m_InSection = true;
    return {};
  }

  Result<> TakePair(const String& name, const String& value) {
    if (!m_InSection)
      return Failure(fmt::format("'{}' belongs under the section [Client]; write that above it", name.str()));
    for (size_t i = 0; i < std::size(k_Names); ++i) {
      if (name.CompareNoCase(k_Names[i].m_Name) != 0)
        continue;
      if (std::exchange(m_Seen[i], true))
        return Failure(fmt::format("'{}' is given a second time; keep one of them", name.str()));
      k_Names[i].m_Take(m_Configuration, value);
      return {};
    }
    return Failure(fmt::format("the name '{}' is not known; [Client] takes {}", name.str(), KnownNames()));
  }

  Configuration m_Configuration;
  bool m_InSection = false;
  bool m_Seen[std::size(k_Names)] = {};
};

Failure Unreadable(const Path& file, const String& reason) {
  return Failure(fmt::format("Cannot read the configuration '{}': {}; make it readable, or name another in "
                             "$BRENIC_CONFIG",
                             file.str().str(), reason.str()));
}

/// Whether the error says that there is no such file. A link that leads nowhere is there.
bool IsAbsent(const Path& file, int error) {
  struct stat link {};
  return (error == ENOENT || error == ENOTDIR) && lstat(file.c_str(), &link) != 0;
}

/// No value when there is no such file. Never blocks.
Result<std::optional<std::string>> ReadText(const Path& file) {
  const int descriptor = open(file.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (descriptor < 0) {
    const int error = errno;
    if (IsAbsent(file, error))
      return std::nullopt;
    return Unreadable(file, rlib::ErrorText(error));
  }
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(fdopen(descriptor, "r"), std::fclose);
  struct stat info {};
  if (fstat(descriptor, &info) != 0)
    return Unreadable(file, rlib::ErrorText(errno));
  if (!S_ISREG(info.st_mode))
    return Unreadable(file, S_ISDIR(info.st_mode) ? "it is a folder" : "it is not a regular file");
  std::string text(k_LongestFile + 1, '\0');
  text.resize(std::fread(text.data(), 1, text.size(), stream.get()));
  if (std::ferror(stream.get()))
    return Unreadable(file, rlib::ErrorText(errno));
  if (text.size() > k_LongestFile)
    return Unreadable(file, "it is longer than 1 MiB");
  return text;
}

Result<Configuration> Parse(const Path& file, std::string_view text) {
  Reader reader(file);
  for (size_t number = 1; !text.empty(); ++number) {
    const size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (line.ends_with('\r'))
      line.remove_suffix(1);
    if (const Result<> taken = reader.Take(line); !taken)
      return Failure(fmt::format("The configuration '{}' cannot be used: line {}: {}", file.str().str(),
                                 number, taken.Reason().str()));
  }
  return reader.Done();
}

} // namespace

Result<std::optional<Configuration>> LoadConfiguration() {
  const bool named = !FromEnvironment("BRENIC_CONFIG").empty();
  for (const Path& file : ConfigurationFiles()) {
    const Result<std::optional<std::string>> text = ReadText(file);
    if (!text)
      return text.Why();
    if (!*text && named)
      return Failure(fmt::format("Cannot read the configuration '{}': {}; $BRENIC_CONFIG names it: correct "
                                 "or unset that",
                                 file.str().str(), rlib::ErrorText(ENOENT).str()));
    if (!*text)
      continue;
    Result<Configuration> configuration = Parse(file, **text);
    if (!configuration)
      return configuration.Why();
    return std::move(*configuration);
  }
  return std::nullopt;
}

} // namespace brenic
