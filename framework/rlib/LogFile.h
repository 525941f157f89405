// The file behind the log.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Descriptor.h"

namespace rlib {

/// A log file that several processes append to. Not for use by several threads at once.
class LogFile {
public:
  static constexpr int64_t k_MaxSize = 10 * 1024 * 1024;
  static constexpr int k_Kept = 5;

  /// Opens the file for appending, moving a full one aside before. When that fails, one that is open stays
  /// so.
  Result<> Open(const std::string& path);
  void Close() { m_Fd.Reset(); }
  bool IsOpen() const { return static_cast<bool>(m_Fd); }
  const std::string& Path() const { return m_Path; }

  /// Appends with one write. Fails with a whole sentence.
  Result<> Append(std::string_view line);

private:
  Result<> OpenOnce();
  bool IsCurrent() const;
  void Rotate() const;

  std::string m_Path;
  Descriptor m_Fd;
  int64_t m_Size = 0;
};

} // namespace rlib
