#include <fmt/core.h>

#include "brenic/MessageFactory.h"
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

  String Of(const UID& type) {
    if (const auto known = m_Farm.m_Products.Known(type))
      return known->Name();
    Read();
    const auto found = m_Names.find(type);
    return found != m_Names.end() ? *found->second.begin() : String();
  }

  /// The types that have, or had, the name or alias, or the identifier itself.
  std::set<UID> Types(const String& name) {
    if (UID type; type.FromString(name))
      return {type};
    Read();
    std::set<UID> types;
    for (const auto& [type, names] : m_Names)
      if (names.contains(name))
        types.insert(type);
    return types;
  }

private:
  using Names = std::set<String, String::ciless>;

  void Read() {
    if (std::exchange(m_IsRead, true))
      return;
    m_Store.ReadDocuments([this](const Product& product) {
      Names& names = m_Names[product.Type()];
      names.insert(product.Name());
      names.insert(product.Aliases().begin(), product.Aliases().end());
    });
  }

  Store& m_Store;
  const Farm m_Farm;
  std::map<UID, Names> m_Names;
  bool m_IsRead = false;
};

SqliteStore OpenToRead(const Path& folder) {
  RequireInitialised(folder);
  return SqliteStore(folder, Database::Mode::k_ReadOnly);
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
}

/// Decides as the Master would, of what it has committed.
void TellWhatWouldBeReverted(const Path& folder, const std::vector<int64_t>& sequences) {
  SqliteStore store = OpenToRead(folder);
  store.Connection().Execute("BEGIN"); // farm and trail of the same moment
  const Farm farm = store.LoadFarm();
  const auto judgement = JudgeRevert(farm, store, sequences);
  if (!judgement)
    throw new Exception(judgement.Reason());
  TypeNames names(store, farm);
  const auto words = ChangeWords(judgement->m_Change, {}, [&](const UID& type) { return names.Of(type); });
  Tell(words.empty() ? "Nothing would change" : "Would change:");
  for (const std::string& line : words)
    Tell("  " + line);
}

} // namespace

void AddHistoryCommands(CommandLine& line) {
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
  history.add_option("--limit", options->m_Limit, "at most so many changes")->check(CLI::PositiveNumber);
  history.add_flag("--json", options->m_Json, "one JSON object a line, with all that changed");

  const auto reverted = std::make_shared<RevertOptions>();
  CLI::App& revert = line.AddOnFolder(
      "revert", "Puts back what changes did, all of them or none",
      [reverted](const Path& folder) { TellWhatWouldBeReverted(folder, reverted->m_Sequences); });
  revert.add_option("sequence", reverted->m_Sequences, "numbers of changes, as history prints them")
      ->required();
  revert.add_flag("--dry-run", reverted->m_DryRun, "only tell what would change")->required();
}

} // namespace brenic::master
