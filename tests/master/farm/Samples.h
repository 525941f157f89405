// Products and settings for the tests.
#pragma once

#include <fmt/core.h>

#include "brenic/MessageFactory.h"
#include "brenic/Options.h"
#include "brenic/ProductMessages.h"
#include "farm/Farm.h"
#include "farm/Judgement.h"

namespace brenic::master {

/// A type whose last byte is `number`.
inline UID Type(uint8_t number) {
  UID::Raw bytes{};
  bytes[0] = 0xab;
  bytes[15] = number;
  return UID(bytes);
}

inline shared_ptr<const Product> MakeProduct(uint8_t number, const std::string& name,
                                             const std::vector<std::string>& aliases = {}) {
  std::string list;
  for (const auto& alias : aliases)
    list += fmt::format("{}\"{}\"", list.empty() ? "" : ",", alias);
  return boost::make_shared<const Product>(
      Type(number), name, rlib::vector<String>(aliases.begin(), aliases.end()),
      fmt::format(R"({{"id":"{}","name":"{}","aliases":[{}]}})", Type(number).ToString().str(), name, list));
}

/// Settings with the default products 1 "Alpha" (alias "a") and 2 "Beta".
inline Farm SampleFarm() {
  Farm farm;
  for (const auto& product : {MakeProduct(1, "Alpha", {"a"}), MakeProduct(2, "Beta")})
    farm.m_Products.AddDefault(product);
  return farm;
}

template <typename Class, typename Fill>
shared_ptr<Class> Make(Fill fill) {
  const auto message = MessageFactory::Create<Class>();
  fill(*message);
  return message;
}

/// What a request changes of the farm; throws when it is refused.
inline Change ChangeOf(const Farm& farm, const Message& message) {
  const auto judgement = Judge(farm, {}, message);
  if (!judgement)
    throw std::runtime_error(judgement.Reason().str());
  return judgement->m_Change;
}

inline shared_ptr<SetMasterOptionsMsg> OptionMessage(const String& name, const String& value,
                                                     const String& section = o_Distribution) {
  return Make<SetMasterOptionsMsg>([&](auto& message) {
    message.m_Section = section;
    message.m_Options[name] = value;
  });
}

inline shared_ptr<ProductMsg> InstallProduct(const shared_ptr<const Product>& product) {
  return Make<ProductMsg>(
      [&](auto& message) { message.m_Product = boost::const_pointer_cast<Product>(product); });
}

inline shared_ptr<RemoveProductMsg> RemoveProduct(const UID& type) {
  return Make<RemoveProductMsg>([&](auto& message) { message.m_ProductType = type; });
}

inline shared_ptr<PathTranslationsMsg> SetTranslations(const rlib::vector<TranslationSet>& translations) {
  return Make<PathTranslationsMsg>([&](auto& message) { message.m_Translations = translations; });
}

} // namespace brenic::master
