#include "manage/Commands.h"
#include "manage/Initialise.h"

namespace brenic::master {

void AddMakingCommands(CommandLine& line) {
  struct Options {
    std::string m_Name;
    std::vector<std::string> m_Hosts;
    uint16_t m_Port = 0;
  };
  const auto options = std::make_shared<Options>();
  CLI::App& init = line.AddOnFolder("init", "Makes a new Master", [options](const Path& folder) {
    Initialise({folder, options->m_Name, options->m_Hosts, options->m_Port});
    Tell("Made a Master in '" + folder.str() + "'; the first administrator's credentials are in '" +
         folder.str() + "/clients/admin'");
  });
  init.add_option("--name", options->m_Name, "the Master's name; the machine's by default");
  init.add_option("--host", options->m_Hosts, "name or address by which clients reach it")
      ->allow_extra_args(false);
  init.add_option("--port", options->m_Port, "port that the first credentials name")
      ->check(WholeNumber(1, 65535));
}

} // namespace brenic::master
