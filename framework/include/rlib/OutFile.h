// Writing a file as a whole, so that nobody ever sees half of it.
#pragma once

#include <optional>
#include <string>
#include <sys/types.h>

#include "rlib/Path.h"
#include "rlib/Result.h"
#include "rlib/Stream.h"

namespace rlib {

/// Writes a whole file. The text is kept in memory until Close, which replaces a regular file in one step, so
/// that readers see the earlier contents or the new, and a failure leaves the earlier file as it was. Mode
/// and owner are kept, a symbolic link is resolved; further hard links go on leading to the earlier contents,
/// and extended attributes are not carried over. Where the folder, or the owner of the file, does not allow
/// to replace a file that may be written, Close writes over its contents, having made sure of the room for
/// them. What is not a regular file (device, pipe) is written through. Every failure is thrown as an
/// Exception*. Not for use by several threads at once. The process must ignore SIGXFSZ.
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
  struct Earlier {
    mode_t m_Mode;
    uid_t m_Owner;
    gid_t m_Group;
  };

  // Each returns 0 or the errno value of its failure.
  int Flush();
  int CloseThrough();
  int Replace();
  int WriteOver();

  void Abandon() noexcept;
  [[noreturn]] void Fail(int error);
  [[noreturn]] void Fail(const Failure& why);

  const Path m_Path;
  Path m_Target;
  const bool m_Exclusive;
  const mode_t m_Permissions;
  std::optional<Earlier> m_Earlier; // the regular file that is to be replaced
  bool m_IsOpen = false;
  int m_Fd = -1; // of what is written through
  std::string m_Text;
};

} // namespace rlib
