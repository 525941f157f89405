#include "store/Findings.h"

#include "rlib/Escape.h"
#include "store/Store.h"
#include "wire/Frames.h"

namespace brenic::master {

void Findings::Problem(const std::string& what, const std::string& advice) {
  Keep(m_Problems, what + "; " + advice);
}

void Findings::Note(const std::string& what) {
  Keep(m_Notes, what);
}

void Findings::Keep(std::vector<std::string>& lines, const std::string& line) {
  if (lines.size() == k_Most) {
    ++m_More;
    return;
  }
  lines.push_back(rlib::EscapeControls(line).str());
}

bool Findings::Guard(const char* what, const std::function<void()>& check) {
  const auto unreadable = [&](const std::string& why) {
    Problem(std::string(what) + " cannot be read: " + why, "restore the last backup that is whole");
  };
  try {
    check();
    return true;
  } catch (const StoreFailure& failure) {
    if (failure.Which() != StoreFailure::Kind::k_Broken &&
        failure.Which() != StoreFailure::Kind::k_DamagedRecord)
      throw; // nothing is known of it
    unreadable(failure.what());
  } catch (const wire::Malformed& malformed) {
    unreadable(malformed.what());
  } catch (Exception* error) {
    unreadable(error->Message().str());
    delete error;
  }
  return false;
}

} // namespace brenic::master
