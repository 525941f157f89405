#include "farm/Revert.h"

#include <algorithm>
#include <functional>
#include <set>

#include <fmt/core.h>

#include "brenic/MessageClasses.h"
#include "farm/ProductCheck.h"
#include "farm/Reversal.h"
#include "rlib/Escape.h"

namespace brenic::master {

namespace {

using rlib::Failure;
using rlib::Result;

using Sequences = std::set<int64_t, std::greater<>>; // newest first

/// Several reasons in one line; the first ones where there are many.
class Reasons {
public:
  void Add(const std::string& reason) {
    if (m_Count++ < k_Shown)
      m_Text += (m_Text.empty() ? "" : "; ") + reason;
  }
  bool IsEmpty() const { return m_Count == 0; }
  bool IsFull() const { return m_Count >= k_Shown; }
  Failure Line() const {
    return Failure("Nothing was reverted: " + m_Text +
                   (m_Count > k_Shown ? fmt::format("; and {} more", m_Count - k_Shown) : ""));
  }

private:
  static constexpr size_t k_Shown = 5;
  size_t m_Count = 0;
  std::string m_Text;
};

bool OnlyReadsDefaults(const Change& change) {
  return change.m_Options.empty() && change.m_Limits.empty() && change.m_Restrictions.empty() &&
         change.m_Products.empty() && !Reversal::HasLists(change);
}

/// Roughly the bytes of what a change holds.
size_t Weight(const Change& change) {
  size_t bytes = 0;
  const auto addRuns = [&](const auto& difference, auto weigh) {
    for (const auto& run : difference.m_Runs) {
      for (const auto* const list : {&run.m_Removed, &run.m_Added})
        for (const auto& entry : *list)
          bytes += weigh(entry);
    }
  };
  for (const OptionChange& option : change.m_Options) {
    for (const auto* const text : {&option.m_Value.m_Before, &option.m_Value.m_After})
      bytes += *text ? (*text)->size() : 0;
  }
  if (change.m_UserLimits)
    addRuns(change.m_UserLimits->m_Pieces, [](const String& piece) { return piece.size(); });
  addRuns(change.m_Translations, [](const TranslationSet& translation) {
    size_t roots = 0;
    for (const auto& root : translation)
      roots += root.second.size();
    return roots;
  });
  for (const auto& [type, step] : change.m_Products) {
    for (const auto* const state : {&step.m_Before, &step.m_After})
      bytes += *state && (*state)->m_Installed ? (*state)->m_Installed->Document().size() : 0;
  }
  return bytes;
}

/// Why a record has nothing that could be put back, whatever the farm holds now; empty when it may have.
std::string Obstacle(Trail& trail, int64_t sequence, const std::optional<TrailRecord>& record) {
  if (!record) {
    const Trail::Range range = trail.SequenceRange();
    if (sequence < 1 || sequence > range.m_Newest)
      return fmt::format("there is no change {}", sequence);
    return fmt::format("the record of change {} has left the trail, which begins with {} now", sequence,
                       range.m_Oldest);
  }
  const MessageDescription* const description = FindDescription(record->m_Class);
  if (record->m_Result == "refused")
    return fmt::format("{} was refused and changed nothing", sequence);
  if (record->m_Result == "answered")
    return fmt::format("{} only asked something", sequence);
  if (description && description->m_Kind == RequestKind::k_Operation)
    return fmt::format("{} was an operation (to {}), which cannot be taken back", sequence,
                       description->m_Words);
  if (description && description->m_Sender == Sender::k_Manager)
    return fmt::format("{} was about certificates (to {}), which is not taken back", sequence,
                       description->m_Words);
  if (record->m_IsOfLayout1)
    return fmt::format("{} was recorded by an earlier version, which did not keep what it changed", sequence);
  if (!record->m_Load)
    return fmt::format("{} changed no settings", sequence);
  return {};
}

class Reverting {
public:
  Reverting(const Farm& farm, Trail& trail, Sequences sequences)
      : m_Farm(farm), m_Trail(trail), m_Sequences(std::move(sequences)), m_Reversal(farm) {}

  Result<Judgement> Judge();

private:
  Result<> LoadStates();
  Result<> LoadLists();
  Failure Conflicts();
  /// The newest of the other records since that concerns the entry.
  std::optional<TrailRecord> LastToTouch(const Entry& entry, int64_t since);
  Result<> CheckProducts(const Change& change, const ProductCatalogue& result);

  const Farm& m_Farm;
  Trail& m_Trail;
  const Sequences m_Sequences;
  Reversal m_Reversal;
  int64_t m_OldestList = 0; // the oldest record that concerns a list; 0: none does
};

Result<Judgement> Reverting::Judge() {
  if (const auto loaded = LoadStates(); !loaded)
    return loaded.Why();
  if (const auto loaded = LoadLists(); !loaded)
    return loaded.Why();
  if (!m_Reversal.Conflicts().empty())
    return Conflicts();
  auto change = m_Reversal.ToChange();
  if (!change)
    return Failure("Nothing was reverted: " + change.Reason());
  Judgement judgement;
  judgement.m_Change = std::move(*change);
  const auto& products = judgement.m_Change.m_Products;
  if (products.empty())
    return judgement;
  ProductCatalogue::States states;
  for (const auto& [type, step] : products) {
    states.emplace(type, step.m_After);
    judgement.m_ProductsTold.insert(type);
  }
  ProductCatalogue result = m_Farm.m_Products;
  result.Customise(states);
  if (const auto check = CheckProducts(judgement.m_Change, result); !check)
    return Failure("Nothing was reverted: " + check.Reason());
  if (!result.Hidden().empty())
    judgement.m_ProductsTold = {UID::Null}; // default products may give way to what returns
  return judgement;
}

Result<> Reverting::LoadStates() {
  Reasons reasons;
  for (const int64_t sequence : m_Sequences) {
    if (const auto obstacle = Obstacle(m_Trail, sequence, m_Trail.FindRecord(sequence)); !obstacle.empty())
      reasons.Add(obstacle);
  }
  if (!reasons.IsEmpty())
    return reasons.Line();
  size_t bytes = 0;
  for (const int64_t sequence : m_Sequences) {
    const auto change = m_Trail.FindRecord(sequence)->m_Load();
    if (!change) {
      reasons.Add(
          fmt::format("what {} changed cannot be read any more: {}", sequence, change.Reason().str()));
      continue;
    }
    bytes += Weight(**change);
    if (bytes > k_MaxChange && m_Sequences.size() > 1)
      return Failure(fmt::format("Nothing was reverted: the changes have more than {} bytes together; revert "
                                 "fewer at a time",
                                 k_MaxChange));
    if (OnlyReadsDefaults(**change))
      reasons.Add(fmt::format("{} only read other default products, which are not reverted", sequence));
    if (Reversal::HasLists(**change))
      m_OldestList = sequence;
    m_Reversal.RevertStates(sequence, **change);
  }
  return reasons.IsEmpty() ? Result<>() : reasons.Line();
}

Result<> Reverting::LoadLists() {
  if (m_OldestList == 0)
    return {};
  Result<> done;
  m_Trail.ReadListChangesBack(m_OldestList - 1, [&](const TrailRecord& record) {
    const auto change = record.m_Load();
    if (!change) {
      done = Failure(fmt::format("Nothing was reverted: what {} changed cannot be read any more: {}",
                                 record.m_Sequence, change.Reason().str()));
      return false;
    }
    try {
      if (m_Sequences.contains(record.m_Sequence))
        m_Reversal.RevertLists(record.m_Sequence, **change);
      else
        m_Reversal.PassLists(**change);
    } catch (Exception* error) {
      done = Failure(fmt::format("Nothing was reverted: {}", error->Message().str()));
      delete error;
    }
    return bool(done);
  });
  return done;
}

std::optional<TrailRecord> Reverting::LastToTouch(const Entry& entry, int64_t since) {
  std::optional<TrailRecord> found;
  m_Trail.ReadChangesBack(since, [&](const TrailRecord& record) {
    const auto change = m_Sequences.contains(record.m_Sequence)
                            ? Result<std::shared_ptr<const Change>>(nullptr)
                            : record.m_Load();
    if (change && *change && Touches(**change, entry))
      found = record;
    return !found;
  });
  return found;
}

Failure Reverting::Conflicts() {
  Reasons reasons;
  for (const auto& [sequence, entry] : m_Reversal.Conflicts()) {
    if (reasons.IsFull()) {
      reasons.Add({});
      continue;
    }
    const auto last = LastToTouch(entry, sequence);
    const std::string who =
        last ? fmt::format("'{}' changed it since, at {} (change {})", rlib::Excerpt(last->m_Client).str(),
                           Time(last->m_Time).Iso8601().str(), last->m_Sequence)
             : "it is not in the trail who changed it since";
    reasons.Add(fmt::format("{} is not as change {} left it: {}", EntryName(m_Farm, entry), sequence, who));
  }
  return reasons.Line();
}

/// Names that products have to share. A default product gives way to an installed one, but is not put back
/// where it would not show.
Result<> Reverting::CheckProducts(const Change& change, const ProductCatalogue& result) {
  for (const auto& [type, step] : change.m_Products) {
    if (step.m_After && step.m_After->m_Installed) {
      if (const auto names = CheckNames(result, *step.m_After->m_Installed); !names)
        return names;
    }
    if (step.m_After || !result.Hidden().contains(type))
      continue;
    const Product& byDefault = *result.Defaults().at(type);
    const auto clash = result.FindNameClash(byDefault);
    // Where nobody has touched the other product since, the default one did not show then either.
    if (clash &&
        LastToTouch({Entry::Kind::k_Product, clash->m_Product->Type(), {}, {}}, *m_Sequences.rbegin()))
      return CheckNames(result, byDefault);
  }
  return {};
}

} // namespace

Result<Judgement> JudgeRevert(const Farm& farm, Trail& trail, const std::vector<int64_t>& sequences) {
  if (sequences.empty())
    return Failure("It names no change to revert");
  if (sequences.size() > k_MaxReverted)
    return Failure(fmt::format("It names {} changes to revert, where {} are allowed; revert fewer at a time",
                               sequences.size(), k_MaxReverted));
  return Reverting(farm, trail, Sequences(sequences.begin(), sequences.end())).Judge();
}

} // namespace brenic::master
