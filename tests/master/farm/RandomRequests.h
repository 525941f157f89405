// Requests of every kind that writes, at random but the same for the same seed, and farms as text.
#pragma once

#include <random>

#include "farm/Samples.h"

namespace brenic::master {

/// Everything that a farm holds, byte for byte: two farms are the same if their texts are.
inline std::string Describe(const Farm& farm) {
  std::string out;
  const auto add = [&](const char* what, auto... parts) {
    out += what;
    ((out += fmt::format(" {}:'{}'", String(parts).size(), String(parts).str())), ...);
    out += '\n';
  };
  for (const auto& [name, value] : farm.m_Options)
    add("option", name, value);
  for (const auto& [type, options] : farm.m_TypeOptions) {
    add("type options", type.ToString());
    for (const auto& [name, value] : options)
      add("  option", name, value);
  }
  for (const auto& [type, limit] : farm.m_Limits)
    add("limit", type.ToString(), std::to_string(limit));
  for (const String& name : farm.m_Restrictions)
    add("restriction", name);
  for (const TranslationSet& set : farm.m_Translations) {
    add("translation");
    for (const auto& [platform, root] : set)
      add("  root", std::to_string(platform), root.str());
  }
  const ProductCatalogue& products = farm.m_Products;
  for (const auto& [type, product] : products.Defaults())
    add("default", type.ToString(), product->Document());
  for (const auto& [type, customisation] : products.Customised())
    add("customised", type.ToString(),
        customisation.m_Installed ? customisation.m_Installed->Document() : "removed");
  for (const auto& [type, product] : products.Effective())
    add("shows", type.ToString(), product->Name(), product->Document());
  for (const UID& type : products.Hidden())
    add("hidden", type.ToString());
  return out;
}

/// Some of the requests are refused, and some change nothing.
class RandomRequests {
public:
  explicit RandomRequests(uint32_t seed) : m_Random(seed) {}

  shared_ptr<Message> Next(const Farm& farm) {
    switch (Below(9)) {
    case 0:
      return Options(o_Distribution);
    case 1:
      return Options(SomeType().ToString());
    case 2:
      return OptionMessage(
          Pick({o_UserLimits, "userlimits", "USERLIMITS"}),
          JoinPieces(Edited(SplitPieces(farm.Option(o_UserLimits)), [&] { return Piece(); })));
    case 3:
      return Make<SetMasterLimitsMsg>([&](auto& message) {
        for (size_t i = Below(4); i != 0; --i)
          message.m_Limits[SomeType()] = static_cast<int>(Below(4)) - 1;
      });
    case 4:
      return Make<SetMasterRestrictionsMsg>([&](auto& message) {
        for (size_t i = Below(4); i != 0; --i)
          message.m_Restrictions[Pick({"NoJobs", "nojobs", "No \"Rights\"", "夜"})] = Below(2) == 1;
      });
    case 5:
      return SetTranslations(Edited(farm.m_Translations, [&] { return Translation(); }));
    case 6:
      return InstallProduct(SomeProduct());
    case 7:
      return RemoveProduct(SomeType());
    default:
      if (Below(4) == 0)
        return RemoveProduct(UID::Null);
      return InstallProduct(SomeProduct());
    }
  }

  size_t Below(size_t end) { return m_Random() % end; }

private:
  using Texts = std::initializer_list<const char*>;
  String Pick(Texts texts) { return texts.begin()[Below(texts.size())]; }

  UID SomeType() { return Type(static_cast<uint8_t>(1 + Below(5))); }

  shared_ptr<SetMasterOptionsMsg> Options(const String& section) {
    return Make<SetMasterOptionsMsg>([&](auto& message) {
      message.m_Section = section;
      for (size_t i = Below(4); i != 0; --i)
        message.m_Options[Pick({"MaxJobs", "maxjobs", "Message", "a b", "\"", "Größe"})] =
            Pick({"", "1", "2", ";", "夜", "say \"hi\" \\"});
    });
  }

  String Piece() { return Pick({"", "", "ann=1", "bob=2", "\"a b\"=3", "\"", "夜=4", " ", "x=5"}); }

  TranslationSet Translation() {
    TranslationSet set;
    for (int platform = 0; platform != 3; ++platform) {
      if (Below(4) != 0)
        set[platform] = Pick({"", "P:\\projects", "/mnt/projects", "/Volumes/夜"});
    }
    return set;
  }

  /// The types 1 and 2 are of default products in SampleFarm.
  shared_ptr<const Product> SomeProduct() {
    const auto number = static_cast<uint8_t>(1 + Below(5));
    std::vector<std::string> aliases{fmt::format("product {} of version {}", number, Below(3))};
    if (Below(3) == 0)
      aliases.push_back(Pick({"A", "gamma", "delta"}).str());
    return MakeProduct(
        number, Below(3) == 0 ? Pick({"Alpha", "BETA", "Other"}).str() : fmt::format("Product {}", number),
        aliases);
  }

  template <typename List, typename MakeEntry>
  List Edited(List list, MakeEntry make) {
    if (Below(20) == 0)
      list.clear();
    for (size_t i = Below(4); i != 0; --i) {
      const auto at = static_cast<std::ptrdiff_t>(Below(list.size() + 1));
      if (Below(3) == 0 && at != static_cast<std::ptrdiff_t>(list.size()))
        list.erase(list.begin() + at);
      else
        list.insert(list.begin() + at, make());
    }
    return list;
  }

  std::mt19937 m_Random;
};

/// A farm in which an installed product hides a default one.
inline Farm FarmWithHiddenProduct() {
  Farm farm = SampleFarm();
  Change install;
  install.m_Products[Type(9)] = {std::nullopt, Customisation{MakeProduct(9, "Nine", {"gamma"})}};
  farm.Take(install);
  farm.m_Products.AddDefault(MakeProduct(8, "Gamma"));
  return farm;
}

/// Calls `each` with every change that some requests make, and with the farm before it.
template <typename Each>
void ForRandomChanges(uint32_t seed, size_t requests, Farm& farm, Each each) {
  RandomRequests random(seed);
  for (size_t i = 0; i != requests; ++i) {
    const auto message = random.Next(farm);
    const auto judgement = Judge(farm, {}, *message);
    if (!judgement)
      continue;
    each(*message, judgement->m_Change);
    farm.Take(judgement->m_Change);
  }
}

} // namespace brenic::master
