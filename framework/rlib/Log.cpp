#include "rlib/Log.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <deque>
#include <fcntl.h>
#include <memory>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>

#include "Descriptor.h"
#include "LogFile.h"
#include "rlib/Escape.h"
#include "rlib/Exception.h"
#include "rlib/SFormat.h"
#include "rlib/Stream.h"
#include "rlib/Time.h"

namespace rlib {
namespace {

constexpr size_t k_RingLines = 10000;
constexpr size_t k_RingBytes = 8 << 20;
constexpr size_t k_EarlyLines = 100;
constexpr size_t k_RingLineBytes = 64 << 10;
constexpr const char* k_LevelNames[] = {"NOTHING", "ERROR", "WARNING", "SYSTEM", "INFO", "DEBUG", "TRACE"};
// By level, as sd-daemon(3) has them. A notice is the journal's word for what belongs to ordinary operation
// but is to be seen.
constexpr const char* k_JournalPriorities[] = {"", "<3>", "<4>", "<5>", "<6>", "<7>", "<7>"};

using Observer = std::function<void(int, const String&)>;

struct State {
  std::mutex m_Mutex;
  std::vector<std::pair<int, std::string>> m_Early; // levels and lines of before the first file
  bool m_HadFile = false;
  std::deque<std::string> m_Ring;
  size_t m_RingBytes = 0;
  LogFile m_File;
  Path m_Folder;
  String m_Application = "brenic";
  int m_FileLevel = Log::k_Nothing;
  int m_DisplayLevel = Log::k_Nothing;
  int m_Dumps = 0;
  bool m_Complained = false;
  std::shared_ptr<const Observer> m_Observer;
};

// Never destroyed: destructors of static objects log too.
State& TheState() {
  static State* const s_State = new State;
  return *s_State;
}

void Remember(State& state, const std::string& line) {
  state.m_Ring.push_back(line.size() <= k_RingLineBytes ? line : line.substr(0, k_RingLineBytes) + "...\n");
  state.m_RingBytes += state.m_Ring.back().size();
  while (state.m_Ring.size() > k_RingLines || state.m_RingBytes > k_RingBytes) {
    state.m_RingBytes -= state.m_Ring.front().size();
    state.m_Ring.pop_front();
  }
}

/// What was said before there was a file belongs into the first one, too.
Result<> WriteEarly(State& state) {
  state.m_HadFile = true;
  for (const auto& [level, line] : std::exchange(state.m_Early, {})) {
    if (level > state.m_FileLevel)
      continue;
    if (Result<> appended = state.m_File.Append(line); !appended)
      return appended;
  }
  return {};
}

mode_t FolderMode(const Path& folder) {
  return std::string_view(folder.str()).starts_with("/var/log/") ? 0755 : 0700;
}

String FileNameOf(const String& application) {
  std::string name = application.str();
  std::replace(name.begin(), name.end(), '/', '_');
  return name.empty() || name.front() == '.' ? "brenic" + String(name) : String(name);
}

/// Opens the log file of the state's folder and application.
Result<> OpenFile(const State& state, LogFile& file) {
  const Path& folder = state.m_Folder;
  if (folder.empty())
    return Failure("Cannot write a log: no log folder is known");
  if (const Result<> made = MakeFolders(folder.str().str(), FolderMode(folder)); !made)
    return Failure("Cannot make the log folder '" + folder.str() + "': " + made.Reason());
  const Path path = folder / Path(state.m_Application + ".log");
  if (const Result<> opened = file.Open(path.str().str()); !opened)
    return Failure("Cannot write the log file '" + path.str() + "': " + opened.Reason());
  return {};
}

Result<> WriteDump(const Path& path, std::string_view contents) {
  const Path folder = path.Parent();
  if (Result<> made = MakeFolders(folder.str().str(), FolderMode(folder)); !made)
    return made;
  const Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0640));
  if (!file)
    return Failure(ErrorText(errno));
  int error = WriteAll(file.Get(), contents);
  if (error == 0 && fsync(file.Get()) != 0)
    error = errno;
  if (error == 0)
    return {};
  unlink(path.c_str());
  return Failure(ErrorText(error));
}

} // namespace

Path Log::DefaultFolder() {
  const char* const state = std::getenv("XDG_STATE_HOME");
  if (state && *state == '/')
    return Path(state) / "brenic/log";
  if (geteuid() == 0)
    return "/var/log/brenic";
  const char* const home = std::getenv("HOME");
  return home && *home ? Path(home) / ".local/state/brenic/log" : Path();
}

Result<> Log::Open(const String& application, const Path& folder, int fileLevel, int displayLevel) {
  State& state = TheState();
  const std::lock_guard lock(state.m_Mutex);
  state.m_Application = FileNameOf(application);
  state.m_Folder = folder;
  state.m_FileLevel = fileLevel;
  state.m_DisplayLevel = displayLevel;
  state.m_Complained = false;
  state.m_File.Close();
  if (fileLevel <= k_Nothing)
    return WriteEarly(state); // drops it
  if (Result<> opened = OpenFile(state, state.m_File); !opened)
    return opened;
  return WriteEarly(state);
}

Result<> Log::Reopen(int fileLevel, int displayLevel) {
  State& state = TheState();
  const std::lock_guard lock(state.m_Mutex);
  LogFile file;
  if (fileLevel > k_Nothing) {
    if (Result<> opened = OpenFile(state, file); !opened)
      return opened;
  }
  state.m_File = std::move(file);
  state.m_FileLevel = fileLevel;
  state.m_DisplayLevel = displayLevel;
  state.m_Complained = false;
  static_cast<void>(WriteEarly(state)); // what cannot be written now cannot later
  return {};
}

void Log::Close() {
  State& state = TheState();
  const std::lock_guard lock(state.m_Mutex);
  state.m_File.Close();
  state.m_Folder = Path();
  state.m_FileLevel = k_Nothing;
  state.m_DisplayLevel = k_Nothing;
}

void Log::Write(Level level, const String& text) {
  const String body = EscapeControls(text);
  State& state = TheState();
  bool display = false;
  String line;
  std::optional<String> complaint;
  std::shared_ptr<const Observer> observer;
  {
    const std::lock_guard lock(state.m_Mutex);
    // Made under the lock, so that the lines of a process stand in the order of their times.
    line = SFormat("%s %d %d %s ", Time::Now().Iso8601(), getpid(), gettid(), k_LevelNames[level]) + body;
    const std::string whole = line.str() + "\n";
    Remember(state, whole);
    if (!state.m_HadFile && state.m_Early.size() < k_EarlyLines)
      state.m_Early.emplace_back(level, state.m_Ring.back());
    if (level <= state.m_FileLevel && state.m_File.IsOpen()) {
      const Result<> appended = state.m_File.Append(whole);
      if (!appended && !std::exchange(state.m_Complained, true))
        complaint = appended.Reason();
    }
    display = level <= state.m_DisplayLevel;
    observer = state.m_Observer;
  }
  if (complaint)
    stdErr.PutLine(JournalPriority(k_Error) + *complaint);
  if (display)
    stdErr.PutLine(JournalPriority(level) + line);
  if (observer)
    (*observer)(level, text);
}

std::optional<Path> Log::Dump() {
  State& state = TheState();
  std::string contents;
  Path path;
  {
    const std::lock_guard lock(state.m_Mutex);
    contents.reserve(state.m_RingBytes);
    for (const std::string& line : state.m_Ring)
      contents += line;
    if (!state.m_Folder.empty())
      path = state.m_Folder / Path(SFormat("%s.dump.%s.%d.%d.log", state.m_Application,
                                           Time::Now().Format("%Y%m%d-%H%M%S"), getpid(), ++state.m_Dumps));
  }
  if (path.empty()) {
    LogError("Cannot dump the log: no log folder is in use");
    return std::nullopt;
  }
  if (const Result<> written = WriteDump(path, contents); !written) {
    LogError("Cannot dump the log to '" + path.str() + "': " + written.Reason());
    return std::nullopt;
  }
  return path;
}

void Log::SetObserver(std::function<void(int, const String&)> observer) {
  State& state = TheState();
  auto shared = observer ? std::make_shared<const Observer>(std::move(observer)) : nullptr;
  const std::lock_guard lock(state.m_Mutex);
  state.m_Observer.swap(shared);
}

void LogError(const String& text) {
  Log::Write(Log::k_Error, text);
}

void LogWarning(const String& text) {
  Log::Write(Log::k_Warning, text);
}

void LogSystem(const String& text) {
  Log::Write(Log::k_System, text);
}

void LogInfo(const String& text) {
  Log::Write(Log::k_Info, text);
}

void LogDebug(const String& text) {
  Log::Write(Log::k_Debug, text);
}

void LogTrace(const String& text) {
  Log::Write(Log::k_Trace, text);
}

const char* JournalPriority(Log::Level level) {
  const char* const stream = std::getenv("JOURNAL_STREAM");
  struct stat info {};
  if (!stream || fstat(STDERR_FILENO, &info) != 0)
    return "";
  const std::string own = std::to_string(info.st_dev) + ":" + std::to_string(info.st_ino);
  return own == stream ? k_JournalPriorities[level] : "";
}

void Report(Log::Level level, const String& line) {
  Log::Write(level, line);
  stdErr.PutLine(JournalPriority(level) + line);
}

} // namespace rlib
