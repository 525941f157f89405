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

using rlib::Failure;
using rlib::Result;

Result<std::string> ReadProductFile(const Path& file) {
  const int fd = open(file.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (fd < 0)
    return Failure(rlib::ErrorText(errno));
  struct Closer {
    int m_Fd;
    ~Closer() { close(m_Fd); }
  } const closer{fd};
  struct stat info {};
  if (fstat(fd, &info) != 0)
    return Failure(rlib::ErrorText(errno));
  if (!S_ISREG(info.st_mode))
    return Failure("it is not a regular file");
  // One more than there should be tells a file that has grown, or is too long.
  std::string document(std::min(static_cast<size_t>(info.st_size), k_MaxProductDocument) + 1, '\0');
  size_t size = 0;
  while (size < document.size()) {
    const ssize_t got = read(fd, document.data() + size, document.size() - size);
    if (got < 0 && errno == EINTR)
      continue;
    if (got < 0)
      return Failure(rlib::ErrorText(errno));
    if (got == 0)
      break;
    size += static_cast<size_t>(got);
  }
  if (size > static_cast<size_t>(info.st_size) && size <= k_MaxProductDocument)
    return Failure("it changed while it was read");
  document.resize(size);
  return document;
}

namespace {

Result<shared_ptr<Product>> Load(const Path& file) {
  Result<std::string> document = ReadProductFile(file);
  if (!document)
    return document.Why();
  return ParseProduct(std::move(*document));
}

} // namespace

shared_ptr<Product> SLoadProductFile(const Path& file) {
  const Result<shared_ptr<Product>> product = Load(file);
  if (product)
    return *product;
  rlib::LogError(fmt::format("Product file '{}': {}", file.str().str(), product.Reason().str()));
  return nullptr;
}

} // namespace brenic
