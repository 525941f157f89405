// Default products for the tests.
#pragma once

#include "store/Store.h"

namespace brenic::master {

/// As if they had been there from the beginning: without a record.
inline void SetDefaults(Store& store, const ProductMap& products) {
  Change change;
  AddDefaults(store.LoadFarm(), products, change);
  store.Begin();
  store.Apply(change);
  store.Commit();
}

} // namespace brenic::master
