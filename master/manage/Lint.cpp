#include "manage/Lint.h"

#include <algorithm>
#include <iterator>

#include <fmt/core.h>

#include "brenic/Options.h"
#include "manage/Json.h"
#include "rlib/Escape.h"
#include "store/DataFolder.h"

namespace brenic::master {

namespace {

/// Below what systems take for one argument, and for all.
constexpr size_t k_MaxCommand = 100 * 1024;

constexpr const char* k_Switches[] = {"-Option", "-RemoveProduct", "-PathTranslation",
                                      "-RemovePathTranslation"};

bool IsSwitch(const String& text) {
  return std::any_of(std::begin(k_Switches), std::end(k_Switches),
                     [&](const char* each) { return text == each; });
}

/// As bash takes it where it holds what a terminal must not be given.
std::string ShellText(const String& text) {
  if (rlib::EscapeControls(text) == text)
    return ShellWord(text).str();
  std::string word = "$'";
  for (const char c : text.str()) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte >= 0x7f)
      word += fmt::format("\\x{:02x}", byte);
    else
      word += c == '\'' || c == '\\' ? std::string("\\") + c : std::string(1, c);
  }
  return word + "'";
}

std::string NameOf(const Farm& farm, const UID& type) {
  const auto product = farm.m_Products.Known(type);
  return product ? fmt::format("'{}' ({})", product->Name().str(), type.ToString().str())
                 : type.ToString().str();
}

/// Adds what brings the type back, which gives its settings a meaning again.
void MendRemovedType(const Farm& farm, const UID& type, Finding& finding) {
  const ProductCatalogue& products = farm.m_Products;
  const auto customised = products.CustomisationOf(type);
  const auto clash =
      products.Hidden().contains(type) ? products.FindNameClash(*products.Known(type)) : std::nullopt;
  if (clash)
    finding.m_Command = SetwrightCommand({"-RemoveProduct", clash->m_Product->Type().ToString()});
  else if (customised && products.IsDefault(type) && products.Customised().size() == 1)
    finding.m_Command = SetwrightCommand({"-RemoveProduct", UID::Null.ToString()}); // back to the defaults
  if (clash)
    finding.m_Text +=
        fmt::format("; the product '{}', which has a name of it, hides it", clash->m_Product->Name().str());
  if (finding.m_Command.empty())
    finding.m_Otherwise =
        "setwright cannot take it away; setwright -ImportProduct with the product's definition "
        "gives it a meaning again, brenic-master revert of the change that set it takes it back";
}

} // namespace

std::vector<Finding> LintRemovedTypes(const Farm& farm) {
  std::vector<Finding> findings;
  const auto add = [&](const UID& type, const std::string& what) {
    if (farm.m_Products.Find(type))
      return;
    Finding& finding = findings.emplace_back();
    finding.m_Kind = "removed type";
    finding.m_Text = fmt::format("{} of the product {}, which is not installed", what, NameOf(farm, type));
    MendRemovedType(farm, type, finding);
  };
  for (const auto& [type, limit] : farm.m_Limits)
    add(type, fmt::format("There is a limit, {},", limit));
  for (const auto& [type, options] : farm.m_TypeOptions) {
    for (const auto& entry : options)
      add(type, fmt::format("There is an option, '{}',", entry.first.str()));
  }
  return findings;
}

std::vector<Finding> Lint(const Farm& farm) {
  std::vector<Finding> findings = LintTranslations(farm.m_Translations);
  for (const std::vector<Finding>& more : {LintUserLimits(farm.Option(o_UserLimits)), LintRemovedTypes(farm)})
    findings.insert(findings.end(), more.begin(), more.end());
  return findings;
}

std::string FindingText(const Finding& finding) {
  return rlib::EscapeControls(finding.m_Text + (finding.m_Command.empty() ? ". " + finding.m_Otherwise
                                                                          : ". Mend: " + finding.m_Command))
      .str();
}

std::string FindingJson(const Finding& finding) {
  Json json{{"kind", finding.m_Kind}, {"text", finding.m_Text}};
  if (!finding.m_Translations.empty())
    json["translations"] = finding.m_Translations;
  if (finding.m_Command.empty())
    json["otherwise"] = finding.m_Otherwise;
  else
    json["command"] = finding.m_Command;
  return ToLine(json);
}

std::string SetwrightCommand(const std::vector<String>& switchesAndValues) {
  std::string command = "setwright";
  for (const String& text : switchesAndValues) {
    if (text.str().starts_with('-') && !IsSwitch(text))
      return "";
    command += " " + ShellText(text);
    if (command.size() > k_MaxCommand)
      return "";
  }
  return command;
}

} // namespace brenic::master
