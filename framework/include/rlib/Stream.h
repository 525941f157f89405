// Text output: what all streams share, and standard output and standard error.
#pragma once

#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "rlib/Result.h"
#include "rlib/String.h"

namespace rlib {

/// What streams have in common.
class Stream {
public:
  /// End of line: the platform's default (a line feed here), a line feed, or carriage return and line feed.
  enum eolType { k_EolDefault = 0, k_EolUnix = 1, k_EolWindows = 2 };

  constexpr Stream() = default;
  virtual ~Stream() = default;
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  /// Ends the use of the stream. With discard, text not written yet is dropped.
  virtual void Close(bool discard = false) = 0;
};

/// A sink for text. Each kind of sink says what becomes of failures and whether threads may share it.
class OutStream : public Stream {
public:
  constexpr OutStream() = default;

  void Put(const String& text) { Write(text); }
  /// Line feeds inside the text are written as the given end of line; none is added.
  void Put(const char* text, eolType eol = k_EolDefault);
  void PutEOL(eolType eol = k_EolDefault) { EndLine(eol == k_EolWindows ? "\r\n" : "\n"); }

protected:
  virtual void Write(std::string_view text) = 0;
  virtual void EndLine(std::string_view eol) { Write(eol); }
};

/// Line-wise output to a file descriptor that it does not own. Text accumulates per thread until that
/// thread's PutEOL, which writes the whole line in one go, so lines of different threads never mix. A failed
/// write is noted as an output failure of the process (Failures.h), reported once as one line on the stream
/// for complaints, and everything put later is dropped. Never throws. The process must ignore SIGPIPE.
class LineStream : public OutStream {
public:
  /// What becomes of the control characters of a text (EscapeControls in Escape.h). Escaped, also its line
  /// feeds: then only PutEOL and PutLine end a line.
  enum class Controls { k_AsTheyAre, k_Escaped };

  constexpr LineStream(int fd, const char* name, LineStream* complaints = nullptr,
                       Controls controls = Controls::k_AsTheyAre)
      : m_Fd(fd), m_Name(name), m_Complaints(complaints), m_Controls(controls) {}

  /// One whole line, without touching text that is still accumulating.
  void PutLine(const String& text);

  /// Writes (or drops) what all threads have accumulated without an end of line. The stream stays usable.
  void Close(bool discard = false) override;

  /// For tests: lines go into the text instead of the descriptor until Capture(nullptr). Text that
  /// accumulates is captured when its line ends.
  void Capture(std::string* sink);

protected:
  void Write(std::string_view text) override;
  void EndLine(std::string_view eol) override;

private:
  /// Fails only once: what is to be complained about. Under the lock.
  Result<> Emit(std::string_view text, std::string_view eol);
  /// Notes and reports a line that could not be written. Without the lock.
  void Complain(const Result<>& written);
  std::string& Pending();

  const int m_Fd;
  const char* const m_Name;
  LineStream* const m_Complaints;
  const Controls m_Controls;
  std::mutex m_Mutex;
  std::vector<std::pair<std::thread::id, std::string>> m_Pending;
  std::string* m_Capture = nullptr;
  bool m_Failed = false;
};

/// Standard output, which writes what it is given, and standard error, which escapes control characters: its
/// texts quote arguments, files and peers. Usable from any thread and at any time, static initialisation and
/// destruction included; never destroyed.
extern LineStream& stdOut;
extern LineStream& stdErr;

} // namespace rlib
