#include "serve/MasterConfiguration.h"

#include <fstream>
#include <map>
#include <tuple>

#include <fmt/core.h>

#include "rlib/Escape.h"
#include "rlib/IniFile.h"
#include "rlib/Number.h"
#include "serve/Listener.h"

namespace brenic::master {

namespace {

constexpr int k_MostDays = 36500; // a hundred years

/// One pair of the file.
struct Pair {
  const Path& m_Folder; // of the file
  const String& m_Name;
  const String& m_Value;
};

Path File(const Pair& pair) {
  if (pair.m_Value.empty())
    throw new Exception(pair.m_Name + " has no value; give a path, or take the line away");
  return pair.m_Folder / pair.m_Value;
}

/// What a value must be.
[[noreturn]] void Refuse(const Pair& pair, const std::string& wanted) {
  throw new Exception(
      fmt::format("{} must be {}, not '{}'", pair.m_Name.str(), wanted, rlib::Excerpt(pair.m_Value).str()));
}

int Level(const Pair& pair) {
  const std::optional<int32_t> level = rlib::ParseInt32(pair.m_Value);
  if (!level || *level < rlib::Log::k_Nothing || *level > rlib::Log::k_Trace)
    Refuse(pair, "a number from 0 to 6");
  return *level;
}

size_t Count(const Pair& pair) {
  const std::optional<int32_t> number = rlib::ParseInt32(pair.m_Value);
  if (!number || *number < 1)
    Refuse(pair, "a number from 1 up");
  return static_cast<size_t>(*number);
}

int Days(const Pair& pair) {
  const std::optional<int32_t> days = rlib::ParseInt32(pair.m_Value);
  if (!days || *days < KeepingOptions::k_LeastDays || *days > k_MostDays)
    Refuse(pair, fmt::format("a number of days from {} to {}", KeepingOptions::k_LeastDays, k_MostDays));
  return *days;
}

void AddListen(StartSettings& settings, const Pair& pair) {
  const std::string& text = pair.m_Value.str();
  for (size_t begin = 0; begin <= text.size();) {
    const size_t end = std::min(text.find(',', begin), text.size());
    std::string address = text.substr(begin, end - begin);
    address.erase(0, address.find_first_not_of(" \t"));
    address.erase(address.find_last_not_of(" \t") + 1);
    CheckListen(address);
    settings.m_Listen.emplace_back(address);
    begin = end + 1;
  }
}

using Settings = MasterConfiguration;

struct Setting {
  const char* m_Name;
  void (*m_Take)(Settings& settings, const Pair& pair);
  bool m_MayRepeat = false;
};

constexpr Setting k_Settings[] = {
    {"DataFolder", [](Settings& all, const Pair& pair) { all.m_Start.m_DataFolder = File(pair); }},
    {"Listen", [](Settings& all, const Pair& pair) { AddListen(all.m_Start, pair); }, true},
    {"Socket", [](Settings& all, const Pair& pair) { all.m_Start.m_Socket = File(pair); }},
    {"PortFile", [](Settings& all, const Pair& pair) { all.m_Start.m_PortFile = File(pair); }},
    {"LogFolder", [](Settings& all, const Pair& pair) { all.m_Start.m_LogFolder = File(pair); }},
    {"LogFileLevel", [](Settings& all, const Pair& pair) { all.m_Live.m_LogFileLevel = Level(pair); }},
    {"LogDisplayLevel", [](Settings& all, const Pair& pair) { all.m_Live.m_LogDisplayLevel = Level(pair); }},
    {"Products", [](Settings& all, const Pair& pair) { all.m_Live.m_Products = File(pair); }},
    {"RebootCommand", [](Settings& all, const Pair& pair) { all.m_Live.m_Commands.m_Reboot = pair.m_Value; }},
    {"ShutdownCommand",
     [](Settings& all, const Pair& pair) { all.m_Live.m_Commands.m_Shutdown = pair.m_Value; }},
    {"ConnectionsPerCertificate",
     [](Settings& all, const Pair& pair) { all.m_Live.m_ConnectionsPerCertificate = Count(pair); }},
    {"AuditKeep", [](Settings& all, const Pair& pair) { all.m_Live.m_AuditKeep = Days(pair); }},
};

const Setting& Find(const String& name) {
  for (const Setting& setting : k_Settings) {
    if (name.CompareNoCase(setting.m_Name) == 0)
      return setting;
  }
  throw new Exception(fmt::format("the unknown name '{}'", rlib::Excerpt(name).str()));
}

/// One file that is read.
class Reading {
public:
  explicit Reading(const Path& file) : m_File(file), m_Folder(file.Parent()) {
    m_Ini.SetFileName(file.str());
    m_Ini.OnSkipped([this](size_t line, const char* why) {
      if (!m_Malformed)
        m_Malformed = {line, why};
    });
  }

  MasterConfiguration All() {
    const bool isRead = m_Ini.Load(true, false);
    if (!isRead)
      FailToRead();
    if (m_Malformed)
      Fail(m_Malformed->first, m_Malformed->second);
    while (m_Ini.SetNextSection())
      TakeSection();
    if (!m_Ini.Problem().empty())
      FailToRead();
    return m_Taken;
  }

private:
  String File() const { return "the configuration '" + rlib::EscapeControls(m_File.str()) + "'"; }
  [[noreturn]] void FailToRead() const {
    throw new Exception("Cannot read " + File() + ": " + m_Ini.Problem());
  }
  [[noreturn]] void Fail(size_t line, const String& why) const {
    throw new Exception(
        fmt::format("Line {} of {}: {}", line, File().str(), rlib::EscapeControls(why).str()));
  }

  void TakeSection() {
    if (m_Ini.GetCurrentSection().CompareNoCase("Master") != 0)
      Fail(m_Ini.LineNumber(), m_Ini.GetCurrentSection().empty()
                                   ? String("it stands above [Master]")
                                   : String(fmt::format("the unknown section '{}'; it wants [Master]",
                                                        rlib::Excerpt(m_Ini.GetCurrentSection()).str())));
    String name, value;
    while (m_Ini.GetNextValue(name, value)) {
      try {
        Take({m_Folder, name, value});
      } catch (Exception* error) {
        const std::unique_ptr<Exception> owned(error);
        Fail(m_Ini.LineNumber(), error->Message());
      }
    }
  }

  void Take(const Pair& pair) {
    const Setting& setting = Find(pair.m_Name);
    const auto [first, isFirst] = m_Lines.emplace(&setting, m_Ini.LineNumber());
    if (!isFirst && !setting.m_MayRepeat)
      throw new Exception(fmt::format("{} stands in line {} already", setting.m_Name, first->second));
    setting.m_Take(m_Taken, pair);
    m_Taken.m_Names.insert(setting.m_Name);
  }

  const Path m_File;
  const Path m_Folder;
  rlib::IniFile m_Ini;
  std::optional<std::pair<size_t, const char*>> m_Malformed; // the first such line
  std::map<const Setting*, size_t> m_Lines;                  // in which each stands
  MasterConfiguration m_Taken;
};

/// Whether nothing follows the file's last newline.
bool IsEnded(const Path& file) {
  std::ifstream in(file.c_str(), std::ios::binary | std::ios::ate);
  return in.tellg() <= 0 || (in.seekg(-1, std::ios::end) && in.get() == '\n');
}

bool IsSame(const MasterConfiguration& one, const MasterConfiguration& other) {
  const auto all = [](const MasterConfiguration& settings) {
    const LiveSettings& live = settings.m_Live;
    return std::tie(live.m_Commands.m_Reboot, live.m_Commands.m_Shutdown, live.m_LogFileLevel,
                    live.m_LogDisplayLevel, live.m_Products, live.m_ConnectionsPerCertificate,
                    live.m_AuditKeep, settings.m_Names);
  };
  return all(one) == all(other) && Differences(one.m_Start, other.m_Start).empty();
}

} // namespace

MasterConfiguration LoadMasterConfiguration(const Path& file) {
  if (file.empty())
    return {};
  MasterConfiguration settings = Reading(file).All();
  settings.m_IsEnded = IsEnded(file);
  return settings;
}

rlib::Result<> CheckSuccession(const MasterConfiguration& present, const MasterConfiguration& next) {
  if (!present.m_Names.empty() && next.m_Names.empty())
    return rlib::Failure("The file has no settings any more, so it may have been cut off; a new start of the "
                         "Master takes it as it is");
  if (!next.m_IsEnded && !IsSame(present, next))
    return rlib::Failure(
        "The file's last line has no end, so it may have been cut off; if it is whole, end it "
        "with a newline");
  if (present.m_Names.contains("AuditKeep") && !next.m_Names.contains("AuditKeep") &&
      next.m_Live.m_AuditKeep < present.m_Live.m_AuditKeep)
    return rlib::Failure(fmt::format(
        "AuditKeep, which is {}, is missing now, and records would leave the audit trail; if that is meant, "
        "write AuditKeep = {}",
        present.m_Live.m_AuditKeep, next.m_Live.m_AuditKeep));
  return {};
}

std::vector<String> MasterConfigurationNames() {
  std::vector<String> names;
  for (const Setting& setting : k_Settings)
    names.emplace_back(setting.m_Name);
  return names;
}

String Differences(const StartSettings& one, const StartSettings& other) {
  String names;
  const auto compare = [&names](const char* name, const auto& a, const auto& b) {
    if (!(a == b))
      names += (names.empty() ? String() : String(", ")) + name;
  };
  compare("DataFolder", one.m_DataFolder, other.m_DataFolder);
  compare("Listen", one.m_Listen, other.m_Listen);
  compare("Socket", one.m_Socket, other.m_Socket);
  compare("PortFile", one.m_PortFile, other.m_PortFile);
  compare("LogFolder", one.m_LogFolder, other.m_LogFolder);
  return names;
}

} // namespace brenic::master
