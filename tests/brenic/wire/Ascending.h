// Identifiers whose bytes can be told apart in encoded ones.
#pragma once

#include "rlib/UID.h"

/// Its bytes count up from `first`.
inline rlib::UID Ascending(uint8_t first) {
  rlib::UID::Raw raw;
  for (auto& byte : raw)
    byte = first++;
  return rlib::UID(raw);
}
