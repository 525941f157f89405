// A product: a job type that the farm can run, described by a JSON document (docs/product.schema.json).
#pragma once

#include <memory>
#include <mutex>

#include "brenic/Types.h"

namespace brenic {

/// Immutable once built, so it may be shared between threads. The document is kept as it came and parsed when
/// something in it is first asked for; the other members are its index.
class Product {
public:
  Product(const UID& type, const String& name, rlib::vector<String> aliases, std::string document);
  ~Product();

  const UID& Type() const { return m_Type; }
  const String& Name() const { return m_Name; }
  const rlib::vector<String>& Aliases() const { return m_Aliases; }
  /// UTF-8 JSON.
  const std::string& Document() const { return m_Document; }

  /// Whether `value` is the default of the parameter (ASCII case of the name ignored), as a user would write
  /// it: the text of a text, 5 or 5.0 for the number 5, true or false in any case, nothing for null, JSON for
  /// lists and objects. False for a parameter that the product does not have or that has no default.
  bool IsDefaultParam(const String& name, const String& value) const;

private:
  struct Parameters;

  const UID m_Type;
  const String m_Name;
  const rlib::vector<String> m_Aliases;
  const std::string m_Document;
  mutable std::once_flag m_Parsed;
  mutable std::unique_ptr<const Parameters> m_Parameters;
};

/// The product's definition as JSON text that SLoadProductFile reads back: every member of the document,
/// known or not, in its order, laid out evenly; the same text again for what was saved by this. With
/// `compact`, without any layout. Throws Exception* when the document is not JSON.
String SSaveProduct(const Product& product, bool compact);

/// Reads a product definition, checked against the schema. Null when that fails; one line on stdErr and in
/// the log says why and where. Never throws. Waits for nothing but a pipe, at most 5 s for each part of what
/// comes out of it; a device is not read.
shared_ptr<Product> SLoadProductFile(const Path& file);

} // namespace brenic
