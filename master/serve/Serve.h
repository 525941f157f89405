// The subcommand `serve`.
#pragma once

#include <functional>

#include "serve/Server.h"

namespace brenic::master {

struct ServeOptions {
  Path m_Folder;
  String m_Listen; // empty: all addresses, the default port
  Path m_PortFile;
  Path m_Socket;
  Path m_ConfigFile;
  Path m_Products; // folder of the default products; empty: as configured, else the installed one
  /// Called before the folder is used, to see to it that it holds a Master.
  std::function<void()> m_Prepare;
  CertificateCare m_Care;
};

/// Serves until it is told to end. Throws Exception* or StoreFailure when it cannot begin.
void Serve(const ServeOptions& options);

} // namespace brenic::master
