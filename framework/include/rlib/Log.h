// The log of the process, and lines for its user.
#pragma once

#include <functional>
#include <optional>

#include "rlib/Path.h"
#include "rlib/Result.h"
#include "rlib/String.h"

namespace rlib {

/// The log of the process. Every line goes to a ring of recent lines in memory; lines up to the file level go
/// to the log file, lines up to the display level to stdErr. Usable from any thread and at any time; what is
/// said before the first file is open is written to it then (the first 100 lines). No operation throws. A
/// line: UTC time with milliseconds, process, thread, level, text; control characters are written escaped.
class Log {
public:
  enum Level { k_Nothing, k_Error, k_Warning, k_System, k_Info, k_Debug, k_Trace };
  static constexpr int k_DefaultFileLevel = k_Debug;
  static constexpr int k_DefaultDisplayLevel = k_Nothing;

  /// $XDG_STATE_HOME/brenic/log, else /var/log/brenic for root and ~/.local/state/brenic/log for others.
  /// Empty when no home is known.
  static Path DefaultFolder();

  /// Starts writing to <folder>/<application>.log, which is appended to; the folder is made when missing. A
  /// file of 10 MiB is first moved aside (.1 to .5). Fails with a whole sentence when the file cannot be
  /// written; the levels are set in either case. May be called again.
  static Result<> Open(const String& application, const Path& folder, int fileLevel, int displayLevel);

  /// Opens the file anew, as after it was moved aside, and takes these levels. Fails with a whole sentence
  /// when it cannot be written; then file and levels stay as they were.
  static Result<> Reopen(int fileLevel, int displayLevel);

  /// Ends writing to the file; the display ends too.
  static void Close();

  static void Write(Level level, const String& text);

  /// Writes the recent lines of all levels to a new file in the log folder. Returns its path; no value
  /// when it could not be written (which is logged).
  static std::optional<Path> Dump();

  /// For tests: called with every line's level and text, on the thread that logs; an empty function ends it.
  static void SetObserver(std::function<void(int level, const String& text)> observer);
};

void LogError(const String& text);
void LogWarning(const String& text);
void LogSystem(const String& text);
void LogInfo(const String& text);
void LogDebug(const String& text);
void LogTrace(const String& text);

/// What a line of that level on stdErr begins with, so that the journal of systemd knows its priority ("<3>"
/// for an error); nothing where stdErr is something else (JOURNAL_STREAM says what the journal's is).
const char* JournalPriority(Log::Level level);

/// The one way to tell the user and the log: one line on stdErr, and a line of that level. Control characters
/// in what it quotes are written escaped in both, so that it stays one line and leaves the terminal alone.
void Report(Log::Level level, const String& line);

} // namespace rlib
