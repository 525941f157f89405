// What `clients`, `hosts` and `authority` print, as lines.
#pragma once

#include "store/Store.h"

namespace brenic::master {

using Lines = std::vector<std::string>;

/// One JSON object a line.
Lines ClientsJson(const std::vector<ClientRecord>& clients);
/// For people: those that are accepted, by name, then the others.
Lines ClientsText(const std::vector<ClientRecord>& clients, int64_t now);

Lines HostsJson(const Path& dataFolder, const MasterRecord& master);
Lines HostsText(const Path& dataFolder, const MasterRecord& master);

Lines AuthoritiesJson(Store& store, int64_t now);
Lines AuthoritiesText(Store& store, int64_t now);

} // namespace brenic::master
