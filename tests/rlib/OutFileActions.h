// What the tests of OutFile do with it.
#pragma once

#include <memory>
#include <string>

#include "rlib/Exception.h"
#include "rlib/OutFile.h"

/// Message of the exception that the action throws, empty when it throws none.
template <typename Action>
std::string ThrownBy(Action action) {
  try {
    action();
  } catch (rlib::Exception* e) {
    return std::unique_ptr<rlib::Exception>(e)->Message().str();
  }
  return {};
}

inline void WriteWhole(const std::string& path, const std::string& text) {
  rlib::OutFile file(path, 22, false, false, -1);
  file.Put(rlib::String(text));
  file.Close(false);
}
