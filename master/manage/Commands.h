// The subcommands that end by themselves, by family.
#pragma once

#include "manage/Administration.h"
#include "manage/CommandLine.h"
#include "store/SqliteStore.h"

namespace brenic::master {

/// The time that the Master goes by whose store this is, whether it serves or not.
using TellTime = std::function<Moment(Store& store)>;

/// `init`
void AddMakingCommands(CommandLine& line);
/// `backup`, `restore`, `check`. `ask` has a request decided about a folder that is locked.
void AddBackupCommands(CommandLine& line, const Ask& ask);
/// `client`, `clients`, `revoke`, `hosts`, `authority`
void AddCredentialCommands(CommandLine& line, const Ask& ask, const TellTime& tellTime);
/// `plan`, `lint`, `product check`
void AddLookingCommands(CommandLine& line);
/// `history`, `revert`
void AddHistoryCommands(CommandLine& line, const Ask& ask);
/// `state`, `audit`
void AddPrintingCommands(CommandLine& line);

/// The store of a data folder, to be read. Throws Exception* or StoreFailure when there is none.
SqliteStore OpenToRead(const Path& folder);

} // namespace brenic::master
