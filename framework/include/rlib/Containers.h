// The runtime's containers.
#pragma once

#include <functional>
#include <map>
#include <vector>

namespace rlib {

template <typename Key, typename Value, typename Less = std::less<Key>>
using map = std::map<Key, Value, Less>;

template <typename Value>
using vector = std::vector<Value>;

} // namespace rlib
