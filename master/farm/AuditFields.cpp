#include "farm/AuditFields.h"

#include "brenic/PathTranslationsMsg.h"
#include "brenic/ProductMessages.h"
#include "brenic/SettingsMessages.h"
#include "brenic/SystemMessages.h"
#include "wire/Digest.h"

namespace brenic::master {

namespace {

Json Fields(const SetMasterOptionsMsg& message) {
  Json options = Json::object();
  for (const auto& [name, value] : message.m_Options)
    AddMember(options, name.str(), value.str());
  return {{"m_Section", message.m_Section.str()}, {"m_Options", options}};
}

Json Fields(const GetMasterOptionsMsg& message) {
  Json names = Json::array();
  for (const String& name : message.m_OptionNames)
    names.push_back(name.str());
  return {{"m_OptionNames", names}};
}

Json Fields(const SetMasterLimitsMsg& message) {
  Json limits = Json::object();
  for (const auto& [type, limit] : message.m_Limits)
    AddMember(limits, type.ToString().str(), limit);
  return {{"m_Limits", limits}};
}

Json Fields(const SetMasterRestrictionsMsg& message) {
  Json restrictions = Json::object();
  for (const auto& [name, add] : message.m_Restrictions)
    AddMember(restrictions, name.str(), add);
  return {{"m_Restrictions", restrictions}};
}

Json Fields(const PathTranslationsMsg& message) {
  Json translations = Json::array();
  for (const auto& translation : message.m_Translations)
    translations.push_back(TranslationJson(translation));
  return {{"m_Translations", translations}};
}

Json Fields(const ProductMsg& message) {
  const Product& product = *message.m_Product;
  return {{"product",
           {{"id", product.Type().ToString().str()},
            {"name", product.Name().str()},
            {"digest", Hex(Sha256(product.Document()))}}}};
}

Json Fields(const RemoveProductMsg& message) {
  return {{"productType", message.m_ProductType.ToString().str()}};
}

Json Fields(const MachineMsg& message) {
  return {{"command", message.m_Command}, {"machine", message.m_Machine.ToString().str()}};
}

template <typename... Classes>
Json FieldsOf(const Message& message) {
  Json fields = Json::object();
  (void)((message.Type() == Classes::s_Type &&
          (fields = Fields(static_cast<const Classes&>(message)), true)) ||
         ...);
  return fields;
}

} // namespace

Json AuditFields(const Message& message) {
  Json fields =
      FieldsOf<SetMasterOptionsMsg, GetMasterOptionsMsg, SetMasterLimitsMsg, SetMasterRestrictionsMsg,
               PathTranslationsMsg, ProductMsg, RemoveProductMsg, MachineMsg>(message);
  for (auto& field : fields) {
    if (const std::string text = ToText(field); text.size() > k_MaxAuditField)
      field = {{"digest", Hex(Sha256(text))}, {"size", text.size()}};
  }
  return fields;
}

} // namespace brenic::master
