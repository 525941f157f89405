#include "brenic/Product.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "products/ProductDocument.h"
#include "rlib/Log.h"
#include "rlib/Number.h"

namespace brenic {

using nlohmann::json;

/// Parameter name to default, for those that have one.
struct Product::Parameters {
  rlib::map<String, json, String::ciless> m_Defaults;
};

Product::Product(const UID& type, const String& name, rlib::vector<String> aliases, std::string document)
    : m_Type(type), m_Name(name), m_Aliases(std::move(aliases)), m_Document(std::move(document)) {}

Product::~Product() = default;

namespace {

bool Equals(const json& fallback, const String& value) {
  if (fallback.is_string())
    return value == fallback.get_ref<const std::string&>().c_str() &&
           value.size() == fallback.get_ref<const std::string&>().size();
  if (fallback.is_boolean())
    return value.CompareNoCase(fallback.get<bool>() ? "true" : "false") == 0;
  if (fallback.is_null())
    return value.empty();
  if (fallback.is_number()) {
    constexpr double k_Exact = 9007199254740992; // from here on a double stands for several whole numbers
    const std::optional<double> number = rlib::ParseDouble(value);
    return value == fallback.dump().c_str() || (number && *number == fallback.get<double>() &&
                                                (fallback.is_number_float() || std::abs(*number) < k_Exact));
  }
  return json::parse(value.str(), nullptr, false) == fallback;
}

} // namespace

bool Product::IsDefaultParam(const String& name, const String& value) const {
  std::call_once(m_Parsed, [this] {
    auto parameters = std::make_unique<Parameters>();
    const json document = json::parse(m_Document, nullptr, false);
    if (document.is_object() && document.contains("parameters")) {
      for (const json& parameter : document["parameters"]) {
        const auto parameterName = parameter.find("name"); // the end for what is no object
        if (parameterName != parameter.end() && parameterName->is_string() && parameter.contains("default"))
          parameters->m_Defaults.emplace(parameterName->get<std::string>(), parameter["default"]);
      }
    }
    m_Parameters = std::move(parameters);
  });
  const auto found = m_Parameters->m_Defaults.find(name);
  return found != m_Parameters->m_Defaults.end() && Equals(found->second, value);
}

String SSaveProduct(const Product& product, bool compact) {
  return LayOut(product.Document(), compact);
}

String ReadProductFile(const Path& file, std::string& document) {
  const int fd = open(file.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (fd < 0)
    return rlib::ErrorText(errno);
  struct Closer {
    int m_Fd;
    ~Closer() { close(m_Fd); }
  } const closer{fd};
  struct stat info {};
  if (fstat(fd, &info) != 0)
    return rlib::ErrorText(errno);
  if (!S_ISREG(info.st_mode))
    return "it is not a regular file";
  // One more than there should be tells a file that has grown, or is too long.
  document.resize(std::min(static_cast<size_t>(info.st_size), k_MaxProductDocument) + 1);
  size_t size = 0;
  while (size < document.size()) {
    const ssize_t got = read(fd, document.data() + size, document.size() - size);
    if (got < 0 && errno == EINTR)
      continue;
    if (got < 0)
      return rlib::ErrorText(errno);
    if (got == 0)
      break;
    size += static_cast<size_t>(got);
  }
  if (size > static_cast<size_t>(info.st_size) && size <= k_MaxProductDocument)
    return "it changed while it was read";
  document.resize(size);
  return k_Empty;
}

shared_ptr<Product> SLoadProductFile(const Path& file) {
  std::string document;
  String problem = ReadProductFile(file, document);
  shared_ptr<Product> product;
  if (problem.empty())
    product = ParseProduct(std::move(document), problem);
  if (!product)
    rlib::LogError(fmt::format("Product file '{}': {}", file.str().str(), problem.str()));
  return product;
}

} // namespace brenic
