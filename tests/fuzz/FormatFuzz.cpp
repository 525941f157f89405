#include <cstdint>
#include <cstdlib>
#include <string>

#include "rlib/SFormat.h"
#include "rlib/StringTokenizer.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const rlib::String format(reinterpret_cast<const char*>(data), size);
  rlib::SFormat(format, 5);
  rlib::SFormat(format, "text", -1, 2.5, format, 'c', true, 18446744073709551615ull);

  // Without arguments nothing but "%%" changes.
  std::string expected = format.str();
  for (size_t at = 0; (at = expected.find("%%", at)) != std::string::npos; ++at)
    expected.erase(at, 1);
  if (rlib::SFormat(format) != rlib::String(expected))
    std::abort();

  // As an argument the text stays what it is.
  if (rlib::SFormat("%s", format) != format)
    std::abort();

  // Tokens never hold more than the text does.
  rlib::StringTokenizer tokens(format, ';');
  size_t total = 0;
  while (const auto token = tokens.GetNext())
    total += token->size();
  if (total > format.size())
    std::abort();
  return 0;
}
