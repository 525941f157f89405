// The per-user worker limits as the Master holds them, in one text: "ann=2;bob=5;".
#pragma once

#include "rlib/Containers.h"
#include "rlib/String.h"

/// The text with the user's entry replaced where it stood, or a new one at the end.
///
/// The entry is found by a plain search for the name and "=", so that bob's is also found inside jimbob's,
/// and an entry without its ";" is followed by the whole text once more. Both are deliberate: what other
/// tools of the farm wrote is read by the same rules.
rlib::String WithLimit(const rlib::String& limits, const rlib::String& user, int limit);

/// The text without the user's entry, found in the same way.
rlib::String WithoutLimit(const rlib::String& limits, const rlib::String& user);

/// The limits for people: a line a user. A user's name stands in the line's format, so that a "%" in it is
/// read as a directive, which is harmless with this format's rules. Deliberate: what reads these lines was
/// written against it.
rlib::vector<rlib::String> LimitLines(const rlib::String& limits);
