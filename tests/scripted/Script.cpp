#include "scripted/Script.h"

namespace scripted {

Script& TheScript() {
  static Script script;
  return script;
}

std::vector<std::string> Script::SentClasses() const {
  std::vector<std::string> names;
  for (const auto& message : m_Sent)
    names.emplace_back(message->ClassName());
  return names;
}

size_t Arrive(const boost::shared_ptr<brenic::Message>& message) {
  return message->EmitTo(message);
}

} // namespace scripted
