#include "farm/Judgement.h"

#include <algorithm>

#include <fmt/core.h>

#include "brenic/MessageClasses.h"
#include "brenic/MessageFactory.h"
#include "brenic/Options.h"
#include "farm/Entry.h"
#include "farm/ProductCheck.h"
#include "farm/Revert.h"
#include "farm/SettingsCheck.h"
#include "farm/Steps.h"
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
  Trail& m_Trail;
};

Result<> CheckType(const Farm& farm, const UID& type) {
  if (!farm.m_Products.Find(type))
    return Failure(fmt::format("The {} is not installed", ProductName(farm, type)));
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
  if (const auto size = CheckSize(judgement.m_Change); !size)
    return size.Why();
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
  for (const auto& [type, limit] : message.m_Limits) {
    if (const auto check = CheckType(bench.m_Farm, type); !check)
      return check.Why();
    if (limit < -1)
      return Failure(fmt::format("The limit {} of the {} is below -1, which lifts it", limit,
                                 ProductName(bench.m_Farm, type)));
    SetLimit(bench.m_Farm, type, limit, judgement.m_Change);
  }
  return judgement;
}

Result<Judgement> JudgeAs(const Bench& bench, const SetMasterRestrictionsMsg& message) {
  Judgement judgement;
  for (const auto& [name, on] : message.m_Restrictions) {
    if (const auto check = CheckName("a", "restriction", name); !check)
      return check.Why();
    SetRestriction(bench.m_Farm, name, on, judgement.m_Change);
  }
  return judgement;
}

Result<Judgement> JudgeAs(const Bench& bench, const PathTranslationsMsg& message) {
  const auto& translations = message.m_Translations;
  if (const auto check = CheckTranslations(translations); !check)
    return check.Why();
  Judgement judgement;
  SetTranslations(bench.m_Farm, translations, judgement.m_Change);
  return judgement;
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
  judgement.m_ProductsTold = {type};
  return judgement;
}

Result<Judgement> JudgeAs(const Bench& bench, const RemoveProductMsg& message) {
  const UID& type = message.m_ProductType;
  Judgement judgement;
  judgement.m_ProductsTold = {type};
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

Result<Judgement> JudgeAs(const Bench& bench, const RevertMsg& message) {
  return JudgeRevert(bench.m_Farm, bench.m_Trail, message.m_Sequences);
}

} // namespace

Result<Judgement> Judge(const Farm& farm, const MachineCommandLines& commands, const Message& message,
                        Trail& trail) {
  const Bench bench{farm, commands, trail};
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
