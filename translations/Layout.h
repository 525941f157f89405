// How the list of path translations is shown.
#pragma once

#include "brenic/PathTranslationsMsg.h"

/// A table for people: a header and a divider line made from the first set's platforms, then a line a set,
/// each ended by a line feed, the columns padded with spaces. The local platform's column is marked with
/// asterisks and its roots with parentheses. Empty for an empty list. Widths are in bytes.
rlib::String TranslationTable(const rlib::vector<brenic::TranslationSet>& translations, int localPlatform);

/// One JSON-like line for scripts: a list with a list of roots a set, in the order of platforms. The roots
/// stand as they are, so that a backslash makes a text that strict readers reject. Deliberate: scripts that
/// take the line apart expect the roots unescaped.
rlib::String TranslationLine(const rlib::vector<brenic::TranslationSet>& translations);
