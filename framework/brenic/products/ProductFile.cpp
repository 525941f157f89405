#include "products/ProductFile.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/core.h>

#include "products/ProductDocument.h"
#include "rlib/Log.h"

namespace brenic {

String ReadProductFile(const Path& file, std::string& document) {
  const int fd = open(file.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (fd < 0)
    return rlib::ErrorText(errno);
  struct Closer {
    int m_Fd;
    ~Closer() { close(m_Fd); }
  } const closer{fd};
  struct stat info {};
  if (fstat(fd, &info) != 0)
    return rlib::ErrorText(errno);
  if (!S_ISREG(info.st_mode))
    return "it is not a regular file";
  // One more than there should be tells a file that has grown, or is too long.
  document.resize(std::min(static_cast<size_t>(info.st_size), k_MaxProductDocument) + 1);
  size_t size = 0;
  while (size < document.size()) {
    const ssize_t got = read(fd, document.data() + size, document.size() - size);
    if (got < 0 && errno == EINTR)
      continue;
    if (got < 0)
      return rlib::ErrorText(errno);
    if (got == 0)
      break;
    size += static_cast<size_t>(got);
  }
  if (size > static_cast<size_t>(info.st_size) && size <= k_MaxProductDocument)
    return "it changed while it was read";
  document.resize(size);
  return k_Empty;
}

shared_ptr<Product> SLoadProductFile(const Path& file) {
  std::string document;
  String problem = ReadProductFile(file, document);
  shared_ptr<Product> product;
  if (problem.empty())
    product = ParseProduct(std::move(document), problem);
  if (!product)
    rlib::LogError(fmt::format("Product file '{}': {}", file.str().str(), problem.str()));
  return product;
}

} // namespace brenic
