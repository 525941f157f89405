#include "manage/History.h"

#include <algorithm>

#include <fmt/core.h>

#include "brenic/MessageClasses.h"
#include "brenic/Options.h"
#include "farm/Entry.h"
#include "manage/AuditFields.h"
#include "rlib/Escape.h"

namespace brenic::master {

namespace {

/// A record that fits, as far as it can be read.
struct Reading {
  std::shared_ptr<const Change> m_Change; // null for a record of layout 1, and a damaged one
  std::vector<std::string> m_Words;
};

/// Whether it changed something, as far as a record of layout 1 tells.
bool IsWrite(const AuditRecord& record) {
  const MessageDescription* const description = FindDescription(record.m_Class);
  return description && description->m_Kind == RequestKind::k_Write;
}

/// Whether it is about certificates: then its reason tells what was done.
bool IsManagement(const AuditRecord& record) {
  const MessageDescription* const description = FindDescription(record.m_Class);
  return description && description->m_Sender == Sender::k_Manager;
}

const Json& Member(const Json& fields, const char* name) {
  static const Json s_None = Json::object();
  const auto found = fields.find(name);
  return found != fields.end() && found->is_object() ? *found : s_None;
}

bool IsText(const Json& json, const std::function<bool(const String&)>& fits) {
  return json.is_string() && fits(json.get_ref<const std::string&>());
}

bool NamesOption(const Json& fields, const String& name) {
  const Json& options = Member(fields, "m_Options");
  return std::any_of(options.items().begin(), options.items().end(),
                     [&](const auto& option) { return String(option.key()).CompareNoCase(name) == 0; });
}

bool NamesUser(const Json& fields, const String& user) {
  for (const auto& option : Member(fields, "m_Options").items()) {
    if (String(option.key()).CompareNoCase(o_UserLimits) != 0 || !option.value().is_string())
      continue;
    const auto pieces = SplitPieces(option.value().get<std::string>());
    return std::any_of(pieces.begin(), pieces.end(),
                       [&](const String& piece) { return UserOf(piece) == user; });
  }
  return false;
}

bool NamesRoot(const Json& fields, const String& text) {
  const auto list = fields.find("m_Translations");
  if (list == fields.end() || !list->is_array())
    return false;
  const auto holds = [&](const String& root) { return root.str().find(text.str()) != std::string::npos; };
  return std::any_of(list->begin(), list->end(), [&](const Json& translation) {
    return std::any_of(translation.begin(), translation.end(),
                       [&](const Json& root) { return IsText(root, holds); });
  });
}

bool NamesProduct(const Json& fields, const std::set<UID>& types) {
  const auto fits = [&](const String& text) {
    UID type;
    return type.FromString(text) && types.contains(type);
  };
  const auto holds = [&](const Json& object, const char* name) {
    const auto found = object.find(name);
    return found != object.end() && IsText(*found, fits);
  };
  const Json& limits = Member(fields, "m_Limits");
  return holds(fields, "m_Section") || holds(fields, "productType") ||
         holds(Member(fields, "product"), "id") ||
         std::any_of(limits.items().begin(), limits.items().end(),
                     [&](const auto& limit) { return fits(limit.key()); });
}

/// Of the request of a record of layout 1. Nothing is known of what its long fields held.
bool Fits(const Json& fields, const HistoryFilter& filter) {
  return (!filter.m_Option || NamesOption(fields, *filter.m_Option)) &&
         (!filter.m_User || NamesUser(fields, *filter.m_User)) &&
         (!filter.m_Root || NamesRoot(fields, *filter.m_Root)) &&
         (!filter.m_Products || NamesProduct(fields, *filter.m_Products));
}

bool IsEverything(const HistoryFilter& filter) {
  return !filter.m_Option && !filter.m_User && !filter.m_Root && !filter.m_Products;
}

std::optional<Reading> Read(const AuditRecord& record, const HistoryFilter& filter, const TypeNamer& namer) {
  if (filter.m_Client && record.m_ClientName != *filter.m_Client)
    return std::nullopt;
  Reading reading;
  if (record.IsOfLayout1()) {
    if (!IsWrite(record) || !Fits(RequestFields(record), filter))
      return std::nullopt;
    reading.m_Words = {record.m_Class + " " + record.m_FieldsOfLayout1};
    return reading;
  }
  if (IsManagement(record)) {
    reading.m_Words = {record.m_Reason};
    return IsEverything(filter) ? std::optional(reading) : std::nullopt;
  }
  try {
    reading.m_Change = record.LoadedChange();
  } catch (const StoreFailure& failure) {
    if (failure.Which() != StoreFailure::Kind::k_DamagedRecord)
      throw;
    reading.m_Words = {std::string("what it changed cannot be read: ") + failure.what()};
    return IsEverything(filter) ? std::optional(reading) : std::nullopt;
  }
  if (reading.m_Change)
    reading.m_Words = ChangeWords(*reading.m_Change, filter, namer);
  return reading.m_Words.empty() ? std::nullopt : std::optional(reading);
}

/// The sequences that a record of a RevertMsg took back; none for others.
Json Reverted(const AuditRecord& record) {
  const Json fields = record.m_Class == RevertMsg::k_Description.m_ClassName ? RequestFields(record) : Json();
  return fields.is_object() && fields.contains("m_Sequences") ? fields["m_Sequences"] : Json();
}

std::string Numbers(const Json& sequences) {
  std::string text;
  for (const Json& sequence : sequences)
    text += (text.empty() ? "" : ", ") + ToText(sequence);
  return text;
}

} // namespace

std::string HistoryText(const AuditRecord& record, const HistoryFilter& filter, const TypeNamer& namer) {
  constexpr size_t k_Shown = 20; // things
  const auto reading = Read(record, filter, namer);
  if (!reading)
    return {};
  std::string what;
  for (size_t i = 0; i != std::min(reading->m_Words.size(), k_Shown); ++i)
    what += (i == 0 ? "" : "; ") + reading->m_Words[i];
  if (reading->m_Words.size() > k_Shown)
    what += fmt::format("; and {} more (--json shows all)", reading->m_Words.size() - k_Shown);
  const Json reverted = Reverted(record);
  return rlib::EscapeControls(fmt::format("{} {} {}{}: {}", record.m_Sequence,
                                          Time(record.m_Time).Iso8601().str(),
                                          rlib::Excerpt(record.m_ClientName).str(),
                                          reverted.is_array() ? " reverted " + Numbers(reverted) : "", what))
      .str();
}

std::string HistoryJson(const AuditRecord& record, const HistoryFilter& filter, const TypeNamer& namer) {
  const auto reading = Read(record, filter, namer);
  if (!reading)
    return {};
  Json json = {{"sequence", record.m_Sequence},
               {"time", Time(record.m_Time).Iso8601().str()},
               {"client", {{"name", record.m_ClientName.str()}, {"address", record.m_Address}}},
               {"class", record.m_Class}};
  if (Json reverted = Reverted(record); reverted.is_array())
    json["reverts"] = std::move(reverted);
  if (reading->m_Change)
    json["change"] = ChangeJson(*reading->m_Change);
  else if (record.IsOfLayout1() || IsManagement(record))
    json["request"] = RequestFields(record);
  else
    json["change"] = {{"unreadable", reading->m_Words.front()}};
  return ToLine(json);
}

} // namespace brenic::master
