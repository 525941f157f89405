#include "store/Store.h"

#include <fmt/core.h>

#include "rlib/Log.h"

namespace brenic::master {

void TryToStore(const char* what, const std::function<void()>& store) {
  try {
    store();
  } catch (const StoreFailure& failure) {
    if (failure.Which() == StoreFailure::Kind::k_Broken)
      throw;
    rlib::LogWarning(fmt::format("{} stay as they were: {}", what, failure.what()));
  }
}

} // namespace brenic::master
