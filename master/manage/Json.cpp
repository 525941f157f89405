#include "manage/Json.h"

#include "rlib/Escape.h"

namespace brenic::master {

std::string ToText(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string ToLine(const Json& json) {
  return rlib::EscapeControlsInJson(ToText(json));
}

void AddMember(Json& object, std::string key, Json value) {
  object.get_ref<Json::object_t&>().emplace_back(std::move(key), std::move(value));
}

Json TranslationJson(const rlib::map<int, Path>& translation) {
  Json roots = Json::object();
  for (const auto& [platform, root] : translation)
    roots[std::to_string(platform)] = root.str().str();
  return roots;
}

} // namespace brenic::master
