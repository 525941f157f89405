// The subcommand `serve`.
#pragma once

#include <optional>

#include "rlib/Path.h"

namespace brenic::master {

struct ServeOptions {
  rlib::Path m_Folder;
  rlib::String m_Listen; // empty: all addresses, the default port
  rlib::Path m_PortFile;
  rlib::Path m_Socket;
  rlib::Path m_ConfigFile;
  rlib::Path m_Products; // folder of the default products; empty: as configured, else the installed one
};

/// Serves until it is told to end. Throws Exception* or StoreFailure when it cannot begin.
void Serve(const ServeOptions& options);

} // namespace brenic::master
