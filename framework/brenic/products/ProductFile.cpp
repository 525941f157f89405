#include "products/ProductFile.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/core.h>

#include "products/ProductDocument.h"
#include "rlib/Log.h"

namespace brenic {

using rlib::Failure;
using rlib::Result;

namespace {

constexpr std::chrono::seconds k_PipePatience{5};

/// Fails when nothing can be read from the pipe for so long, and it does not end either.
Result<> WaitForPipe(int fd, std::chrono::milliseconds patience) {
  const auto until = std::chrono::steady_clock::now() + patience;
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - std::chrono::steady_clock::now());
    pollfd poll{fd, POLLIN, 0};
    const int ready = ::poll(&poll, 1, std::max(0, static_cast<int>(left.count())));
    if (ready > 0)
      return {};
    if (ready == 0)
      return Failure(fmt::format("nothing came out of the pipe for {} s",
                                 std::chrono::duration<double>(patience).count()));
    if (errno != EINTR)
      return Failure(rlib::ErrorText(errno));
  }
}

/// Adds at most `most` bytes to the text; how many, 0 at the end of the file.
Result<size_t> ReadSome(int fd, size_t most, std::string& text) {
  const size_t before = text.size();
  text.resize(before + most);
  ssize_t got = 0;
  do
    got = read(fd, text.data() + before, most);
  while (got < 0 && errno == EINTR);
  text.resize(before + static_cast<size_t>(std::max<ssize_t>(got, 0)));
  if (got < 0)
    return Failure(rlib::ErrorText(errno));
  return static_cast<size_t>(got);
}

Result<std::string> ReadRegular(int fd, size_t size) {
  std::string document;
  // One more than there should be tells a file that has grown, or is too long.
  const size_t most = std::min(size, k_MaxProductFile) + 1;
  while (document.size() < most) {
    const Result<size_t> got = ReadSome(fd, most - document.size(), document);
    if (!got)
      return got.Why();
    if (*got == 0)
      break;
  }
  if (document.size() > size && size <= k_MaxProductFile)
    return Failure("it changed while it was read");
  return document;
}

Result<std::string> ReadPipe(int fd, std::chrono::milliseconds patience) {
  constexpr size_t k_Part = 64 * 1024;
  std::string document;
  while (document.size() <= k_MaxProductFile) {
    if (const Result<> ready = WaitForPipe(fd, patience); !ready)
      return ready.Why();
    const Result<size_t> got = ReadSome(fd, k_Part, document);
    if (!got)
      return got.Why();
    if (*got == 0)
      break;
  }
  return document;
}

} // namespace

Result<std::string> ReadProductFile(const Path& file, std::chrono::milliseconds pipe) {
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
  if (S_ISFIFO(info.st_mode) && pipe.count() > 0)
    return ReadPipe(fd, pipe);
  if (!S_ISREG(info.st_mode))
    return Failure(pipe.count() > 0 ? "it is neither a regular file nor a pipe" : "it is not a regular file");
  return ReadRegular(fd, static_cast<size_t>(info.st_size));
}

namespace {

Result<shared_ptr<Product>> Load(const Path& file) {
  const Result<std::string> document = ReadProductFile(file, k_PipePatience);
  if (!document)
    return document.Why();
  return ParseProduct(*document);
}

} // namespace

shared_ptr<Product> SLoadProductFile(const Path& file) {
  const Result<shared_ptr<Product>> product = Load(file);
  if (product)
    return *product;
  rlib::Report(rlib::Log::k_Error,
               fmt::format("Product file '{}': {}", file.str().str(), product.Reason().str()));
  return nullptr;
}

} // namespace brenic
