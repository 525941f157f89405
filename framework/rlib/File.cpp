#include "rlib/File.h"

#include <sys/stat.h>

namespace rlib {

bool File::Exists(const Path& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0;
}

} // namespace rlib
