#include "manage/PlanPrinting.h"

#include <string_view>

#include <fmt/core.h>

#include "brenic/Options.h"
#include "farm/Judgement.h"
#include "manage/Json.h"
#include "rlib/Escape.h"

namespace brenic::master {

namespace {

using What = PlannedLine::What;
using Skipped = PlannedLine::Skipped;

std::string InQuotes(const String& text) {
  return "'" + text.str() + "'";
}

std::string ProductIn(const Farm& farm, const UID& type) {
  const auto product = farm.m_Products.Find(type);
  return product ? InQuotes(product->Name()) : type.ToString().str();
}

/// "option 'Samples' of product 'Raymarch'"
std::string Called(const PlannedLine& line, const Farm& farm) {
  switch (line.m_What) {
  case What::k_Option:
    return "option " + InQuotes(line.m_Name);
  case What::k_TypeOption:
    return fmt::format("option {} of product {}", InQuotes(line.m_Name), ProductIn(farm, line.m_Type));
  case What::k_Limit:
    return "limit of product " +
           (line.m_Type.IsNull() ? InQuotes(line.m_Name) : ProductIn(farm, line.m_Type));
  case What::k_Restriction:
    return "restriction " + InQuotes(line.m_Name);
  case What::k_Section:
    return fmt::format("section {} with {} {}", InQuotes(line.m_Name), line.m_Pairs,
                       line.m_Pairs == 1 ? "pair" : "pairs");
  case What::k_Malformed:
    break;
  }
  return "a line";
}

std::string Why(const PlannedLine& line) {
  switch (line.m_Skipped) {
  case Skipped::k_UnknownSection:
  case Skipped::k_UnknownProduct:
    return "no product has this identifier, name or alias";
  case Skipped::k_NullSection:
    return "the null identifier is that of no product";
  case Skipped::k_Default:
    return fmt::format("{} is the product's default, which is not sent", InQuotes(line.m_Value));
  case Skipped::k_Overwritten:
    return fmt::format("line {} sets it again", line.m_By);
  case Skipped::k_Lost:
    return fmt::format("a request carries one option of a product, and line {} has a later one; send this "
                       "one with a file, or a -TypeOption, of its own",
                       line.m_By);
  case Skipped::k_Refused:
    return "the whole request with it would be refused: " + line.m_Why.str();
  case Skipped::k_Malformed:
    return line.m_Why.str();
  case Skipped::k_No:
    break;
  }
  return "";
}

const char* ReasonName(Skipped skipped) {
  switch (skipped) {
  case Skipped::k_UnknownSection:
  case Skipped::k_UnknownProduct:
    return "unknown product";
  case Skipped::k_NullSection:
    return "null identifier";
  case Skipped::k_Default:
    return "default value";
  case Skipped::k_Overwritten:
    return "set again";
  case Skipped::k_Lost:
    return "later option";
  case Skipped::k_Refused:
    return "refused";
  case Skipped::k_Malformed:
  case Skipped::k_No:
    break;
  }
  return "malformed";
}

std::string Joined(const std::vector<String>& pieces) {
  std::string joined;
  for (const String& piece : pieces)
    joined += (joined.empty() ? "" : ", ") + InQuotes(piece);
  return joined;
}

/// The user limits are one long text, of which most stays.
std::string UserLimitsText(const String& from, const String& to) {
  const auto difference = ListDifference<String>::Between(SplitPieces(from), SplitPieces(to));
  std::vector<String> removed, added;
  for (const auto& run : difference.m_Runs) {
    removed.insert(removed.end(), run.m_Removed.begin(), run.m_Removed.end());
    added.insert(added.end(), run.m_Added.begin(), run.m_Added.end());
  }
  std::string text = removed.empty() ? "" : ": without " + Joined(removed);
  if (!added.empty())
    text += (removed.empty() ? ": with " : ", with ") + Joined(added);
  return text;
}

bool IsUserLimits(const PlannedLine& line) {
  return line.m_What == What::k_Option && line.m_Name.CompareNoCase(o_UserLimits) == 0;
}

std::string Changes(const PlannedLine& line, const PlannedStep& step) {
  if (IsUserLimits(line) && step.m_From && step.m_To)
    return UserLimitsText(*step.m_From, *step.m_To);
  const bool isText = line.m_What != What::k_Limit;
  const auto shown = [&](const String& state) { return isText ? InQuotes(state) : state.str(); };
  return fmt::format(" from {} to {}", shown(*step.m_From), shown(*step.m_To));
}

Json StateJson(const PlannedLine& line, const PlannedState& state) {
  if (line.m_What == What::k_Restriction)
    return state.has_value();
  if (!state)
    return nullptr;
  return line.m_What == What::k_Limit ? Json(std::stoi(state->str())) : Json(state->str());
}

} // namespace

PlannedStep StepOf(const OptionsFilePlan& plan, const PlannedLine& line, const Farm& before) {
  if (line.m_Skipped != Skipped::k_No)
    return {"skipped", {}, {}};
  PlannedStep step{"", StateIn(before, line), StateIn(plan.m_After, line)};
  step.m_Result = step.m_From == step.m_To ? "unchanged" : step.m_From ? "changed" : "added";
  return step;
}

std::string PlanText(const PlannedLine& line, const PlannedStep& step, const Farm& before) {
  const std::string_view result = step.m_Result;
  std::string text = fmt::format("Line {}: {}", line.m_Line, result);
  if (line.m_What != What::k_Malformed)
    text += " " + Called(line, before);
  if (result == "skipped")
    text += ": " + Why(line);
  else if (line.m_What == What::k_Restriction)
    text += result == "changed" ? ": removed" : step.m_To ? "" : ": not there";
  else if (result == "changed")
    text += Changes(line, step);
  else
    text += ": " + (line.m_What == What::k_Limit ? step.m_To->str() : InQuotes(*step.m_To));
  return rlib::EscapeControls(text).str();
}

std::string PlanJson(const PlannedLine& line, const PlannedStep& step) {
  static constexpr const char* k_Names[] = {"section",    "line",  "option",
                                            "typeOption", "limit", "restriction"};
  Json json{
      {"line", line.m_Line}, {"result", step.m_Result}, {"what", k_Names[static_cast<size_t>(line.m_What)]}};
  if (line.m_What != What::k_Malformed)
    json["name"] = line.m_Name.str();
  if (line.m_What == What::k_TypeOption || (line.m_What == What::k_Limit && !line.m_Type.IsNull()))
    json["product"] = line.m_Type.ToString().str();
  if (line.m_Skipped != Skipped::k_No) {
    if (line.m_What == What::k_Section)
      json["pairs"] = line.m_Pairs;
    else if (line.m_What != What::k_Malformed)
      json["value"] = line.m_Value.str();
    json["reason"] = ReasonName(line.m_Skipped);
    json["why"] = Why(line);
    if (line.m_By != 0)
      json["by"] = line.m_By;
  } else {
    json["from"] = StateJson(line, step.m_From);
    json["to"] = StateJson(line, step.m_To);
  }
  return ToLine(json);
}

} // namespace brenic::master
