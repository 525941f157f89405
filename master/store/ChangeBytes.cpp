#include "store/ChangeBytes.h"

#include <google/protobuf/io/coded_stream.h>

#include "brenic/Options.h"
#include "store/Store.h"
#include "store/change.pb.h"
#include "wire/Contents.h"
#include "wire/Digest.h"

namespace brenic::master {

namespace {

using google::protobuf::io::CodedInputStream;

using FindDocument = std::function<shared_ptr<const Product>(const std::string& digest)>;

template <typename Entry, typename Fields, typename ToField>
void EncodeRuns(const ListDifference<Entry>& difference, Fields* fields, ToField toField) {
  for (const ListRun<Entry>& run : difference.m_Runs) {
    auto* field = fields->Add();
    field->set_at(run.m_At);
    for (const Entry& entry : run.m_Removed)
      toField(entry, field->add_removed());
    for (const Entry& entry : run.m_Added)
      toField(entry, field->add_added());
  }
}

template <typename Entry, typename Fields, typename FromField>
ListDifference<Entry> DecodeRuns(const Fields& fields, FromField fromField) {
  ListDifference<Entry> difference;
  for (const auto& field : fields) {
    auto& run = difference.m_Runs.emplace_back();
    run.m_At = field.at();
    for (const auto& entry : field.removed())
      run.m_Removed.push_back(fromField(entry));
    for (const auto& entry : field.added())
      run.m_Added.push_back(fromField(entry));
  }
  return difference;
}

void Encode(const std::optional<Customisation>& state, const std::function<bytes::Customisation*()>& field) {
  if (!state)
    return;
  bytes::Customisation* const customisation = field();
  if (state->m_Installed)
    customisation->set_digest(Sha256(state->m_Installed->Document()));
}

std::optional<Customisation> Decode(bool present, const bytes::Customisation& field,
                                    const FindDocument& findDocument) {
  if (!present)
    return std::nullopt;
  return Customisation{field.digest().empty() ? nullptr : findDocument(field.digest())};
}

using ProductSteps = std::map<UID, Step<Customisation>>;
using ProductFields = google::protobuf::RepeatedPtrField<bytes::ProductStep>;

void EncodeProducts(const ProductSteps& steps, ProductFields& fields) {
  for (const auto& [type, product] : steps) {
    bytes::ProductStep& step = *fields.Add();
    step.set_type(wire::IdentifierBytes(type));
    Encode(product.m_Before, [&] { return step.mutable_before(); });
    Encode(product.m_After, [&] { return step.mutable_after(); });
  }
}

ProductSteps DecodeProducts(const ProductFields& fields, const FindDocument& findDocument) {
  ProductSteps steps;
  for (const bytes::ProductStep& step : fields)
    steps[wire::Identifier(step.type())] = {Decode(step.has_before(), step.before(), findDocument),
                                            Decode(step.has_after(), step.after(), findDocument)};
  return steps;
}

std::optional<String> Text(bool present, const std::string& field) {
  return present ? std::optional(String(field)) : std::nullopt;
}

void EncodeOptions(const Change& change, bytes::Change& out) {
  for (const OptionChange& option : change.m_Options) {
    bytes::OptionStep& step = *out.add_options();
    if (!option.m_Section.IsNull())
      step.set_section(wire::IdentifierBytes(option.m_Section));
    step.set_name(option.m_Name.str());
    if (option.m_Value.m_Before)
      step.set_before(option.m_Value.m_Before->str());
    if (option.m_Value.m_After)
      step.set_after(option.m_Value.m_After->str());
  }
  if (const auto& limits = change.m_UserLimits) {
    out.mutable_user_limits()->set_name(limits->m_Name.str());
    out.mutable_user_limits()->set_set_before(limits->m_SetBefore);
    out.mutable_user_limits()->set_set_after(limits->m_SetAfter);
    EncodeRuns(limits->m_Pieces, out.mutable_user_limits()->mutable_pieces(),
               [](const String& piece, std::string* field) { *field = piece.str(); });
  }
}

void DecodeOptions(const bytes::Change& in, Change& change) {
  for (const bytes::OptionStep& step : in.options())
    change.m_Options.push_back(
        {step.section().empty() ? UID::Null : wire::Identifier(step.section()),
         String(step.name()),
         {Text(step.has_before(), step.before()), Text(step.has_after(), step.after())}});
  if (in.has_user_limits())
    change.m_UserLimits = UserLimitsChange{
        String(in.user_limits().name()), in.user_limits().set_before(), in.user_limits().set_after(),
        DecodeRuns<String>(in.user_limits().pieces(),
                           [](const std::string& piece) { return String(piece); })};
}

void EncodeLimits(const Change& change, bytes::Change& out) {
  for (const auto& [type, limit] : change.m_Limits) {
    bytes::LimitStep& step = *out.add_limits();
    step.set_type(wire::IdentifierBytes(type));
    if (limit.m_Before)
      step.set_before(*limit.m_Before);
    if (limit.m_After)
      step.set_after(*limit.m_After);
  }
}

void DecodeLimits(const bytes::Change& in, Change& change) {
  for (const bytes::LimitStep& step : in.limits())
    change.m_Limits[wire::Identifier(step.type())] = {
        step.has_before() ? std::optional(step.before()) : std::nullopt,
        step.has_after() ? std::optional(step.after()) : std::nullopt};
}

Change FromBytes(const bytes::Change& in, const FindDocument& findDocument) {
  Change change;
  DecodeOptions(in, change);
  DecodeLimits(in, change);
  for (const bytes::RestrictionStep& step : in.restrictions())
    change.m_Restrictions[step.name()] = step.on();
  change.m_Translations = DecodeRuns<TranslationSet>(
      in.translations(), [](const wire::PathTranslation& field) { return wire::FromWire(field); });
  change.m_Products = DecodeProducts(in.products(), findDocument);
  change.m_Defaults = DecodeProducts(in.defaults(), findDocument);
  return change;
}

/// Calls `each` for every field until it returns false. False then, and for what is no message, or has fields
/// of another kind than a change and its options.
bool WalkFields(std::string_view bytes, const std::function<bool(int field, std::string_view value)>& each) {
  constexpr uint32_t k_WithSize = 2; // the form of texts, bytes and messages
  CodedInputStream in(reinterpret_cast<const uint8_t*>(bytes.data()), static_cast<int>(bytes.size()));
  while (const uint32_t tag = in.ReadTag()) {
    uint32_t size = 0;
    if ((tag & 7) != k_WithSize || !in.ReadVarint32(&size))
      return false;
    const auto begin = static_cast<size_t>(in.CurrentPosition());
    if (size > bytes.size() - begin || !in.Skip(static_cast<int>(size)) ||
        !each(static_cast<int>(tag >> 3), bytes.substr(begin, size)))
      return false;
  }
  return in.ConsumedEntireMessage();
}

/// The user limits were one text once.
bool IsOtherOption(std::string_view option) {
  String name;
  const bool isRead = WalkFields(option, [&](int field, std::string_view value) {
    if (field == bytes::OptionStep::kNameFieldNumber)
      name = String(std::string(value));
    return true;
  });
  return isRead && name.CompareNoCase(o_UserLimits) != 0;
}

} // namespace

bool MayHoldLists(const std::string& bytes) {
  return !WalkFields(bytes, [](int field, std::string_view value) {
    if (field == bytes::Change::kOptionsFieldNumber)
      return IsOtherOption(value);
    return field != bytes::Change::kUserLimitsFieldNumber && field != bytes::Change::kTranslationsFieldNumber;
  });
}

std::string EncodeChange(const Change& change) {
  bytes::Change out;
  EncodeOptions(change, out);
  EncodeLimits(change, out);
  for (const auto& [name, on] : change.m_Restrictions) {
    bytes::RestrictionStep& step = *out.add_restrictions();
    step.set_name(name.str());
    step.set_on(on);
  }
  EncodeRuns(change.m_Translations, out.mutable_translations(),
             [](const TranslationSet& set, wire::PathTranslation* field) { wire::ToWire(set, *field); });
  EncodeProducts(change.m_Products, *out.mutable_products());
  EncodeProducts(change.m_Defaults, *out.mutable_defaults());
  return out.SerializeAsString();
}

Change DecodeChange(const std::string& bytes, const FindDocument& findDocument) {
  bytes::Change in;
  if (!in.ParseFromString(bytes))
    throw StoreFailure("A change in the audit trail cannot be decoded", StoreFailure::Kind::k_DamagedRecord);
  try {
    return FromBytes(in, findDocument);
  } catch (const wire::Malformed& malformed) {
    throw StoreFailure(std::string("A change in the audit trail cannot be decoded: ") + malformed.what(),
                       StoreFailure::Kind::k_DamagedRecord);
  }
}

} // namespace brenic::master
