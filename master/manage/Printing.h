// What `state` and `audit` print. Pure functions to text.
#pragma once

#include "store/Store.h"

namespace brenic::master {

/// One JSON object, on one line.
std::string StateJson(const MasterRecord& master, const Farm& farm);
/// Options, limits and restrictions as an INI file that IniFile reads back the same. What none of its lines
/// can hold (a value that is too long, a name with a quote and an '=' behind it) is only mentioned in a
/// comment.
std::string StateIni(const Farm& farm);
/// For people.
std::string StateText(const MasterRecord& master, const Farm& farm);

/// One JSON object, on one line.
std::string AuditJson(const AuditRecord& record);
/// For people, one line.
std::string AuditText(const AuditRecord& record);

/// Milliseconds of "2026-01-31", "2026-01-31T12:00:00", with optional ".123" and "Z"; UTC. No value for what
/// is not a time.
std::optional<int64_t> ParseTime(const std::string& text);
/// The same of the option --since. Throws Exception* for what is not a time.
int64_t SinceOption(const std::string& text);

} // namespace brenic::master
