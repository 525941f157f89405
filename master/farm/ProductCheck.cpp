#include "farm/ProductCheck.h"

#include <fmt/core.h>

#include "products/ProductDocument.h"

namespace brenic::master {

String CheckDocument(const Product& product) {
  const auto result = ParseProduct(product.Document());
  if (!result)
    return result.Reason();
  const auto& parsed = *result;
  if (parsed->Type() != product.Type())
    return "its identifier is not the one of its document";
  if (parsed->Name() != product.Name())
    return "its name is not the one of its document";
  if (parsed->Aliases() != product.Aliases())
    return "its aliases are not those of its document";
  return k_Empty;
}

String DescribeNameClash(const ProductCatalogue& products, const Product& product) {
  const auto other = products.FindNameClash(product);
  if (!other)
    return k_Empty;
  return fmt::format("the product '{}' ({}) already has its name or one of its aliases", other->Name().str(),
                     other->Type().ToString().str());
}

} // namespace brenic::master
