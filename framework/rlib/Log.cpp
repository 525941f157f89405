#include "rlib/Log.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <deque>
#include <fcntl.h>
#include <memory>
#include <mutex>
#include <unistd.h>

#include "Descriptor.h"
#include "LogFile.h"
#include "rlib/Exception.h"
#include "rlib/SFormat.h"
#include "rlib/Stream.h"
#include "rlib/Time.h"

namespace rlib {
namespace {

constexpr std::size_t k_RingLines = 10000;
constexpr std::size_t k_RingBytes = 8 << 20;
constexpr std::size_t k_RingLineBytes = 64 << 10;
constexpr const char* k_LevelNames[] = {"NOTHING", "ERROR", "WARNING", "SYSTEM", "INFO", "DEBUG", "TRACE"};

using Observer = std::function<void(int, const String&)>;

struct State {
  std::mutex mutex;
  std::deque<std::string> ring;
  std::size_t ringBytes = 0;
  LogFile file;
  Path folder;
  String application = "brenic";
  int fileLevel = Log::k_Nothing;
  int displayLevel = Log::k_Nothing;
  int dumps = 0;
  bool complained = false;
  std::shared_ptr<const Observer> observer;
};

// Never destroyed: destructors of static objects log too.
State& TheState() {
  static State* const state = new State;
  return *state;
}

void Remember(State& state, const std::string& line) {
  state.ring.push_back(line.size() <= k_RingLineBytes ? line : line.substr(0, k_RingLineBytes) + "...\n");
  state.ringBytes += state.ring.back().size();
  while (state.ring.size() > k_RingLines || state.ringBytes > k_RingBytes) {
    state.ringBytes -= state.ring.front().size();
    state.ring.pop_front();
  }
}

mode_t FolderMode(const Path& folder) {
  return std::string_view(folder.str()).starts_with("/var/log/") ? 0755 : 0700;
}

String FileNameOf(const String& application) {
  std::string name = application.str();
  std::replace(name.begin(), name.end(), '/', '_');
  return name.empty() || name.front() == '.' ? "brenic" + String(name) : String(name);
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

String Log::Open(const String& application, const Path& folder, int fileLevel, int displayLevel) {
  State& state = TheState();
  const std::lock_guard lock(state.mutex);
  state.application = FileNameOf(application);
  state.folder = folder;
  state.fileLevel = fileLevel;
  state.displayLevel = displayLevel;
  state.complained = false;
  state.file.Close();
  if (fileLevel <= k_Nothing)
    return {};
  if (folder.empty())
    return "Cannot write a log: no log folder is known";
  const int error = MakeFolders(folder.str().str(), FolderMode(folder));
  if (error != 0)
    return "Cannot make the log folder '" + folder.str() + "': " + ErrorText(error);
  const Path path = folder / Path(state.application + ".log");
  const std::string problem = state.file.Open(path.str().str());
  if (!problem.empty())
    return "Cannot write the log file '" + path.str() + "': " + problem;
  return {};
}

void Log::Close() {
  State& state = TheState();
  const std::lock_guard lock(state.mutex);
  state.file.Close();
  state.folder = Path();
  state.fileLevel = k_Nothing;
  state.displayLevel = k_Nothing;
}

void Log::Write(Level level, const String& text) {
  const String body = EscapeControls(text);
  State& state = TheState();
  bool display = false;
  String line;
  String complaint;
  std::shared_ptr<const Observer> observer;
  {
    const std::lock_guard lock(state.mutex);
    // Made under the lock, so that the lines of a process stand in the order of their times.
    line = SFormat("%s %d %d %s ", Time::Now().Iso8601(), getpid(), gettid(), k_LevelNames[level]) + body;
    const std::string whole = line.str() + "\n";
    Remember(state, whole);
    if (level <= state.fileLevel && state.file.IsOpen()) {
      const int error = state.file.Append(whole);
      if (error != 0 && !std::exchange(state.complained, true))
        complaint = "Cannot write to the log file '" + String(state.file.Path()) + "': " + ErrorText(error);
    }
    display = level <= state.displayLevel;
    observer = state.observer;
  }
  if (!complaint.empty())
    stdErr.PutLine(complaint);
  if (display)
    stdErr.PutLine(line);
  if (observer)
    (*observer)(level, text);
}

Path Log::Dump() {
  State& state = TheState();
  std::string contents;
  Path path;
  {
    const std::lock_guard lock(state.mutex);
    contents.reserve(state.ringBytes);
    for (const std::string& line : state.ring)
      contents += line;
    if (!state.folder.empty())
      path = state.folder / Path(SFormat("%s.dump.%s.%d.%d.log", state.application,
                                         Time::Now().Format("%Y%m%d-%H%M%S"), getpid(), ++state.dumps));
  }
  if (path.empty()) {
    LogError("Cannot dump the log: no log folder is in use");
    return {};
  }
  int error = MakeFolders(path.Parent().str().str(), FolderMode(path.Parent()));
  if (error == 0) {
    const Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0640));
    error = file ? WriteAll(file.Get(), contents) : errno;
    if (error == 0 && fsync(file.Get()) != 0)
      error = errno;
    if (file && error != 0)
      unlink(path.c_str());
  }
  if (error != 0) {
    LogError("Cannot dump the log to '" + path.str() + "': " + ErrorText(error));
    return {};
  }
  return path;
}

void Log::SetObserver(std::function<void(int, const String&)> observer) {
  State& state = TheState();
  auto shared = observer ? std::make_shared<const Observer>(std::move(observer)) : nullptr;
  const std::lock_guard lock(state.mutex);
  state.observer.swap(shared);
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

void Report(Log::Level level, const String& line) {
  Log::Write(level, line);
  stdErr.PutLine(line);
}

String EscapeControls(const String& string) {
  static constexpr char digits[] = "0123456789abcdef";
  const std::string& text = string.str();
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    // U+0080 to U+009F in UTF-8: terminals take them for controls too.
    const bool c1 = c == 0xc2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) >= 0x80 &&
                    static_cast<unsigned char>(text[i + 1]) <= 0x9f;
    if (c == '\n')
      out += "\\n";
    else if (c == '\t')
      out += "\\t";
    else if (c == '\r')
      out += "\\r";
    else if (c < 0x20 || c == 0x7f)
      out.append("\\x").append({digits[c >> 4], digits[c & 15]});
    else if (c1) {
      const auto next = static_cast<unsigned char>(text[++i]);
      out.append("\\xc2\\x").append({digits[next >> 4], digits[next & 15]});
    } else
      out += static_cast<char>(c);
  }
  return String(std::move(out));
}

} // namespace rlib
