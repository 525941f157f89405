// Where a client finds its Master and its credentials.
#pragma once

#include <optional>

#include "client/Credentials.h"
#include "rlib/Result.h"

namespace brenic {

/// What `brenic.conf` says: an INI file with the section [Client] and the names Master, CA, Certificate, Key
/// and ConnectTimeout, each at most once; relative paths are relative to the file.
struct Configuration {
  Path m_File;
  String m_Master;
  Credentials m_Credentials;
  std::optional<String> m_ConnectTimeout; // as it stands there
};

/// Reads $BRENIC_CONFIG, else $XDG_CONFIG_HOME/brenic/brenic.conf (~/.config), else
/// /etc/brenic/brenic.conf; none when none of them exists. Fails when the one that was found cannot be read
/// or understood as a whole (with the line), and when $BRENIC_CONFIG names none: the next one may lead to
/// another Master. Never blocks.
rlib::Result<std::optional<Configuration>> LoadConfiguration();

/// The files that LoadConfiguration looks for, in this order.
rlib::vector<Path> ConfigurationFiles();

/// The local sockets that are tried when there is neither a configuration nor an address: those that exist,
/// the ones behind which somebody listens first.
rlib::vector<Path> LocalSockets();

} // namespace brenic
