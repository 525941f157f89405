// What every connecting client is told, already encoded and shared between the connections.
#pragma once

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "farm/Farm.h"

namespace brenic::master {

using Bytes = std::shared_ptr<const std::string>; // encoded frames

/// Immutable.
struct ProductFrames {
  ProductMap m_Products;
  std::vector<Bytes> m_Parts; // frames of at most about 1 MiB each
  Bytes m_End;                // EndProducts
  std::string m_Digest;       // names the list
};

/// Immutable.
struct Snapshot {
  Bytes m_Translations; // frame
  std::shared_ptr<const ProductFrames> m_Products;
  unsigned m_DefaultIdleTimeout = 0; // minutes
  String m_Message;
};

Bytes MakeTranslationsFrame(const Farm& farm);
std::shared_ptr<const ProductFrames> MakeProductFrames(const Farm& farm);

/// What brings a client that has the list before a change of these types up to date: each one as it is now,
/// or its removal, and the end of the list.
Bytes MakeProductChanges(const ProductFrames& products, const std::set<UID>& changed);

} // namespace brenic::master
