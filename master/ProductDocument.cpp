#include "ProductDocument.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "Requests.h"
#include "rlib/Log.h"

namespace brenic::master {

namespace {

using nlohmann::json;

/// Parses while it watches depth and keys, so that nothing deeply nested is ever built.
json Parse(const std::string& document, String& problem) {
  std::vector<std::set<std::string>> keys; // of each open object
  const auto watch = [&](int depth, json::parse_event_t event, json& parsed) {
    const bool opens =
        event == json::parse_event_t::object_start || event == json::parse_event_t::array_start;
    if (event == json::parse_event_t::object_start)
      keys.emplace_back();
    if (event == json::parse_event_t::object_end)
      keys.pop_back();
    if (opens && depth >= k_MaxDepth && problem.empty())
      problem = fmt::format("its document has more than {} levels", k_MaxDepth);
    if (event == json::parse_event_t::key && !keys.empty()) {
      const auto& key = parsed.get_ref<const std::string&>();
      if (!keys.back().insert(key).second && problem.empty())
        problem = fmt::format("its document has the key '{}' twice", rlib::EscapeControls(key).str());
    }
    return problem.empty();
  };
  json parsed = json::parse(document, watch, false);
  if (!problem.empty())
    return {};
  if (parsed.is_discarded())
    problem = "its document is not valid JSON";
  else if (!parsed.is_object())
    problem = "its document is not a JSON object";
  return parsed;
}

bool TakeText(const json& document, const char* key, String& text, String& problem) {
  const auto entry = document.find(key);
  if (entry == document.end() || !entry->is_string()) {
    problem = fmt::format("its document has no text '{}'", key);
    return false;
  }
  text = entry->get<std::string>();
  return true;
}

bool TakeAliases(const json& document, rlib::vector<String>& aliases, String& problem) {
  const auto entry = document.find("aliases");
  if (entry == document.end())
    return true;
  const bool texts = entry->is_array() && std::all_of(entry->begin(), entry->end(),
                                                      [](const json& one) { return one.is_string(); });
  if (!texts) {
    problem = "the 'aliases' of its document are no list of texts";
    return false;
  }
  for (const json& alias : *entry)
    aliases.emplace_back(alias.get<std::string>());
  return true;
}

String CheckNames(const Product& product) {
  rlib::vector<String> names = product.Aliases();
  names.push_back(product.Name());
  std::set<String, String::ciless> seen;
  for (const String& name : names) {
    if (name.empty())
      return "its name or an alias is empty";
    if (const String problem = CheckText(name, k_MaxName); !problem.empty())
      return "its name or an alias: " + problem;
    if (!seen.insert(name).second)
      return fmt::format("it has the name or alias '{}' twice", name.str());
  }
  return k_Empty;
}

std::string ReadFile(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::string text(k_MaxDocument + 1, '\0');
  in.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<size_t>(std::max<std::streamsize>(in.gcount(), 0)));
  return text;
}

} // namespace

shared_ptr<const Product> ParseDocument(const std::string& document, String& problem) {
  problem = k_Empty;
  if (document.size() > k_MaxDocument) {
    problem = fmt::format("its document exceeds {} bytes", k_MaxDocument);
    return nullptr;
  }
  const json parsed = Parse(document, problem);
  String id, name;
  UID type;
  rlib::vector<String> aliases;
  if (!problem.empty() || !TakeText(parsed, "id", id, problem) || !TakeText(parsed, "name", name, problem) ||
      !TakeAliases(parsed, aliases, problem))
    return nullptr;
  if (!type.FromString(id) || type.IsNull()) {
    problem = "the 'id' of its document is no identifier, or the null identifier";
    return nullptr;
  }
  const auto product = boost::make_shared<const Product>(type, name, std::move(aliases), document);
  problem = CheckNames(*product);
  return problem.empty() ? product : nullptr;
}

String CheckDocument(const Product& product) {
  String problem;
  const auto parsed = ParseDocument(product.Document(), problem);
  if (!parsed)
    return problem;
  if (parsed->Type() != product.Type())
    return "its identifier is not the one of its document";
  if (parsed->Name() != product.Name())
    return "its name is not the one of its document";
  if (parsed->Aliases() != product.Aliases())
    return "its aliases are not those of its document";
  return k_Empty;
}

String FindNameClash(const ProductMap& products, const Product& product) {
  std::set<String, String::ciless> names(product.Aliases().begin(), product.Aliases().end());
  names.insert(product.Name());
  for (const auto& [type, other] : products) {
    if (type == product.Type())
      continue;
    const auto& aliases = other->Aliases();
    const bool clash =
        names.count(other->Name()) ||
        std::any_of(aliases.begin(), aliases.end(), [&](const String& a) { return names.count(a); });
    if (clash)
      return fmt::format("the product '{}' ({}) already has its name or one of its aliases",
                         other->Name().str(), type.ToString().str());
  }
  return k_Empty;
}

ProductMap LoadDefaultProducts(const Path& folder) {
  namespace fs = std::filesystem;
  ProductMap products;
  std::error_code error;
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(folder.str().str(), error)) {
    if (entry.is_regular_file(error) && entry.path().extension() == ".json")
      files.push_back(entry.path());
  }
  if (error)
    throw new Exception(
        fmt::format("Cannot read the folder of products '{}': {}", folder.str().str(), error.message()));
  std::sort(files.begin(), files.end());
  for (const auto& file : files) {
    String problem;
    const auto product = ParseDocument(ReadFile(file), problem);
    if (product && products.count(product->Type()))
      problem = "another file has the same identifier";
    if (product && problem.empty())
      problem = FindNameClash(products, *product);
    if (problem.empty())
      products[product->Type()] = product;
    else
      rlib::LogWarning(fmt::format("Left out the product of '{}': {}", file.string(), problem.str()));
  }
  return products;
}

} // namespace brenic::master
