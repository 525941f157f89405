#include "manage/Printing.h"

#include <algorithm>
#include <ctime>

#include <fmt/core.h>

#include "Release.h"
#include "brenic/Options.h"
#include "brenic/ProductMessages.h"
#include "manage/AuditFields.h"
#include "manage/Words.h"
#include "rlib/Escape.h"
#include "rlib/IniFile.h"
#include "rlib/Platform.h"

namespace brenic::master {

namespace {

Json OptionsJson(const OptionMap& options) {
  Json json = Json::object();
  for (const auto& [name, value] : options)
    AddMember(json, name.str(), value.str());
  return json;
}

Json ProductsJson(const ProductCatalogue& catalogue) {
  Json products = Json::array();
  for (const auto& [type, product] : catalogue.Effective()) {
    Json aliases = Json::array();
    for (const String& alias : product->Aliases())
      aliases.push_back(alias.str());
    products.push_back({{"id", type.ToString().str()},
                        {"name", product->Name().str()},
                        {"aliases", aliases},
                        {"origin", catalogue.IsCustom(type) ? "custom" : "default"}});
  }
  return products;
}

/// Quoted whenever the text as it stands could be read as something else.
std::string IniText(const String& text) {
  static constexpr std::string_view k_Plain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_./+,:";
  if (!text.empty() && text.str().find_first_not_of(k_Plain) == std::string::npos)
    return text.str();
  return "\"" + text.str() + "\"";
}

bool ReadsBack(const std::string& line, const String& name, const String& value) {
  rlib::IniFile ini;
  String readName, readValue;
  return ini.LoadText(line) && ini.SetNextSection() && ini.GetNextValue(readName, readValue) &&
         readName == name && readValue == value && !ini.GetNextValue(readName, readValue);
}

/// A pair as it is read back; a comment where there is no such line.
std::string IniLine(const String& name, const String& value) {
  const std::string line = IniText(name) + " = " + IniText(value) + "\n";
  if (line.size() > rlib::IniFile::k_MaxLine + 1)
    return fmt::format("; {} is left out: its value of {} bytes is too long for a line\n",
                       Shown(IniText(name)), value.size());
  if (!ReadsBack(line, name, value))
    return fmt::format("; {} is left out: an INI file cannot hold its name or its value\n",
                       Shown(IniText(name)));
  return line;
}

void AddOptions(std::string& out, const std::string& section, const OptionMap& options) {
  out += fmt::format("[{}]\n", section);
  for (const auto& [name, value] : options)
    out += IniLine(name, value);
  out += "\n";
}

std::string ShownProduct(const Farm& farm, const UID& type) {
  const auto product = farm.m_Products.Find(type);
  return product ? Shown(product->Name()) : type.ToString().str();
}

} // namespace

std::string StateJson(const MasterRecord& master, const Farm& farm) {
  Json state;
  state["master"] = {{"id", master.m_ID.ToString().str()},
                     {"name", master.m_Name.str()},
                     {"version", rlib::VER_STRING(k_Version).str()},
                     {"defaultIdleTimeout", farm.DefaultIdleTimeout()},
                     {"message", farm.Option(o_Message).str()}};
  state["options"] = OptionsJson(farm.m_Options);
  state["typeOptions"] = Json::object();
  for (const auto& [type, options] : farm.m_TypeOptions)
    AddMember(state["typeOptions"], type.ToString().str(), OptionsJson(options));
  state["limits"] = Json::object();
  for (const auto& [type, limit] : farm.m_Limits)
    AddMember(state["limits"], type.ToString().str(), limit);
  state["restrictions"] = Json::array();
  for (const String& name : farm.m_Restrictions)
    state["restrictions"].push_back(name.str());
  state["pathTranslations"] = Json::array();
  for (const auto& translation : farm.m_Translations)
    state["pathTranslations"].push_back(TranslationJson(translation));
  state["products"] = ProductsJson(farm.m_Products);
  return ToLine(state);
}

std::string StateIni(const Farm& farm) {
  std::string out;
  AddOptions(out, o_Distribution, farm.m_Options);
  out += fmt::format("[{}]\n", o_Restrictions);
  for (const String& name : farm.m_Restrictions)
    out += IniLine(name, "true");
  out += fmt::format("\n[{}]\n", o_Limit);
  for (const auto& [type, limit] : farm.m_Limits)
    out += fmt::format(
        "{}{} = {}\n",
        farm.m_Products.Find(type) ? "" : "; There is no product of this type: setwright skips the limit\n",
        type.ToString().str(), limit);
  out += "\n";
  for (const auto& [type, options] : farm.m_TypeOptions) {
    const auto product = farm.m_Products.Find(type);
    out += fmt::format("; {}\n", product ? Shown(product->Name())
                                         : "There is no product of this type: setwright skips the section");
    if (options.size() > 1)
      out += "; setwright sends only the last option of a product type: copy the others one at a time\n";
    for (const auto& [name, value] : options) {
      if (product && product->IsDefaultParam(name, value))
        out += fmt::format("; setwright does not send {}: the product has this value by default\n",
                           Shown(IniText(name)));
    }
    AddOptions(out, type.ToString().str(), options);
  }
  return out;
}

std::string StateText(const MasterRecord& master, const Farm& farm) {
  std::string out = fmt::format("Master '{}' {}\n", Shown(master.m_Name), master.m_ID.ToString().str());
  out += fmt::format("\nOptions: {}\n", farm.m_Options.size());
  for (const auto& [name, value] : farm.m_Options)
    out += fmt::format("  {} = {}\n", Shown(name), Shown(value));
  for (const auto& [type, options] : farm.m_TypeOptions) {
    out += fmt::format("\nOptions of {}: {}\n", ShownProduct(farm, type), options.size());
    for (const auto& [name, value] : options)
      out += fmt::format("  {} = {}\n", Shown(name), Shown(value));
  }
  out += fmt::format("\nWorker limits: {}\n", farm.m_Limits.size());
  for (const auto& [type, limit] : farm.m_Limits)
    out += fmt::format("  {}: {}\n", ShownProduct(farm, type), limit < 0 ? "none" : std::to_string(limit));
  out += fmt::format("\nRestrictions: {}\n", farm.m_Restrictions.size());
  for (const String& name : farm.m_Restrictions)
    out += fmt::format("  {}\n", Shown(name));
  out += fmt::format("\nPath translations: {}\n", farm.m_Translations.size());
  for (const auto& translation : farm.m_Translations) {
    std::string line;
    for (const auto& [platform, root] : translation)
      line += fmt::format("{}{}: {}", line.empty() ? "  " : ", ", rlib::Platform::Name(platform).str(),
                          Shown(root.str()));
    out += line + "\n";
  }
  const ProductMap& products = farm.m_Products.Effective();
  out += fmt::format("\nProducts: {}\n", products.size());
  for (const auto& [type, product] : products)
    out += fmt::format("  {} {}{}\n", type.ToString().str(), Shown(product->Name()),
                       farm.m_Products.IsCustom(type) ? " (custom)" : "");
  return out;
}

namespace {

/// A field that was too long to be shown or kept is an object of digest and size, or they stand in its place.
bool IsHidden(const Json& fields) {
  const auto hides = [](const Json& json) {
    return json.is_object() && json.contains("digest") && json.contains("size") && json["size"].is_number();
  };
  return hides(fields) || std::any_of(fields.begin(), fields.end(), hides);
}

/// What the record's request did, where its fields do not tell; null where they do.
Json HiddenChange(const AuditRecord& record, const Json& fields) {
  // What a reset of the products found in the folder of default products, its fields do not tell either.
  const bool isReset = record.m_Class == RemoveProductMsg::k_Description.m_ClassName &&
                       fields.contains("productType") && fields["productType"] == UID::Null.ToString().str();
  if (!isReset && !IsHidden(fields))
    return nullptr;
  try {
    const auto change = record.LoadedChange();
    return change ? ChangeJson(*change) : Json();
  } catch (const StoreFailure& failure) {
    return {{"unreadable", failure.what()}}; // the other records can be read all the same
  }
}

} // namespace

std::string AuditJson(const AuditRecord& record) {
  Json message = {{"id", record.m_MessageId.ToString().str()}, {"class", record.m_Class}};
  const Json fields = RequestFields(record);
  message.update(fields);
  Json json = {{"sequence", record.m_Sequence},
               {"time", Time(record.m_Time).Iso8601().str()},
               {"client",
                {{"id", record.m_ClientId},
                 {"name", record.m_ClientName.str()},
                 {"role", RoleName(record.m_Role)},
                 {"kind", record.m_Kind},
                 {"address", record.m_Address}}},
               {"message", message},
               {"result", record.m_Result},
               {"reason", record.m_Reason}};
  if (Json change = HiddenChange(record, fields); !change.is_null())
    json["change"] = std::move(change);
  return ToLine(json);
}

std::string AuditText(const AuditRecord& record) {
  const std::string reason = record.m_Reason.empty() ? "" : ": " + record.m_Reason;
  const Json fields = RequestFields(record);
  std::string shown =
      record.IsOfLayout1() ? rlib::EscapeControlsInJson(record.m_FieldsOfLayout1) : ToLine(fields);
  if (const Json change = HiddenChange(record, fields); !change.is_null()) {
    const std::string text = ToLine(change);
    shown += text.size() <= k_MaxAuditField ? " " + text : " (--json shows what it changed)";
  }
  return Shown(fmt::format("{} {} {}@{} {} {} {}{}", record.m_Sequence, Time(record.m_Time).Iso8601().str(),
                           record.m_ClientName.str(), record.m_Address, record.m_Class, shown,
                           record.m_Result, reason));
}

std::optional<int64_t> ParseTime(const std::string& text) {
  tm parts{};
  const char* rest = strptime(text.c_str(), "%Y-%m-%d", &parts);
  if (rest && (*rest == 'T' || *rest == ' '))
    rest = strptime(rest + 1, "%H:%M:%S", &parts);
  int64_t milliseconds = 0;
  if (rest && *rest == '.') {
    int64_t unit = 100;
    for (++rest; *rest >= '0' && *rest <= '9'; ++rest, unit /= 10)
      milliseconds += (*rest - '0') * unit;
  }
  if (rest && *rest == 'Z')
    ++rest;
  if (!rest || *rest != '\0')
    return std::nullopt;
  tm kept = parts; // timegm makes a day that there is of one that there is not
  const auto seconds = static_cast<int64_t>(timegm(&kept));
  if (kept.tm_mday != parts.tm_mday || kept.tm_sec != parts.tm_sec)
    return std::nullopt;
  return seconds * 1000 + milliseconds;
}

int64_t SinceOption(const std::string& text) {
  const auto time = ParseTime(text);
  if (!time)
    throw new Exception("--since wants a time like 2026-01-31T12:00:00Z, not '" + String(text) + "'");
  return *time;
}

} // namespace brenic::master
