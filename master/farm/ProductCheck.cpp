#include "farm/ProductCheck.h"

#include <fmt/core.h>

#include "products/ProductDocument.h"

namespace brenic::master {

rlib::Result<> CheckDocument(const Product& product) {
  const auto result = ParseProduct(product.Document());
  if (!result)
    return result.Why();
  const auto& parsed = *result;
  if (parsed->Type() != product.Type())
    return rlib::Failure("its identifier is not the one of its document");
  if (parsed->Name() != product.Name())
    return rlib::Failure("its name is not the one of its document");
  if (parsed->Aliases() != product.Aliases())
    return rlib::Failure("its aliases are not those of its document");
  return {};
}

rlib::Result<> CheckNames(const ProductCatalogue& products, const Product& product) {
  const auto other = products.FindNameClash(product);
  if (!other)
    return {};
  return rlib::Failure(fmt::format("the product '{}' ({}) already has its name or one of its aliases",
                                   other->Name().str(), other->Type().ToString().str()));
}

} // namespace brenic::master
