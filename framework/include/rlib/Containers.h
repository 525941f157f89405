#pragma once

#include <functional>
#include <map>
#include <vector>

namespace rlib {

template <class Key, class Value, class Less = std::less<Key>>
using map = std::map<Key, Value, Less>;

template <class Value>
using vector = std::vector<Value>;

} // namespace rlib
