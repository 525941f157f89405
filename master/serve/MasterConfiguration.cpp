#include "serve/MasterConfiguration.h"

#include <fmt/core.h>

#include "rlib/IniFile.h"
#include "rlib/Log.h"
#include "rlib/Number.h"

namespace brenic::master {

namespace {

int Level(const String& name, const String& value) {
  const std::optional<int32_t> level = rlib::ParseInt32(value);
  if (!level || *level < rlib::Log::k_Nothing || *level > rlib::Log::k_Trace)
    throw new Exception(fmt::format("The configuration's {} must be a number from 0 to 6", name.str()));
  return *level;
}

size_t Connections(const String& name, const String& value) {
  const std::optional<int32_t> number = rlib::ParseInt32(value);
  if (!number || *number < 1)
    throw new Exception(fmt::format("The configuration's {} must be a number from 1 up", name.str()));
  return static_cast<size_t>(*number);
}

int Days(const String& name, const String& value) {
  const std::optional<int32_t> days = rlib::ParseInt32(value);
  if (!days || *days < KeepingOptions::k_LeastDays)
    throw new Exception(fmt::format("The configuration's {} must be a number of days from {} up", name.str(),
                                    KeepingOptions::k_LeastDays));
  return *days;
}

void Take(MasterConfiguration& configuration, const Path& folder, const String& name, const String& value) {
  if (name.CompareNoCase("RebootCommand") == 0)
    configuration.m_Commands.m_Reboot = value;
  else if (name.CompareNoCase("ShutdownCommand") == 0)
    configuration.m_Commands.m_Shutdown = value;
  else if (name.CompareNoCase("LogFolder") == 0)
    configuration.m_LogFolder = folder / value;
  else if (name.CompareNoCase("LogFileLevel") == 0)
    configuration.m_LogFileLevel = Level(name, value);
  else if (name.CompareNoCase("LogDisplayLevel") == 0)
    configuration.m_LogDisplayLevel = Level(name, value);
  else if (name.CompareNoCase("Products") == 0)
    configuration.m_Products = folder / value;
  else if (name.CompareNoCase("ConnectionsPerCertificate") == 0)
    configuration.m_ConnectionsPerCertificate = Connections(name, value);
  else if (name.CompareNoCase("AuditKeep") == 0)
    configuration.m_AuditKeep = Days(name, value);
  else
    throw new Exception(fmt::format("The configuration has the unknown name '{}'", name.str()));
}

} // namespace

MasterConfiguration LoadMasterConfiguration(const Path& file) {
  MasterConfiguration configuration{{}, {}, rlib::Log::k_DefaultFileLevel, rlib::Log::k_DefaultDisplayLevel,
                                    {}, 0};
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
      Take(configuration, file.Parent(), name, value);
  }
  return configuration;
}

} // namespace brenic::master
