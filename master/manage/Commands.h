// The subcommands that end by themselves, by family.
#pragma once

#include "manage/Administration.h"
#include "manage/CommandLine.h"

namespace brenic::master {

/// `init`
void AddMakingCommands(CommandLine& line);
/// `backup`, `restore`, `check`
void AddBackupCommands(CommandLine& line);
/// `client`, `clients`, `revoke`, `hosts`, `authority`
void AddCredentialCommands(CommandLine& line, const Ask& ask);
/// `plan`, `lint`, `product check`
void AddLookingCommands(CommandLine& line);
/// `state`, `audit`
void AddPrintingCommands(CommandLine& line);

} // namespace brenic::master
