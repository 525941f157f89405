#include "products/SchemaWords.h"

#include <fmt/core.h>

#include "rlib/Escape.h"

namespace brenic {

namespace {

using nlohmann::json;

/// Null where there is no such part.
json Part(const json& part, const std::string& name) {
  return part.is_object() ? part.value(name, json()) : json();
}

/// The part of the schema for a value inside of another; null where it says nothing of it.
json Inner(const json& schema, const json& part, const json& value, const std::string& step) {
  const json inner = value.is_array() ? Part(part, "items") : Part(Part(part, "properties"), step);
  if (!inner.is_object() || !inner.contains("$ref"))
    return inner;
  return schema.at(json::json_pointer(inner["$ref"].get<std::string>().substr(1))); // behind the "#"
}

const json& Inner(const json& value, const std::string& step) {
  return value.is_array() ? value.at(std::stoul(step)) : value.at(step);
}

std::string Expected(const json& part) {
  if (part.contains("title"))
    return part["title"];
  if (!part.contains("enum"))
    return Part(part, "type") == "string"  ? "a text in double quotes"
           : Part(part, "type") == "array" ? "a list in [ ]"
                                           : "an object in { }";
  std::string list;
  for (const json& value : part["enum"])
    list += (list.empty() ? "one of " : ", ") + value.dump();
  return list;
}

std::string Found(const json& value) {
  return value.is_object() ? "an object" : value.is_array() ? "a list" : rlib::Excerpt(value.dump()).str();
}

} // namespace

std::string Called(const json& document, const JsonPath& path) {
  std::string called;
  const json* value = &document;
  for (const std::string& step : path) {
    const std::string here = value->is_array() ? fmt::format("entry {}", std::stoul(step) + 1)
                                               : fmt::format("\"{}\"", rlib::Excerpt(step).str());
    called = called.empty() ? here : here + " of " + called;
    value = &Inner(*value, step);
  }
  return called.empty() ? "the definition" : called;
}

std::string Complaint(const json& schema, const json& document, const JsonPath& path) {
  json part = schema;
  const json* value = &document;
  for (const std::string& step : path) {
    part = Inner(schema, part, *value, step);
    value = &Inner(*value, step);
  }
  if (path.empty())
    part.erase("title"); // that of the schema itself
  const std::string called = Called(document, path);
  for (const json& name : Part(part, "required")) {
    if (value->is_object() && !value->contains(name))
      return fmt::format("{} has no {}", called, name.dump());
  }
  return fmt::format("{} is {}, where {} is expected", called, Found(*value), Expected(part));
}

} // namespace brenic
