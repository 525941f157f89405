// The file in which new contents wait to take another file's place.
#pragma once

#include <string>
#include <sys/types.h>

#include "Descriptor.h"
#include "rlib/Path.h"

namespace rlib {

/// A file beside `target` under a name of its own, `.NAME.UUID.brenic`, open for writing and locked while it
/// is here; removed in the end unless it was moved. One whose maker was killed is known by its lock being
/// free, and is removed by the next one for the same target.
class TemporaryFile {
public:
  explicit TemporaryFile(const Path& target) : m_Target(target) {}
  ~TemporaryFile() { Remove(); }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  // Each returns 0 or the errno value of its failure.

  [[nodiscard]] int Make(mode_t mode);
  /// Gives it the target's name: in its place, or, exclusive, only where there is none.
  [[nodiscard]] int Move(bool exclusive);

  int Get() const { return m_File.Get(); }

private:
  int MakeOnce(mode_t mode);
  void RemoveLeftBehind() const;
  void Remove() noexcept;

  const Path m_Target;
  Path m_Name; // empty while there is none
  Descriptor m_File;
};

} // namespace rlib
