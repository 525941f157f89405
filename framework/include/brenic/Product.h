// A product: a job type that the farm can run, described by a JSON document.
#pragma once

#include "brenic/Types.h"

namespace brenic {

/// Immutable once built, so it may be shared between threads. The document is kept as it came; the other
/// members are the index that the Master checked against it.
class Product {
public:
  Product(const UID& type, const String& name, rlib::vector<String> aliases, std::string document)
      : m_Type(type), m_Name(name), m_Aliases(std::move(aliases)), m_Document(std::move(document)) {}

  const UID& Type() const { return m_Type; }
  const String& Name() const { return m_Name; }
  const rlib::vector<String>& Aliases() const { return m_Aliases; }
  /// UTF-8 JSON.
  const std::string& Document() const { return m_Document; }

private:
  UID m_Type;
  String m_Name;
  rlib::vector<String> m_Aliases;
  std::string m_Document;
};

} // namespace brenic
