#include <algorithm>

#include <fmt/core.h>

#include "brenic/ExitStatus.h"
#include "manage/Commands.h"
#include "manage/Lint.h"
#include "manage/PlanPrinting.h"
#include "manage/ProductFileCheck.h"
#include "rlib/Stream.h"
#include "store/DataFolder.h"
#include "store/SqliteStore.h"

namespace brenic::master {

namespace {

struct LookingOptions {
  std::string m_Folder, m_File;
  std::vector<std::string> m_ProductFiles;
  bool m_Json = false;
};

/// Lines for standard output, many at a time: there may be a million.
class Output {
public:
  ~Output() { Flush(); }
  void Add(const std::string& line) {
    m_Text += line + "\n";
    if (m_Text.size() > k_Most)
      Flush();
  }

private:
  static constexpr size_t k_Most = 256 * 1024;

  void Flush() {
    if (m_Text.empty())
      return;
    m_Text.pop_back();
    rlib::stdOut.PutLine(String(std::move(m_Text)));
    m_Text.clear();
  }

  std::string m_Text;
};

/// As it is at one moment, also while the Master serves.
Farm LoadFarm(const Path& folder) {
  RequireInitialised(folder);
  SqliteStore store(folder, Database::Mode::k_ReadOnly);
  store.Connection().Execute("BEGIN");
  return store.LoadFarm();
}

int Plan(const LookingOptions& options) {
  const Farm farm = LoadFarm(options.m_Folder);
  const auto plan = PlanOptionsFile(farm, options.m_File);
  if (!plan)
    throw new Exception(plan.Reason());
  rlib::map<std::string, size_t> counts;
  Output out;
  bool isFailure = false;
  for (const PlannedLine& line : plan->m_Lines) {
    const PlannedStep step = StepOf(*plan, line, farm);
    ++counts[step.m_Result];
    isFailure |= line.m_Skipped == PlannedLine::Skipped::k_Malformed ||
                 line.m_Skipped == PlannedLine::Skipped::k_Refused;
    out.Add(options.m_Json ? PlanJson(line, step) : PlanText(line, step, farm));
  }
  if (!options.m_Json)
    out.Add(fmt::format("{} added, {} changed, {} unchanged, {} skipped{}", counts["added"],
                        counts["changed"], counts["unchanged"], counts["skipped"],
                        isFailure ? "; setwright would tell of errors" : ""));
  if (counts["added"] + counts["changed"] != 0)
    return k_ExitFindings;
  return isFailure ? k_ExitFailed : k_ExitDone;
}

int RunLint(const LookingOptions& options) {
  const std::vector<Finding> findings = Lint(LoadFarm(options.m_Folder));
  Output out;
  for (const Finding& finding : findings)
    out.Add(options.m_Json ? FindingJson(finding) : FindingText(finding));
  if (findings.empty() && !options.m_Json)
    out.Add("Nothing was found");
  return findings.empty() ? k_ExitDone : k_ExitFindings;
}

int CheckProducts(const LookingOptions& options) {
  const std::vector<ProductRemark> remarks =
      CheckProductFiles({options.m_ProductFiles.begin(), options.m_ProductFiles.end()});
  Output out;
  for (const ProductRemark& remark : remarks)
    out.Add(options.m_Json ? RemarkJson(remark) : RemarkText(remark));
  const auto errors = std::count_if(remarks.begin(), remarks.end(),
                                    [](const ProductRemark& remark) { return remark.m_IsError; });
  if (!options.m_Json)
    out.Add(fmt::format("Checked: {}; errors: {}; warnings: {}", options.m_ProductFiles.size(), errors,
                        remarks.size() - static_cast<size_t>(errors)));
  return errors != 0 ? k_ExitFailed : k_ExitDone;
}

/// A subcommand whose status tells what it found.
CLI::App& AddLooking(CommandLine& line, const char* name, const char* description,
                     int (*command)(const LookingOptions&), const std::shared_ptr<LookingOptions>& options) {
  CLI::App& sub = line.Add(name, description, [options, command] { return command(*options); });
  sub.add_option("--data-dir", options->m_Folder, "folder that holds everything of the Master")->required();
  sub.add_flag("--json", options->m_Json, "one JSON object a line");
  return sub;
}

} // namespace

void AddLookingCommands(CommandLine& line) {
  const auto options = std::make_shared<LookingOptions>();
  CLI::App& plan = AddLooking(line, "plan", "Prints what setwright -CopyFile would change", Plan, options);
  plan.add_option("file", options->m_File, "options file")->required();

  AddLooking(line, "lint", "Looks for what is probably wrong in the settings", RunLint, options);

  CLI::App& product = line.Add("product", "Works on product definitions", nullptr);
  product.require_subcommand(1);
  CLI::App& check = line.Add(
      "check", "Checks product files, without a Master", [options] { return CheckProducts(*options); },
      &product);
  check.add_option("file", options->m_ProductFiles, "product files")->required();
  check.add_flag("--json", options->m_Json, "one JSON object a line");
}

} // namespace brenic::master
