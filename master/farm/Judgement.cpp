#include "farm/Judgement.h"

#include <algorithm>

#include <fmt/core.h>

#include "brenic/MessageClasses.h"
#include "brenic/MessageFactory.h"
#include "brenic/Options.h"
#include "farm/ProductCheck.h"
#include "farm/SettingsCheck.h"
#include "farm/TextCheck.h"
#include "rlib/Escape.h"
#include "wire/Contents.h"
#include "wire/Digest.h"
#include "wire/WholeValue.h"

namespace brenic::master {

namespace {

using rlib::Failure;
using rlib::Result;

/// What a request is judged by.
struct Bench {
  const Farm& m_Farm;
  const MachineCommandLines& m_Commands;
};

/// What an administrator calls a product: its name, as far as one is known of the type.
std::string Called(const Farm& farm, const UID& type) {
  const auto product = farm.m_Products.Known(type);
  return product ? fmt::format("product '{}'", rlib::Excerpt(product->Name()).str())
                 : fmt::format("product {}", type.ToString().str());
}

Result<> CheckType(const Farm& farm, const UID& type) {
  if (!farm.m_Products.Find(type))
    return Failure(fmt::format("The {} is not installed", Called(farm, type)));
  return {};
}

/// The section's product type, null for the global options.
Result<UID> SectionOf(const Farm& farm, const String& section) {
  if (section.CompareNoCase(o_Distribution) == 0)
    return UID::Null;
  UID type;
  if (!type.FromString(section))
    return Failure(fmt::format("The section '{}' is neither '{}' nor the identifier of a product",
                               rlib::Excerpt(section).str(), o_Distribution));
  if (const auto check = CheckType(farm, type); !check)
    return check.Why();
  return type;
}

size_t PieceCount(const String& text) {
  return static_cast<size_t>(std::count(text.str().begin(), text.str().end(), ';')) + 1;
}

/// Adds what becomes of one option.
void SetOption(const Farm& farm, const UID& section, const String& name, const String& value,
               Change& change) {
  const OptionMap& options = farm.OptionsOf(section);
  const auto current = options.find(name);
  const bool isSet = current != options.end();
  if (isSet && current->second == value)
    return;
  const String& kept = isSet ? current->first : name;
  const String& before = isSet ? current->second : k_Empty;
  if (section.IsNull() && name.CompareNoCase(o_UserLimits) == 0 &&
      std::max(PieceCount(before), PieceCount(value)) <= k_MaxPieces) {
    change.m_UserLimits = UserLimitsChange{
        kept, isSet, true, ListDifference<String>::Between(SplitPieces(before), SplitPieces(value))};
    return;
  }
  change.m_Options.push_back({section, kept, {isSet ? std::optional(current->second) : std::nullopt, value}});
}

size_t TextBytes(const Change& change) {
  size_t bytes = 0;
  for (const OptionChange& option : change.m_Options) {
    for (const auto& text : {&option.m_Value.m_Before, &option.m_Value.m_After})
      bytes += *text ? (*text)->size() : 0;
  }
  return bytes;
}

Result<Judgement> JudgeAs(const Bench& bench, const SetMasterOptionsMsg& message) {
  const auto section = SectionOf(bench.m_Farm, message.m_Section);
  if (!section)
    return section.Why();
  Judgement judgement;
  for (const auto& [name, value] : message.m_Options) {
    if (const auto check = CheckName("an", "option", name); !check)
      return check.Why();
    if (const auto check = CheckOptionValue(name, value, section->IsNull()); !check)
      return check.Why();
    SetOption(bench.m_Farm, *section, name, value, judgement.m_Change);
  }
  if (const size_t bytes = TextBytes(judgement.m_Change); bytes > k_MaxChange)
    return Failure(
        fmt::format("The values before and after have {} bytes, where {} are allowed; change fewer options "
                    "at a time",
                    bytes, k_MaxChange));
  return judgement;
}

Result<Judgement> JudgeAs(const Bench& bench, const GetMasterOptionsMsg& message) {
  const auto reply = MessageFactory::Create<SetMasterOptionsMsg>();
  reply->m_Section = o_Distribution;
  for (const String& name : message.m_OptionNames) {
    if (const auto check = CheckName("an", "option", name); !check)
      return check.Why();
    reply->m_Options.emplace(name, bench.m_Farm.Option(name));
  }
  return Judgement{{}, reply, {}};
}

Result<Judgement> JudgeAs(const Bench& bench, const SetMasterLimitsMsg& message) {
  Judgement judgement;
  const auto& limits = bench.m_Farm.m_Limits;
  for (const auto& [type, limit] : message.m_Limits) {
    if (const auto check = CheckType(bench.m_Farm, type); !check)
      return check.Why();
    if (limit < -1)
      return Failure(fmt::format("The limit {} of the {} is below -1, which lifts it", limit,
                                 Called(bench.m_Farm, type)));
    const auto current = limits.find(type);
    const auto before = current != limits.end() ? std::optional(current->second) : std::nullopt;
    if (before != limit)
      judgement.m_Change.m_Limits[type] = {before, limit};
  }
  return judgement;
}

Result<Judgement> JudgeAs(const Bench& bench, const SetMasterRestrictionsMsg& message) {
  Judgement judgement;
  for (const auto& [name, on] : message.m_Restrictions) {
    if (const auto check = CheckName("a", "restriction", name); !check)
      return check.Why();
    if (bench.m_Farm.m_Restrictions.contains(name) != on)
      judgement.m_Change.m_Restrictions[name] = on;
  }
  return judgement;
}

Result<Judgement> JudgeAs(const Bench& bench, const PathTranslationsMsg& message) {
  const auto& translations = message.m_Translations;
  if (const auto check = CheckTranslations(translations); !check)
    return check.Why();
  Judgement judgement;
  judgement.m_Change.m_Translations =
      ListDifference<TranslationSet>::Between(bench.m_Farm.m_Translations, translations);
  return judgement;
}

/// Adds what becomes of one product type.
void SetProduct(const Farm& farm, const UID& type, const std::optional<Customisation>& after,
                Change& change) {
  const auto before = farm.m_Products.CustomisationOf(type);
  if (before != after)
    change.m_Products[type] = {before, after};
}

Result<Judgement> JudgeAs(const Bench& bench, const ProductMsg& message) {
  const auto product = CheckDocument(*message.m_Product);
  if (!product)
    return product.Why();
  const UID& type = (*product)->Type();
  if (const auto traps = CheckTraps(**product, bench.m_Farm.m_Products.Known(type).get()); !traps)
    return traps.Why();
  if (const auto names = CheckNames(bench.m_Farm.m_Products, **product); !names)
    return names.Why();
  Judgement judgement;
  SetProduct(bench.m_Farm, type, Customisation{*product}, judgement.m_Change);
  judgement.m_ProductTold = type;
  return judgement;
}

Result<Judgement> JudgeAs(const Bench& bench, const RemoveProductMsg& message) {
  const UID& type = message.m_ProductType;
  Judgement judgement;
  judgement.m_ProductTold = type;
  if (type.IsNull()) {
    for (const auto& entry : bench.m_Farm.m_Products.Customised())
      SetProduct(bench.m_Farm, entry.first, std::nullopt, judgement.m_Change);
    judgement.m_ReloadsDefaults = true;
    return judgement;
  }
  if (const auto check = CheckType(bench.m_Farm, type); !check)
    return check.Why();
  // A default product stays removed; of another one nothing is left.
  const bool isDefault = bench.m_Farm.m_Products.IsDefault(type);
  SetProduct(bench.m_Farm, type, isDefault ? std::optional(Customisation()) : std::nullopt,
             judgement.m_Change);
  return judgement;
}

Result<Judgement> JudgeAs(const Bench&, const LogDumpMsg&) {
  return Judgement();
}

Result<Judgement> JudgeAs(const Bench&, const ShutdownMsg&) {
  return Judgement();
}

Result<Judgement> JudgeAs(const Bench& bench, const MachineMsg& message) {
  const bool reboot = message.m_Command == MachineMsg::k_Reboot;
  if (!reboot && message.m_Command != MachineMsg::k_Shutdown)
    return Failure(fmt::format("There is no machine command {}", message.m_Command));
  if (!message.m_Machine.IsNull())
    return Failure("The Master can only reboot or shut down its own machine");
  if ((reboot ? bench.m_Commands.m_Reboot : bench.m_Commands.m_Shutdown).empty())
    return Failure(fmt::format("This Master is not set up to {} its machine; its configuration has no {}",
                               reboot ? "reboot" : "shut down",
                               reboot ? "RebootCommand" : "ShutdownCommand"));
  return Judgement();
}

} // namespace

Result<Judgement> Judge(const Farm& farm, const MachineCommandLines& commands, const Message& message) {
  const Bench bench{farm, commands};
  return VisitMessage(message, [&]<typename Class>(const Class& typed) -> Result<Judgement> {
    if constexpr (Class::k_Description.m_Sender == Sender::k_Master)
      return Failure("Only a Master sends this message");
    else if constexpr (Class::k_Description.m_Sender == Sender::k_Manager)
      return Failure("This is only decided on the Master's own machine: run brenic-master there");
    else
      return JudgeAs(bench, typed);
  });
}

Result<> CheckBasis(const Farm& farm, const Message& message, const std::string& basis) {
  const auto value = wire::WholeValueIn(message);
  if (basis.empty())
    return {};
  // Not ignored: its sender believes that something is compared.
  if (!value)
    return Failure("It has a basis, but is not the write of a whole value");
  if (basis.size() != k_DigestBytes)
    return Failure(fmt::format("Its basis has {} bytes instead of {}", basis.size(), k_DigestBytes));
  const bool translations = *value == wire::WholeValue::k_PathTranslations;
  const std::string current =
      translations ? wire::EncodeTranslations(farm.m_Translations) : farm.Option(o_UserLimits).str();
  if (Sha256(current) == basis)
    return {};
  return Failure(fmt::format(
      "{} changed by someone else in the meantime; this request changed nothing and can be repeated",
      translations ? "The path translations were" : "The user limits were"));
}

} // namespace brenic::master
