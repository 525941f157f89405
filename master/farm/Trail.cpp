#include "farm/Trail.h"

namespace brenic::master {

Trail& EmptyTrail() {
  static class : public Trail {
    Range SequenceRange() override { return {}; }
    std::optional<TrailRecord> FindRecord(int64_t) override { return std::nullopt; }
    void ReadChangesBack(int64_t, const std::function<bool(const TrailRecord&)>&) override {}
  } s_Empty;
  return s_Empty;
}

} // namespace brenic::master
