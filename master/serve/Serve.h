// The subcommand `serve`.
#pragma once

#include <functional>

#include "serve/Server.h"

namespace brenic::master {

struct ServeOptions {
  Path m_ConfigFile;
  /// In place of what the configuration says; what is empty is as configured, else all addresses with the
  /// default port, and the installed products. The folder of the log is not asked for.
  StartSettings m_Start;
  Path m_Products; // folder of the default products
  /// Called before the data folder is used, to see to it that it holds a Master.
  std::function<void(const Path& folder)> m_Prepare;
  std::function<CertificateCare(const Path& folder)> m_Care;
};

/// Serves until it is told to end. Throws Exception* or StoreFailure when it cannot begin.
void Serve(const ServeOptions& options);

} // namespace brenic::master
