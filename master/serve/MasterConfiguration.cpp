#include "serve/MasterConfiguration.h"

#include <fmt/core.h>

#include "rlib/IniFile.h"
#include "rlib/Number.h"
#include "serve/Listener.h"

namespace brenic::master {

namespace {

/// One pair of the file.
struct Pair {
  const Path& m_Folder; // of the file
  const String& m_Name;
  const String& m_Value;
};

Path File(const Pair& pair) {
  return pair.m_Value.empty() ? Path() : pair.m_Folder / pair.m_Value;
}

int Level(const Pair& pair) {
  const std::optional<int32_t> level = rlib::ParseInt32(pair.m_Value);
  if (!level || *level < rlib::Log::k_Nothing || *level > rlib::Log::k_Trace)
    throw new Exception(
        fmt::format("The configuration's {} must be a number from 0 to 6", pair.m_Name.str()));
  return *level;
}

size_t Count(const Pair& pair) {
  const std::optional<int32_t> number = rlib::ParseInt32(pair.m_Value);
  if (!number || *number < 1)
    throw new Exception(fmt::format("The configuration's {} must be a number from 1 up", pair.m_Name.str()));
  return static_cast<size_t>(*number);
}

int Days(const Pair& pair) {
  const std::optional<int32_t> days = rlib::ParseInt32(pair.m_Value);
  if (!days || *days < KeepingOptions::k_LeastDays)
    throw new Exception(fmt::format("The configuration's {} must be a number of days from {} up",
                                    pair.m_Name.str(), KeepingOptions::k_LeastDays));
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
};

constexpr Setting k_Settings[] = {
    {"DataFolder", [](Settings& all, const Pair& pair) { all.m_Start.m_DataFolder = File(pair); }},
    {"Listen", [](Settings& all, const Pair& pair) { AddListen(all.m_Start, pair); }},
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

void Take(Settings& settings, const Pair& pair) {
  for (const Setting& setting : k_Settings) {
    if (pair.m_Name.CompareNoCase(setting.m_Name) == 0)
      return setting.m_Take(settings, pair);
  }
  throw new Exception(fmt::format("The configuration has the unknown name '{}'", pair.m_Name.str()));
}

} // namespace

MasterConfiguration LoadMasterConfiguration(const Path& file) {
  MasterConfiguration configuration;
  if (file.empty())
    return configuration;
  rlib::IniFile ini;
  ini.SetFileName(file.str());
  if (!ini.Load(true, false))
    throw new Exception("Cannot read the configuration '" + file.str() + "'");
  if (ini.SkippedLines() > 0)
    throw new Exception(fmt::format("The configuration '{}' has {} line(s) that cannot be read",
                                    file.str().str(), ini.SkippedLines()));
  while (ini.SetNextSection()) {
    if (ini.GetCurrentSection().CompareNoCase("Master") != 0)
      throw new Exception(fmt::format("The configuration has the unknown section '{}'; it wants [Master]",
                                      ini.GetCurrentSection().str()));
    String name, value;
    while (ini.GetNextValue(name, value))
      Take(configuration, {file.Parent(), name, value});
  }
  return configuration;
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
