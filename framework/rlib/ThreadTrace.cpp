#include "ThreadTrace.h"

namespace rlib {

constinit ThreadTrace s_ThreadTraces[k_MaxTracedThreads]{};

const char* DecimalText(long number, char* buffer) {
  char* at = buffer + 23;
  *at = '\0';
  const bool negative = number < 0;
  unsigned long rest =
      negative ? 0ul - static_cast<unsigned long>(number) : static_cast<unsigned long>(number);
  do
    *--at = static_cast<char>('0' + rest % 10);
  while ((rest /= 10) != 0);
  if (negative)
    *--at = '-';
  return at;
}

} // namespace rlib
