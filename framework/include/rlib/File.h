// What files have in common: a name.
#pragma once

#include "rlib/Path.h"
#include "rlib/String.h"

namespace rlib {

/// A named file.
class File {
public:
  File() = default;
  virtual ~File() = default;

  void SetFileName(const String& name) { m_FileName = name; }
  const String& FileName() const { return m_FileName; }

  /// Whether something of that name exists; a symbolic link counts by what it leads to.
  static bool Exists(const Path& path);

private:
  String m_FileName;
};

} // namespace rlib
