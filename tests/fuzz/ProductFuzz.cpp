#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "products/JsonText.h"
#include "products/MisspeltMembers.h"
#include "products/ProductDocument.h"

using namespace brenic;

namespace {

void Require(bool condition) {
  if (!condition)
    std::abort();
}

/// Whether the text is JSON; then its layouts lead to each other and stay as they are.
bool IsLaidOutStably(const std::string& text) {
  std::string even;
  try {
    even = LayOut(text, false);
  } catch (Exception* e) {
    delete e;
    return false;
  }
  const std::string compact = LayOut(text, true);
  Require(LayOut(even, false) == even && LayOut(compact, true) == compact);
  Require(LayOut(even, true) == compact && LayOut(compact, false) == even);
  Require(compact.size() <= even.size());
  return true;
}

} // namespace

// What is a product stays the same product when it is saved and loaded; what is none says why.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const bool isJson = IsLaidOutStably(text);
  const bool isChecked = static_cast<bool>(CheckJson(text, k_MaxProductDepth));
  Require(isJson || !isChecked);

  const auto parsed = ParseProduct(text);
  Require(parsed ? *parsed != nullptr : !parsed.Reason().empty());
  // The parts that are read late have to stand any document.
  const Product unchecked(UID::Null, "x", {}, text);
  for (const char* value : {"", "5", "true", "[]", "text"})
    Require(!unchecked.IsDefaultParam("", value) || isJson);
  if (!parsed)
    return 0;

  Require(isChecked);
  const auto& product = *parsed;
  for (const MisspeltMember& member : FindMisspeltMembers(text))
    Require(text.at(member.m_Offset) == '"' && member.m_Member != member.m_Meant);
  for (const ProductParameter& parameter : ParametersOf(*product)) {
    for (const BrokenRule& rule : parameter.m_Broken)
      Require(!rule.m_What.empty());
  }
  const auto parsedAgain = ParseProduct(LayOut(text, true));
  Require(static_cast<bool>(parsedAgain));
  const auto& again = *parsedAgain;
  Require(again->Type() == product->Type() && again->Name() == product->Name() &&
          again->Aliases() == product->Aliases());
  for (const char* value : {"", "5", "true", "[]", "text"})
    Require(again->IsDefaultParam("Depth", value) == product->IsDefaultParam("Depth", value));
  return 0;
}
