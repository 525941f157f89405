#include <limits>

#include <fmt/core.h>

#include "brenic/MessageFactory.h"
#include "brenic/RevertMsg.h"
#include "farm/Revert.h"
#include "manage/Commands.h"
#include "manage/History.h"
#include "manage/Printing.h"
#include "rlib/Escape.h"
#include "rlib/Stream.h"
#include "store/DataFolder.h"
#include "store/SqliteStore.h"

namespace brenic::master {

namespace {

constexpr int64_t k_MostShown = 1'000'000; // changes

struct HistoryOptions {
  std::optional<std::string> m_Client, m_Since, m_Option, m_User, m_Root, m_Product;
  size_t m_Limit = 0; // 0: none
  bool m_Json = false;
};

struct RevertOptions {
  std::vector<int64_t> m_Sequences;
  bool m_DryRun = false;
};

/// The names of product types: the farm's, and of those that it has no more what the documents say that the
/// trail refers to. These are read when one of them is asked for.
class TypeNames {
public:
  TypeNames(Store& store, Farm farm) : m_Store(store), m_Farm(std::move(farm)) {}

  KnownType Of(const UID& type) {
    const bool isDefault = m_Farm.m_Products.IsDefault(type);
    if (const auto known = m_Farm.m_Products.Known(type))
      return {known->Name(), isDefault};
    Read();
    const auto found = m_Names.find(type);
    return {found != m_Names.end() ? found->second.m_Name : String(), isDefault};
  }

  /// The types that have, or had, the name or alias, or the identifier itself.
  std::set<UID> Types(const String& name) {
    if (UID type; type.FromString(name))
      return {type};
    Read();
    std::set<UID> types;
    for (const auto& [type, names] : m_Names)
      if (names.m_All.contains(name))
        types.insert(type);
    return types;
  }

private:
  struct Names {
    String m_Name; // of one of its documents
    std::set<String, String::ciless> m_All;
  };

  void Read() {
    if (std::exchange(m_IsRead, true))
      return;
    m_Store.ReadDocuments([this](const Product& product) {
      Names& names = m_Names[product.Type()];
      names.m_Name = product.Name();
      names.m_All.insert(product.Name());
      names.m_All.insert(product.Aliases().begin(), product.Aliases().end());
    });
  }

  Store& m_Store;
  const Farm m_Farm;
  std::map<UID, Names> m_Names;
  bool m_IsRead = false;
};

/// Beside standard output, which has changes only.
void TellThatThereIsNone(Store& store) {
  std::string line = "There is no such change";
  const Trail::Range range = store.SequenceRange();
  if (const auto oldest = store.FindRecord(range.m_Oldest); oldest && range.m_Oldest > 1)
    line += "; earlier records have left the trail, which begins at " + Time(oldest->m_Time).Iso8601().str();
  else if (!oldest && range.m_Newest > 0)
    line += "; all earlier records have left the trail";
  rlib::stdErr.PutLine(line);
}

void PrintHistory(const Path& folder, const HistoryOptions& options) {
  const int64_t since = options.m_Since ? SinceOption(*options.m_Since) : 0;
  SqliteStore store = OpenToRead(folder);
  TypeNames names(store, store.LoadFarm());
  HistoryFilter filter{options.m_Client, options.m_Option, options.m_User, options.m_Root, {}};
  if (options.m_Product) {
    filter.m_Products = names.Types(*options.m_Product);
    if (filter.m_Products->empty())
      throw new Exception("No product is called '" + String(*options.m_Product) +
                          "', and none was as far as the trail goes back");
  }
  const TypeNamer namer = [&](const UID& type) { return names.Of(type); };
  size_t shown = 0;
  store.ReadHistory(since, [&](const AuditRecord& record) {
    const std::string line =
        options.m_Json ? HistoryJson(record, filter, namer) : HistoryText(record, filter, namer);
    if (line.empty())
      return true;
    rlib::stdOut.PutLine(line);
    return ++shown != options.m_Limit;
  });
  if (shown == 0 && !options.m_Json)
    TellThatThereIsNone(store);
}

/// What a change did, a line for each thing.
void TellChange(SqliteStore& store, const Change& change) {
  TypeNames names(store, store.LoadFarm());
  for (const std::string& line : ChangeWords(change, {}, [&](const UID& type) { return names.Of(type); }))
    Tell("  " + line);
}

/// Decides as the Master would, of what it has committed.
void TellWhatWouldBeReverted(const Path& folder, const std::vector<int64_t>& sequences) {
  SqliteStore store = OpenToRead(folder);
  store.Connection().Execute("BEGIN"); // farm and trail of the same moment
  const auto judgement = JudgeRevert(store.LoadFarm(), store, sequences);
  if (!judgement)
    throw new Exception(rlib::EscapeControls(judgement.Reason()));
  Tell(judgement->m_Change.IsEmpty() ? "Nothing would change" : "Would change:");
  TellChange(store, judgement->m_Change);
}

/// What the request of this identifier changed, one of the last ones.
void TellWhatWasReverted(const Path& folder, const UID& request) {
  constexpr size_t k_Last = 1000; // records, in which others may have changed something meanwhile
  SqliteStore store = OpenToRead(folder);
  size_t seen = 0;
  std::optional<AuditRecord> found;
  store.ReadHistory(0, [&](const AuditRecord& record) {
    if (record.m_MessageId == request)
      found = record;
    return !found && ++seen != k_Last;
  });
  if (!found)
    return Tell("Reverted; together these changes had done nothing");
  Tell(fmt::format("Reverted, as change {}:", found->m_Sequence));
  TellChange(store, *found->LoadedChange());
}

void RevertChanges(const Path& folder, const RevertOptions& options, const Ask& ask) {
  if (options.m_DryRun)
    return TellWhatWouldBeReverted(folder, options.m_Sequences);
  const auto request = MessageFactory::Create<RevertMsg>();
  request->m_Sequences.assign(options.m_Sequences.begin(), options.m_Sequences.end());
  ask(folder, *request);
  TellWhatWasReverted(folder, request->m_ID);
}

} // namespace

void AddHistoryCommands(CommandLine& line, const Ask& ask) {
  const auto options = std::make_shared<HistoryOptions>();
  CLI::App& history = line.AddOnFolder("history", "Prints who changed what, newest first",
                                       [options](const Path& folder) { PrintHistory(folder, *options); });
  history.add_option("--who", options->m_Client, "only changes of the client of this name");
  history.add_option("--since", options->m_Since, "only what is not older, as 2026-01-31T12:00:00Z");
  history.add_option("--option", options->m_Option, "only changes of this option");
  history.add_option("--user", options->m_User, "only changes of this user's limit");
  history.add_option("--root", options->m_Root, "only path translations with this text in a root");
  history.add_option("--product", options->m_Product,
                     "only what concerns this product, by name or identifier");
  history.add_option("--limit", options->m_Limit, "at most so many changes")
      ->check(WholeNumber(1, k_MostShown));
  history.add_flag("--json", options->m_Json, "one JSON object a line, with all that changed");

  const auto reverted = std::make_shared<RevertOptions>();
  CLI::App& revert =
      line.AddOnFolder("revert", "Puts back what changes did, all of them or none",
                       [reverted, ask](const Path& folder) { RevertChanges(folder, *reverted, ask); });
  revert.add_option("sequence", reverted->m_Sequences, "numbers of changes, as history prints them")
      ->required()
      ->check(WholeNumber(1, std::numeric_limits<int64_t>::max()));
  revert.add_flag("--dry-run", reverted->m_DryRun, "only tell what would change");
}

} // namespace brenic::master
