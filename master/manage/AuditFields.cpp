#include "manage/AuditFields.h"

#include "brenic/MessageClasses.h"
#include "wire/Contents.h"
#include "wire/Digest.h"

namespace brenic::master {

namespace {

// Each kind of field as JSON. A class with a field of another kind does not compile.

Json ToJson(const String& text) {
  return text.str();
}
Json ToJson(const UID& id) {
  return id.ToString().str();
}
Json ToJson(int number) {
  return number;
}
Json ToJson(int64_t number) {
  return number;
}
Json ToJson(bool value) {
  return value;
}
Json ToJson(const TranslationSet& translation) {
  return TranslationJson(translation);
}
Json ToJson(const shared_ptr<const Product>& product) {
  if (!product)
    return nullptr;
  return {{"id", product->Type().ToString().str()},
          {"name", product->Name().str()},
          {"digest", Hex(Sha256(product->Document()))}};
}

Json ToJson(const Customisation& customisation) {
  return customisation.m_Installed ? ToJson(customisation.m_Installed) : Json("removed");
}

std::string Name(const String& text) {
  return text.str();
}
std::string Name(const UID& id) {
  return id.ToString().str();
}

template <typename Element>
Json ToJson(const std::vector<Element>& list) {
  Json json = Json::array();
  for (const Element& element : list)
    json.push_back(ToJson(element));
  return json;
}

template <typename Key, typename Value, typename Less>
Json ToJson(const std::map<Key, Value, Less>& map) {
  Json json = Json::object();
  for (const auto& [key, value] : map)
    AddMember(json, Name(key), ToJson(value));
  return json;
}

template <typename State>
Json ToJson(const std::optional<State>& state) {
  return state ? ToJson(*state) : Json();
}

template <typename Entry>
Json ToJson(const ListDifference<Entry>& difference) {
  Json runs = Json::array();
  for (const ListRun<Entry>& run : difference.m_Runs)
    runs.push_back({{"at", run.m_At}, {"removed", ToJson(run.m_Removed)}, {"added", ToJson(run.m_Added)}});
  return runs;
}

Json OptionsJson(const std::vector<OptionChange>& options) {
  Json json = Json::array();
  for (const OptionChange& option : options) {
    Json step;
    if (!option.m_Section.IsNull())
      step["type"] = ToJson(option.m_Section);
    step["name"] = ToJson(option.m_Name);
    step["before"] = ToJson(option.m_Value.m_Before);
    step["after"] = ToJson(option.m_Value.m_After);
    json.push_back(std::move(step));
  }
  return json;
}

template <typename Key, typename State>
Json StepsJson(const char* keyName, const std::map<Key, Step<State>>& steps) {
  Json json = Json::array();
  for (const auto& [key, step] : steps)
    json.push_back(
        {{keyName, ToJson(key)}, {"before", ToJson(step.m_Before)}, {"after", ToJson(step.m_After)}});
  return json;
}

/// The request; null when its bytes were not kept, or are not those any more or cannot be used.
shared_ptr<Message> KeptMessage(const AuditRecord& record) {
  wire::Envelope envelope;
  if (!record.m_Request || (!record.IsShortened() && Sha256(*record.m_Request) != record.m_Digest) ||
      !envelope.ParseFromString(*record.m_Request))
    return nullptr;
  try {
    return wire::FromWire(envelope);
  } catch (const wire::Malformed&) {
    return nullptr;
  }
}

/// The product that the record's request installed, as its change has it. Null for others, and when the
/// document cannot be used.
shared_ptr<const Product> InstalledProduct(const AuditRecord& record) {
  if (record.m_Class != ProductMsg::k_Description.m_ClassName)
    return nullptr;
  try {
    const auto change = record.LoadedChange();
    const bool isInstall = change && change->m_Products.size() == 1;
    const auto after = isInstall ? change->m_Products.begin()->second.m_After : std::nullopt;
    return after ? after->m_Installed : nullptr;
  } catch (const StoreFailure&) {
    return nullptr;
  }
}

} // namespace

Json AuditFields(const Message& message) {
  return VisitMessage(message, []<typename Class>(const Class& typed) {
    Json fields = Json::object();
    // What only a Master sends is not a request that could be shown.
    if constexpr (Class::k_Description.m_Sender != Sender::k_Master) {
      Class::Fields(typed, [&](const char* name, const auto& field) {
        Json json = ToJson(field);
        if (const std::string text = ToText(json); text.size() > k_MaxAuditField)
          json = {{"digest", Hex(Sha256(text))}, {"size", text.size()}};
        AddMember(fields, name, std::move(json));
      });
    }
    return fields;
  });
}

Json RequestFields(const AuditRecord& record) {
  if (record.IsOfLayout1()) {
    const Json fields = Json::parse(record.m_FieldsOfLayout1, nullptr, false);
    return fields.is_object() ? fields : Json::object();
  }
  const Json whole = {{"digest", Hex(record.m_Digest)}, {"size", record.m_Size}};
  if (const auto message = KeptMessage(record)) {
    Json fields = AuditFields(*message);
    if (record.IsShortened())
      fields.update(whole);
    return fields;
  }
  if (const auto product = InstalledProduct(record))
    return {{"product", ToJson(product)}};
  return whole;
}

Json ChangeJson(const Change& change) {
  Json json = Json::object();
  if (!change.m_Options.empty())
    json["options"] = OptionsJson(change.m_Options);
  if (const auto& limits = change.m_UserLimits)
    json["userLimits"] = {{"name", ToJson(limits->m_Name)},
                          {"setBefore", limits->m_SetBefore},
                          {"setAfter", limits->m_SetAfter},
                          {"pieces", ToJson(limits->m_Pieces)}};
  if (!change.m_Limits.empty())
    json["limits"] = StepsJson("type", change.m_Limits);
  if (!change.m_Restrictions.empty())
    json["restrictions"] = ToJson(change.m_Restrictions);
  if (!change.m_Translations.IsEmpty())
    json["pathTranslations"] = ToJson(change.m_Translations);
  if (!change.m_Products.empty())
    json["products"] = StepsJson("type", change.m_Products);
  if (!change.m_Defaults.empty())
    json["defaultProducts"] = StepsJson("type", change.m_Defaults);
  return json;
}

} // namespace brenic::master
