#include "wire/Contents.h"

#include "brenic/MessageClasses.h"

namespace brenic::wire {

std::string IdentifierBytes(const UID& id) {
  const auto& bytes = id.Bytes();
  return std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

UID Identifier(const std::string& bytes) {
  UID::Raw raw;
  if (bytes.size() != raw.size())
    throw Malformed("an identifier that has not 16 bytes");
  std::copy(bytes.begin(), bytes.end(), raw.begin());
  return UID(raw);
}

namespace {

// The two directions of one description: each Exchange below names the fields of a message class once, and
// writes or reads them depending on the direction that it is given.

struct Writing {
  template <typename Msg>
  using Ref = const Msg&;

  static void Text(const String& text, std::string* field) { *field = text.str(); }
  static void Id(const UID& id, std::string* field) { *field = IdentifierBytes(id); }
  template <typename Value, typename Get, typename Set>
  static void Scalar(const Value& value, Get, Set set) {
    set(value);
  }
  /// `each` exchanges one element of the list with its form on the wire.
  template <typename List, typename Field, typename Each>
  static void Elements(const List& list, Field* field, Each each) {
    field->Reserve(static_cast<int>(list.size()));
    for (const auto& element : list)
      each(element, field->Add());
  }
};

struct Reading {
  template <typename Msg>
  using Ref = Msg&;

  static void Text(String& text, const std::string* field) { text = String(*field); }
  static void Id(UID& id, const std::string* field) { id = Identifier(*field); }
  template <typename Value, typename Get, typename Set>
  static void Scalar(Value& value, Get get, Set) {
    value = get();
  }
  template <typename Element, typename Field, typename Each>
  static void Elements(rlib::vector<Element>& list, Field* field, Each each) {
    list.reserve(static_cast<size_t>(field->size()));
    for (auto& entry : *field)
      each(list.emplace_back(), &entry);
  }
  template <typename Key, typename Value, typename Less, typename Field, typename Each>
  static void Elements(std::map<Key, Value, Less>& list, Field* field, Each each) {
    for (auto& entry : *field) {
      std::pair<Key, Value> element;
      each(element, &entry);
      list.insert_or_assign(std::move(element.first), std::move(element.second));
    }
  }
};

template <typename Direction>
void Exchange(typename Direction::template Ref<SetMasterOptionsMsg> message, SetMasterOptions* wire) {
  Direction::Text(message.m_Section, wire->mutable_section());
  Direction::Elements(message.m_Options, wire->mutable_options(), [](auto& option, Option* field) {
    Direction::Text(option.first, field->mutable_name());
    Direction::Text(option.second, field->mutable_value());
  });
}

template <typename Direction>
void Exchange(typename Direction::template Ref<GetMasterOptionsMsg> message, GetMasterOptions* wire) {
  Direction::Elements(message.m_OptionNames, wire->mutable_option_names(),
                      [](auto& name, std::string* field) { Direction::Text(name, field); });
}

template <typename Direction>
void Exchange(typename Direction::template Ref<SetMasterLimitsMsg> message, SetMasterLimits* wire) {
  Direction::Elements(message.m_Limits, wire->mutable_limits(), [](auto& limit, Limit* field) {
    Direction::Id(limit.first, field->mutable_type());
    Direction::Scalar(
        limit.second, [&] { return field->limit(); }, [&](int value) { field->set_limit(value); });
  });
}

template <typename Direction>
void Exchange(typename Direction::template Ref<SetMasterRestrictionsMsg> message,
              SetMasterRestrictions* wire) {
  Direction::Elements(
      message.m_Restrictions, wire->mutable_restrictions(), [](auto& restriction, Restriction* field) {
        Direction::Text(restriction.first, field->mutable_name());
        Direction::Scalar(
            restriction.second, [&] { return field->add(); }, [&](bool add) { field->set_add(add); });
      });
}

template <typename Direction>
struct PathRoot;
template <>
struct PathRoot<Writing> {
  static void Exchange(const Path& path, std::string* field) { *field = path.str().str(); }
};
template <>
struct PathRoot<Reading> {
  static void Exchange(Path& path, const std::string* field) { path = Path(String(*field)); }
};

template <typename Direction>
void ExchangeRoots(typename Direction::template Ref<TranslationSet> translation, PathTranslation* roots) {
  Direction::Elements(translation, roots->mutable_roots(), [](auto& root, Root* field) {
    Direction::Scalar(
        root.first, [&] { return field->platform(); }, [&](int value) { field->set_platform(value); });
    PathRoot<Direction>::Exchange(root.second, field->mutable_root());
  });
}

template <typename Direction>
void ExchangeList(typename Direction::template Ref<rlib::vector<TranslationSet>> list,
                  PathTranslations* wire) {
  Direction::Elements(list, wire->mutable_translations(), [](auto& translation, PathTranslation* roots) {
    ExchangeRoots<Direction>(translation, roots);
  });
}

template <typename Direction>
void Exchange(typename Direction::template Ref<PathTranslationsMsg> message, PathTranslations* wire) {
  ExchangeList<Direction>(message.m_Translations, wire);
}

template <typename Direction>
void Exchange(typename Direction::template Ref<ProductMsg> message, wire::Product* wire);

template <>
void Exchange<Writing>(const ProductMsg& message, wire::Product* wire) {
  if (message.m_Product)
    ToWire(*message.m_Product, *wire);
}

template <>
void Exchange<Reading>(ProductMsg& message, wire::Product* wire) {
  message.m_Product = FromWire(*wire);
}

template <typename Direction>
void Exchange(typename Direction::template Ref<RemoveProductMsg> message, RemoveProduct* wire) {
  Direction::Id(message.m_ProductType, wire->mutable_type());
}

template <typename Direction>
void Exchange(typename Direction::template Ref<EndProductsMsg> message, EndProducts* wire) {
  Direction::Text(message.m_Digest, wire->mutable_digest());
}

template <typename Direction>
void Exchange(typename Direction::template Ref<LogDumpMsg>, LogDump*) {}

template <typename Direction>
void Exchange(typename Direction::template Ref<ShutdownMsg>, Shutdown*) {}

template <typename Direction>
void Exchange(typename Direction::template Ref<MachineMsg> message, Machine* wire) {
  Direction::Scalar(
      message.m_Command, [&] { return wire->command(); }, [&](int value) { wire->set_command(value); });
  Direction::Id(message.m_Machine, wire->mutable_machine());
}

template <typename Direction>
void Exchange(typename Direction::template Ref<RevertMsg> message, Revert* wire) {
  Direction::Elements(message.m_Sequences, wire->mutable_sequences(), [](auto& sequence, int64_t* field) {
    Direction::Scalar(
        sequence, [&] { return *field; }, [&](int64_t value) { *field = value; });
  });
}

template <typename Direction>
void Exchange(typename Direction::template Ref<IssueClientMsg> message, IssueClient* wire) {
  Direction::Text(message.m_Name, wire->mutable_name());
  Direction::Text(message.m_Role, wire->mutable_role());
  Direction::Text(message.m_PublicKey, wire->mutable_public_key());
  Direction::Scalar(
      message.m_Days, [&] { return wire->days(); }, [&](int value) { wire->set_days(value); });
  Direction::Scalar(
      message.m_Renew, [&] { return wire->renew(); }, [&](bool value) { wire->set_renew(value); });
  Direction::Scalar(
      message.m_Overlap, [&] { return wire->overlap(); }, [&](int value) { wire->set_overlap(value); });
}

template <typename Direction>
void Exchange(typename Direction::template Ref<IssuedClientMsg> message, IssuedClient* wire) {
  Direction::Text(message.m_Certificate, wire->mutable_certificate());
  Direction::Text(message.m_Authorities, wire->mutable_authorities());
  Direction::Text(message.m_Address, wire->mutable_address());
}

template <typename Direction>
void Exchange(typename Direction::template Ref<RevokeClientMsg> message, RevokeClient* wire) {
  Direction::Text(message.m_Client, wire->mutable_client());
}

template <typename Direction>
void Exchange(typename Direction::template Ref<ChangeHostsMsg> message, ChangeHosts* wire) {
  const auto each = [](auto& host, std::string* field) { Direction::Text(host, field); };
  Direction::Elements(message.m_Add, wire->mutable_add(), each);
  Direction::Elements(message.m_Remove, wire->mutable_remove(), each);
}

template <typename Direction>
void Exchange(typename Direction::template Ref<RenewAuthorityMsg>, RenewAuthority*) {}

template <typename Direction>
void Exchange(typename Direction::template Ref<MoveAuthorityMsg> message, MoveAuthority* wire) {
  Direction::Text(message.m_Keys, wire->mutable_keys());
}

template <typename Direction>
void Exchange(typename Direction::template Ref<RenewMasterMsg>, RenewMaster*) {}

template <typename Direction>
void Exchange(typename Direction::template Ref<RestoreMsg> message, Restore* wire) {
  const auto each = [](auto& text, std::string* field) { Direction::Text(text, field); };
  Direction::Text(message.m_Name, wire->mutable_name());
  Direction::Elements(message.m_Hosts, wire->mutable_hosts(), each);
  Direction::Elements(message.m_Revoked, wire->mutable_revoked(), each);
  Direction::Scalar(
      message.m_Accept, [&] { return wire->accept(); }, [&](bool value) { wire->set_accept(value); });
}

/// The place of a class's contents in an envelope. A class of the list that has none does not compile.
template <typename Class>
struct Place;

template <Envelope::ContentsCase k_ContentsCase, auto k_MutableField>
struct PlaceOf {
  static constexpr Envelope::ContentsCase k_Case = k_ContentsCase;
  static auto* Field(Envelope& envelope) { return (envelope.*k_MutableField)(); }
};

template <>
struct Place<SetMasterOptionsMsg>
    : PlaceOf<Envelope::kSetMasterOptions, &Envelope::mutable_set_master_options> {};
template <>
struct Place<GetMasterOptionsMsg>
    : PlaceOf<Envelope::kGetMasterOptions, &Envelope::mutable_get_master_options> {};
template <>
struct Place<SetMasterLimitsMsg> : PlaceOf<Envelope::kSetMasterLimits, &Envelope::mutable_set_master_limits> {
};
template <>
struct Place<SetMasterRestrictionsMsg>
    : PlaceOf<Envelope::kSetMasterRestrictions, &Envelope::mutable_set_master_restrictions> {};
template <>
struct Place<PathTranslationsMsg>
    : PlaceOf<Envelope::kPathTranslations, &Envelope::mutable_path_translations> {};
template <>
struct Place<ProductMsg> : PlaceOf<Envelope::kProduct, &Envelope::mutable_product> {};
template <>
struct Place<RemoveProductMsg> : PlaceOf<Envelope::kRemoveProduct, &Envelope::mutable_remove_product> {};
template <>
struct Place<EndProductsMsg> : PlaceOf<Envelope::kEndProducts, &Envelope::mutable_end_products> {};
template <>
struct Place<LogDumpMsg> : PlaceOf<Envelope::kLogDump, &Envelope::mutable_log_dump> {};
template <>
struct Place<ShutdownMsg> : PlaceOf<Envelope::kShutdown, &Envelope::mutable_shutdown> {};
template <>
struct Place<MachineMsg> : PlaceOf<Envelope::kMachine, &Envelope::mutable_machine> {};
template <>
struct Place<RevertMsg> : PlaceOf<Envelope::kRevert, &Envelope::mutable_revert> {};
template <>
struct Place<IssueClientMsg> : PlaceOf<Envelope::kIssueClient, &Envelope::mutable_issue_client> {};
template <>
struct Place<IssuedClientMsg> : PlaceOf<Envelope::kIssuedClient, &Envelope::mutable_issued_client> {};
template <>
struct Place<RevokeClientMsg> : PlaceOf<Envelope::kRevokeClient, &Envelope::mutable_revoke_client> {};
template <>
struct Place<ChangeHostsMsg> : PlaceOf<Envelope::kChangeHosts, &Envelope::mutable_change_hosts> {};
template <>
struct Place<RenewAuthorityMsg> : PlaceOf<Envelope::kRenewAuthority, &Envelope::mutable_renew_authority> {};
template <>
struct Place<MoveAuthorityMsg> : PlaceOf<Envelope::kMoveAuthority, &Envelope::mutable_move_authority> {};
template <>
struct Place<RenewMasterMsg> : PlaceOf<Envelope::kRenewMaster, &Envelope::mutable_renew_master> {};
template <>
struct Place<RestoreMsg> : PlaceOf<Envelope::kRestore, &Envelope::mutable_restore> {};

} // namespace

std::string EncodeTranslations(const rlib::vector<TranslationSet>& translations) {
  PathTranslations wire;
  ExchangeList<Writing>(translations, &wire);
  return wire.SerializeAsString();
}

rlib::vector<TranslationSet> DecodeTranslations(const std::string& bytes) {
  PathTranslations wire;
  if (!wire.ParseFromString(bytes))
    throw Malformed("path translations that cannot be decoded");
  rlib::vector<TranslationSet> translations;
  ExchangeList<Reading>(translations, &wire);
  return translations;
}

void ToWire(const TranslationSet& translation, PathTranslation& wire) {
  ExchangeRoots<Writing>(translation, &wire);
}

TranslationSet FromWire(const PathTranslation& wire) {
  TranslationSet translation;
  PathTranslation copy = wire; // what is exchanged may be read or written
  ExchangeRoots<Reading>(translation, &copy);
  return translation;
}

void ToWire(const brenic::Product& product, Product& wire) {
  wire.set_type(IdentifierBytes(product.Type()));
  wire.set_name(product.Name().str());
  for (const String& alias : product.Aliases())
    wire.add_aliases(alias.str());
  wire.set_document(product.Document());
}

shared_ptr<brenic::Product> FromWire(const Product& wire) {
  rlib::vector<String> aliases(wire.aliases().begin(), wire.aliases().end());
  return boost::make_shared<brenic::Product>(Identifier(wire.type()), String(wire.name()), std::move(aliases),
                                             wire.document());
}

void ToWire(const Message& message, Envelope& envelope) {
  envelope.set_id(IdentifierBytes(message.m_ID));
  VisitMessage(message, [&]<typename Class>(const Class& typed) {
    Exchange<Writing>(typed, Place<Class>::Field(envelope));
  });
}

const char* ClassName(const Envelope& envelope) {
  const char* name = nullptr;
  (void)AnyMessageClass([&]<typename Class>(std::type_identity<Class>) {
    if (envelope.contents_case() == Place<Class>::k_Case)
      name = Class::k_Description.m_ClassName;
    return name != nullptr;
  });
  return name;
}

shared_ptr<Message> FromWire(Envelope& envelope) {
  shared_ptr<Message> message;
  (void)AnyMessageClass([&]<typename Class>(std::type_identity<Class>) {
    if (envelope.contents_case() != Place<Class>::k_Case)
      return false;
    const auto typed = boost::make_shared<Class>();
    Exchange<Reading>(*typed, Place<Class>::Field(envelope));
    message = typed;
    return true;
  });
  if (message)
    message->m_ID = Identifier(envelope.id());
  return message;
}

} // namespace brenic::wire
