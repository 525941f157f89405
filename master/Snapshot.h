// What every connecting client is told, already encoded and shared between the connections.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Settings.h"

namespace brenic::master {

using Bytes = std::shared_ptr<const std::string>; // encoded frames

/// Immutable.
struct ProductFrames {
  std::vector<Bytes> m_Parts; // frames of at most about 1 MiB each
  std::string m_Digest;       // names the list
};

/// Immutable.
struct Snapshot {
  Bytes m_Translations; // frame
  std::shared_ptr<const ProductFrames> m_Products;
  unsigned m_DefaultIdleTimeout = 0; // minutes
  String m_Message;
};

Bytes MakeTranslationsFrame(const Settings& settings);
std::shared_ptr<const ProductFrames> MakeProductFrames(const Settings& settings);

/// Hands the newest snapshot from the thread that writes to the one that serves.
class SnapshotHolder {
public:
  void Publish(std::shared_ptr<const Snapshot> snapshot) {
    std::lock_guard lock(m_Mutex);
    m_Snapshot = std::move(snapshot);
  }
  std::shared_ptr<const Snapshot> Current() const {
    std::lock_guard lock(m_Mutex);
    return m_Snapshot;
  }

private:
  mutable std::mutex m_Mutex;
  std::shared_ptr<const Snapshot> m_Snapshot;
};

} // namespace brenic::master
