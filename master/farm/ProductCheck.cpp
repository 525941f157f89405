#include "farm/ProductCheck.h"

#include <fmt/core.h>

#include "products/ProductDocument.h"
#include "rlib/Escape.h"

namespace brenic::master {

rlib::Result<> CheckDocument(const Product& product) {
  const auto result = ParseProduct(product.Document());
  if (!result)
    return result.Why();
  const auto& parsed = *result;
  if (parsed->Type() != product.Type())
    return rlib::Failure("The identifier sent with the product is not that of its definition");
  if (parsed->Name() != product.Name())
    return rlib::Failure("The name sent with the product is not that of its definition");
  if (parsed->Aliases() != product.Aliases())
    return rlib::Failure("The aliases sent with the product are not those of its definition");
  return {};
}

rlib::Result<> CheckNames(const ProductCatalogue& products, const Product& product) {
  const auto clash = products.FindNameClash(product);
  if (!clash)
    return {};
  return rlib::Failure(fmt::format(
      "The name '{}' already belongs to the product '{}' ({})", rlib::Excerpt(clash->m_Name).str(),
      rlib::Excerpt(clash->m_Product->Name()).str(), clash->m_Product->Type().ToString().str()));
}

} // namespace brenic::master
