// The subcommands that end by themselves, by family.
#pragma once

#include "manage/CommandLine.h"

namespace brenic::master {

/// `init`
void AddMakingCommands(CommandLine& line);
/// `client`
void AddCredentialCommands(CommandLine& line);
/// `history`, `revert`
void AddHistoryCommands(CommandLine& line);
/// `state`, `audit`
void AddPrintingCommands(CommandLine& line);

} // namespace brenic::master
