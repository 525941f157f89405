#include "rlib/Stream.h"

#include <algorithm>
#include <unistd.h>

#include "Descriptor.h"
#include "rlib/Escape.h"
#include "rlib/Exception.h"
#include "rlib/Failures.h"

namespace rlib {
namespace {

// Static initialisers and destructors of other files may write at any time.
template <typename T>
union NeverDestroyed {
  template <typename... Args>
  constexpr explicit NeverDestroyed(Args... args) : m_Value(args...) {}
  constexpr ~NeverDestroyed() {}
  T m_Value;
};

constinit NeverDestroyed<LineStream> s_StdErr(STDERR_FILENO, "standard error", nullptr,
                                              LineStream::Controls::k_Escaped);
constinit NeverDestroyed<LineStream> s_StdOut(STDOUT_FILENO, "standard output", &s_StdErr.m_Value);

} // namespace

constinit LineStream& stdErr = s_StdErr.m_Value;
constinit LineStream& stdOut = s_StdOut.m_Value;

void OutStream::Put(const char* text, eolType eol) {
  if (!text)
    return;
  std::string_view rest = text;
  if (eol == k_EolWindows) {
    for (size_t end; (end = rest.find('\n')) != std::string_view::npos; rest.remove_prefix(end + 1)) {
      Write(rest.substr(0, end));
      Write("\r\n");
    }
  }
  Write(rest);
}

std::string& LineStream::Pending() {
  const auto self = std::this_thread::get_id();
  const auto found =
      std::find_if(m_Pending.begin(), m_Pending.end(), [self](auto& entry) { return entry.first == self; });
  return found != m_Pending.end() ? found->second : m_Pending.emplace_back(self, std::string()).second;
}

void LineStream::Write(std::string_view text) {
  const std::lock_guard lock(m_Mutex);
  if (!m_Failed || m_Capture)
    Pending().append(text);
}

void LineStream::EndLine(std::string_view eol) {
  Result<> written;
  {
    const std::lock_guard lock(m_Mutex);
    written = Emit(Pending(), eol);
    // A thread that ends leaves nothing behind.
    std::erase_if(m_Pending,
                  [self = std::this_thread::get_id()](auto& entry) { return entry.first == self; });
  }
  Complain(written);
}

void LineStream::PutLine(const String& text) {
  Result<> written;
  {
    const std::lock_guard lock(m_Mutex);
    written = Emit(text, "\n");
  }
  Complain(written);
}

void LineStream::Close(bool discard) {
  Result<> written;
  {
    const std::lock_guard lock(m_Mutex);
    for (auto& [thread, text] : m_Pending)
      if (!discard && written)
        written = Emit(text, {});
    m_Pending.clear();
  }
  Complain(written);
}

void LineStream::Capture(std::string* sink) {
  const std::lock_guard lock(m_Mutex);
  m_Capture = sink;
}

Result<> LineStream::Emit(std::string_view text, std::string_view eol) {
  std::string line = m_Controls == Controls::k_Escaped ? EscapeControls(text).str() : std::string(text);
  line.append(eol);
  if (m_Capture) {
    m_Capture->append(line);
    return {};
  }
  if (m_Failed)
    return {};
  const int error = WriteAll(m_Fd, line);
  if (error == 0)
    return {};
  m_Failed = true;
  return Failure(ErrorText(error));
}

void LineStream::Complain(const Result<>& written) {
  if (written)
    return;
  NoteOutputFailure();
  if (m_Complaints)
    m_Complaints->PutLine(String("Cannot write to ") + m_Name + ": " + written.Reason());
}

} // namespace rlib
