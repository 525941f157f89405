// A farm with the trail that led to it, in memory.
#pragma once

#include <map>

#include "brenic/RevertMsg.h"
#include "farm/Samples.h"

namespace brenic::master {

inline shared_ptr<RevertMsg> RevertOf(const std::vector<int64_t>& sequences) {
  return Make<RevertMsg>([&](auto& message) { message.m_Sequences = {sequences.begin(), sequences.end()}; });
}

inline shared_ptr<SetMasterLimitsMsg> SetLimitOf(const UID& type, int limit) {
  return Make<SetMasterLimitsMsg>([&](auto& message) { message.m_Limits[type] = limit; });
}

inline shared_ptr<SetMasterRestrictionsMsg> SetRestrictionTo(const String& name, bool on) {
  return Make<SetMasterRestrictionsMsg>([&](auto& message) { message.m_Restrictions[name] = on; });
}

inline TranslationSet Root(const std::string& root) {
  return {{1, Path(root)}};
}

/// The Linux roots of the farm's path translations.
inline std::vector<std::string> Roots(const Farm& farm) {
  std::vector<std::string> roots;
  for (const TranslationSet& set : farm.m_Translations)
    roots.push_back(set.at(1).str().str());
  return roots;
}

inline rlib::vector<TranslationSet> List(const std::vector<std::string>& roots) {
  rlib::vector<TranslationSet> list;
  for (const std::string& root : roots)
    list.push_back(Root(root));
  return list;
}

class RecordedFarm : public Trail {
public:
  explicit RecordedFarm(Farm farm = SampleFarm()) : m_Farm(std::move(farm)) {}

  /// What becomes of the request; a change is made and recorded.
  rlib::Result<Judgement> Ask(const Message& message) {
    const auto judgement = Judge(m_Farm, {}, message, *this);
    Record(message.ClassName(), judgement ? "committed" : "refused",
           judgement ? judgement->m_Change : Change());
    return judgement;
  }
  /// The same; the record's sequence. Throws when it is refused.
  int64_t Do(const shared_ptr<Message>& message) {
    if (const auto judgement = Ask(*message); !judgement)
      throw std::runtime_error(judgement.Reason().str());
    return m_Newest;
  }
  /// Empty when the changes were reverted, else why not.
  std::string Revert(const std::vector<int64_t>& sequences) {
    const auto judgement = Ask(*RevertOf(sequences));
    return judgement ? "" : judgement.Reason().str();
  }
  /// Adds a record, and takes its change.
  TrailRecord& Record(const std::string& className, const std::string& result, const Change& change) {
    TrailRecord& record = m_Records[++m_Newest];
    record = {m_Newest, 1'700'000'000'000 + m_Newest, m_Who, className, result, false, {}};
    if (!change.IsEmpty()) {
      m_Farm.Take(change);
      record.m_Load = [kept = std::make_shared<const Change>(change)] { return kept; };
    }
    return record;
  }

  Range SequenceRange() override { return {m_Records.empty() ? 0 : m_Records.begin()->first, m_Newest}; }
  std::optional<TrailRecord> FindRecord(int64_t sequence) override {
    const auto found = m_Records.find(sequence);
    return found != m_Records.end() ? std::optional(found->second) : std::nullopt;
  }
  void ReadChangesBack(int64_t beyond, const std::function<bool(const TrailRecord&)>& each) override {
    for (auto record = m_Records.rbegin(); record != m_Records.rend() && record->first > beyond; ++record) {
      if (record->second.m_Load && !each(record->second))
        return;
    }
  }

  Farm m_Farm;
  String m_Who = "ann"; // who asks
  std::map<int64_t, TrailRecord> m_Records;
  int64_t m_Newest = 0;
};

} // namespace brenic::master
