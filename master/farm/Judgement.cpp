#include "farm/Judgement.h"

#include <fmt/core.h>

#include "brenic/MessageFactory.h"
#include "brenic/Options.h"
#include "brenic/ProductMessages.h"
#include "brenic/SystemMessages.h"
#include "farm/ProductCheck.h"
#include "farm/TextCheck.h"
#include "rlib/Escape.h"
#include "rlib/Number.h"
#include "wire/Digest.h"
#include "wire/Frames.h"

namespace brenic::master {

namespace {

Judgement Refuse(const String& reason) {
  return {reason, {}, nullptr};
}

/// The beginning of a text, fit to be shown in a refusal.
std::string Shown(const String& text) {
  constexpr size_t k_Most = 64;
  std::string shown = rlib::EscapeControls(text.str().substr(0, k_Most)).str();
  return text.size() > k_Most ? shown + "..." : shown;
}

String CheckName(const char* field, const String& name) {
  if (name.empty())
    return fmt::format("{}: a name is empty", field);
  const String problem = CheckText(name, k_MaxName);
  return problem.empty() ? k_Empty
                         : String(fmt::format("{}: the name '{}': {}", field, Shown(name), problem.str()));
}

String CheckValue(const String& name, const String& value, bool global) {
  const bool userLimits = global && name.CompareNoCase(o_UserLimits) == 0;
  String problem = CheckText(value, userLimits ? k_MaxUserLimits : k_MaxValue);
  if (global && name.CompareNoCase(o_DefaultIdleTimeout) == 0 && !value.empty()) {
    const std::optional<int32_t> minutes = rlib::ParseInt32(value);
    if (!minutes || *minutes < 0)
      problem = "it must be a whole number of minutes";
  }
  return problem.empty()
             ? k_Empty
             : String(fmt::format("m_Options: the value of '{}': {}", Shown(name), problem.str()));
}

String CheckType(const char* field, const Farm& farm, const UID& type) {
  if (farm.m_Products.Find(type))
    return k_Empty;
  return fmt::format("{}: there is no product of the type {}", field, type.ToString().str());
}

Judgement JudgeOne(const Farm& farm, const SetMasterOptionsMsg& message) {
  Judgement judgement;
  const bool global = message.m_Section.CompareNoCase(o_Distribution) == 0;
  if (!global) {
    if (!judgement.m_Effect.m_OptionsType.FromString(message.m_Section))
      return Refuse(fmt::format("m_Section: '{}' is neither '{}' nor the identifier of a product type",
                                Shown(message.m_Section), o_Distribution));
    if (const String problem = CheckType("m_Section", farm, judgement.m_Effect.m_OptionsType);
        !problem.empty())
      return Refuse(problem);
  }
  for (const auto& [name, value] : message.m_Options) {
    if (const String problem = CheckName("m_Options", name); !problem.empty())
      return Refuse(problem);
    if (const String problem = CheckValue(name, value, global); !problem.empty())
      return Refuse(problem);
  }
  judgement.m_Effect.m_Options = message.m_Options;
  return judgement;
}

Judgement JudgeOne(const Farm& farm, const GetMasterOptionsMsg& message) {
  const auto reply = MessageFactory::Create<SetMasterOptionsMsg>();
  reply->m_Section = o_Distribution;
  for (const String& name : message.m_OptionNames) {
    if (const String problem = CheckName("m_OptionNames", name); !problem.empty())
      return Refuse(problem);
    reply->m_Options.emplace(name, farm.Option(name));
  }
  return {k_Empty, {}, reply};
}

Judgement JudgeOne(const Farm& farm, const SetMasterLimitsMsg& message) {
  Judgement judgement;
  for (const auto& [type, limit] : message.m_Limits) {
    if (const String problem = CheckType("m_Limits", farm, type); !problem.empty())
      return Refuse(problem);
    if (limit < -1)
      return Refuse(
          fmt::format("m_Limits: the limit {} of the type {} is below -1", limit, type.ToString().str()));
  }
  judgement.m_Effect.m_Limits = message.m_Limits;
  return judgement;
}

Judgement JudgeOne(const Farm&, const SetMasterRestrictionsMsg& message) {
  Judgement judgement;
  for (const auto& restriction : message.m_Restrictions) {
    if (const String problem = CheckName("m_Restrictions", restriction.first); !problem.empty())
      return Refuse(problem);
  }
  judgement.m_Effect.m_Restrictions = message.m_Restrictions;
  return judgement;
}

Judgement JudgeOne(const Farm&, const PathTranslationsMsg& message) {
  const auto& translations = message.m_Translations;
  if (translations.size() > k_MaxTranslationCount)
    return Refuse(fmt::format("m_Translations: {} translations, where {} are allowed", translations.size(),
                              k_MaxTranslationCount));
  for (size_t i = 0; i < translations.size(); ++i) {
    for (const auto& [platform, root] : translations[i]) {
      if (platform < 0 || platform > 2)
        return Refuse(fmt::format("m_Translations[{}]: there is no platform {}", i, platform));
      if (const String problem = CheckText(root.str(), k_MaxRoot); !problem.empty())
        return Refuse(
            fmt::format("m_Translations[{}]: the root of the platform {}: {}", i, platform, problem.str()));
    }
  }
  if (EncodeTranslations(translations).size() > wire::k_MaxTranslations)
    return Refuse(fmt::format("m_Translations: the list exceeds {} bytes", wire::k_MaxTranslations));
  Judgement judgement;
  judgement.m_Effect.m_Translations = translations;
  return judgement;
}

Judgement JudgeOne(const Farm& farm, const ProductMsg& message) {
  const Product& product = *message.m_Product;
  String problem = CheckDocument(product);
  if (problem.empty())
    problem = DescribeNameClash(farm.m_Products, product);
  if (!problem.empty())
    return Refuse("product: " + problem);
  Judgement judgement;
  judgement.m_Effect.m_Install = message.m_Product;
  return judgement;
}

Judgement JudgeOne(const Farm& farm, const RemoveProductMsg& message) {
  if (!message.m_ProductType.IsNull()) {
    if (const String problem = CheckType("productType", farm, message.m_ProductType); !problem.empty())
      return Refuse(problem);
  }
  Judgement judgement;
  judgement.m_Effect.m_Remove = message.m_ProductType;
  return judgement;
}

Judgement JudgeMachine(const MachineCommandLines& commands, const MachineMsg& message) {
  const bool reboot = message.m_Command == MachineMsg::k_Reboot;
  if (!reboot && message.m_Command != MachineMsg::k_Shutdown)
    return Refuse(fmt::format("m_Command: there is no machine command {}", message.m_Command));
  if (!message.m_Machine.IsNull())
    return Refuse("m_Machine: the Master can only reboot or shut down its own machine");
  if ((reboot ? commands.m_Reboot : commands.m_Shutdown).empty())
    return Refuse(fmt::format("this Master is not set up to {} its machine; its configuration has no {}",
                              reboot ? "reboot" : "shut down", reboot ? "RebootCommand" : "ShutdownCommand"));
  return {};
}

template <typename Class>
bool Try(const Farm& farm, const Message& message, Judgement& judgement) {
  if (message.Type() != Class::s_Type)
    return false;
  judgement = JudgeOne(farm, static_cast<const Class&>(message));
  return true;
}

template <typename... Classes>
bool TryEach(const Farm& farm, const Message& message, Judgement& judgement) {
  return (Try<Classes>(farm, message, judgement) || ...);
}

} // namespace

Judgement Judge(const Farm& farm, const MachineCommandLines& commands, const Message& message) {
  Judgement judgement;
  if (TryEach<SetMasterOptionsMsg, GetMasterOptionsMsg, SetMasterLimitsMsg, SetMasterRestrictionsMsg,
              PathTranslationsMsg, ProductMsg, RemoveProductMsg>(farm, message, judgement))
    return judgement;
  if (message.Type() == MachineMsg::s_Type)
    return JudgeMachine(commands, static_cast<const MachineMsg&>(message));
  if (!IsOperation(message))
    return Refuse(fmt::format("a client may not send {}", message.ClassName()));
  return {};
}

String CheckBasis(const Farm& farm, const Message& message, const std::string& basis) {
  if (basis.empty())
    return k_Empty;
  std::string current;
  const char* what = nullptr;
  if (message.Type() == PathTranslationsMsg::s_Type) {
    what = "the path translations were";
    current = EncodeTranslations(farm.m_Translations);
  } else if (message.Type() == SetMasterOptionsMsg::s_Type) {
    const auto& options = static_cast<const SetMasterOptionsMsg&>(message);
    if (options.m_Section.CompareNoCase(o_Distribution) != 0 || !options.m_Options.count(o_UserLimits))
      return k_Empty;
    what = "the user limits were";
    current = farm.Option(o_UserLimits).str();
  }
  if (!what || Sha256(current) == basis)
    return k_Empty;
  return fmt::format("{} changed by someone else in the meantime; nothing was changed, run the command again",
                     what);
}

bool IsOperation(const Message& message) {
  return message.Type() == LogDumpMsg::s_Type || message.Type() == ShutdownMsg::s_Type ||
         message.Type() == MachineMsg::s_Type;
}

} // namespace brenic::master
