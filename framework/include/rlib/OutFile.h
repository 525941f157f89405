// Writing a file as a whole, so that nobody ever sees half of it.
#pragma once

#include <string>
#include <sys/types.h>

#include "rlib/Path.h"
#include "rlib/Result.h"
#include "rlib/Stream.h"

namespace rlib {

/// Writes a whole file. A regular file is replaced in one step when it is closed, so that readers see the
/// earlier contents or the new, and a failure leaves the earlier file as it was; mode and owner are kept, a
/// symbolic link is resolved. What is not a regular file (device, pipe) is written through. Every failure is
/// thrown as an Exception*. Not for use by several threads at once.
class OutFile : public OutStream {
public:
  /// Bits of the mode. Contents are always replaced: k_Write and k_Truncate are required.
  static constexpr int k_Write = 2;
  static constexpr int k_Create = 4;
  static constexpr int k_Truncate = 16;

  /// exclusive: fails when the file exists. createFolders: makes missing folders above it. permissions of a
  /// new file: -1 for the usual 0666 less the umask.
  OutFile(const Path& path, int mode = k_Write | k_Create | k_Truncate, bool exclusive = false,
          bool createFolders = false, int permissions = -1);
  /// Without Close before it, the earlier file stays and nothing is left behind.
  ~OutFile() override;

  /// Brings the contents to disk and puts them in place; with discard, gives them up. Later calls do nothing.
  void Close(bool discard = false) override;

protected:
  void Write(std::string_view text) override;

private:
  void OpenTemporary(bool exists, mode_t mode, uid_t owner, gid_t group, int permissions);
  void Flush();
  void Abandon() noexcept;
  [[noreturn]] void Fail(int error);
  [[noreturn]] void Fail(const Failure& why);

  const Path m_Path;
  Path m_Target;
  Path m_Temporary; // empty when written through
  bool m_Exclusive;
  int m_Fd = -1;
  std::string m_Buffer;
};

} // namespace rlib
