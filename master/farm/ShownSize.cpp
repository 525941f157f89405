#include "farm/ShownSize.h"

#include "brenic/MessageClasses.h"

namespace brenic::master {

namespace {

constexpr size_t k_Uid = 38; // with its quotes

size_t Size(const String& text) {
  static constexpr std::string_view k_Short = "\"\\\b\f\n\r\t"; // those with an escape of two characters
  size_t size = 2;
  for (const char c : text.str())
    size += k_Short.find(c) != std::string_view::npos ? 2 : static_cast<unsigned char>(c) < 0x20 ? 6 : 1;
  return size;
}
size_t Size(const UID&) {
  return k_Uid;
}
size_t Size(int number) {
  return std::to_string(number).size();
}
size_t Size(bool value) {
  return value ? 4 : 5;
}
size_t Size(const Path& path) {
  return Size(path.str());
}
/// Shown by identifier, name and digest only.
size_t Size(const shared_ptr<Product>&) {
  return 0;
}

template <typename Key, typename Value, typename Less>
size_t Size(const std::map<Key, Value, Less>& map);

template <typename Element>
size_t Size(const std::vector<Element>& list) {
  size_t size = list.empty() ? 2 : 1; // the brackets; the last element has no comma
  for (const Element& element : list)
    size += Size(element) + 1;
  return size;
}

template <typename Key, typename Value, typename Less>
size_t Size(const std::map<Key, Value, Less>& map) {
  size_t size = map.empty() ? 2 : 1;
  for (const auto& [key, value] : map)
    size += Size(key) + Size(value) + 2 + (std::is_same_v<Key, int> ? 2 : 0); // a number is quoted as a key
  return size;
}

} // namespace

bool HasLongField(const Message& message) {
  return VisitMessage(message, []<typename Class>(const Class& typed) {
    bool found = false;
    Class::Fields(typed, [&](const char*, const auto& field) { found |= Size(field) > k_MaxAuditField; });
    return found;
  });
}

} // namespace brenic::master
