// Whether the roots of a translation look like those of their platforms.
#pragma once

#include <vector>

#include "brenic/PathTranslationsMsg.h"

namespace brenic::master {

/// The platforms whose root looks like another platform's; only what is sure enough counts: drive letters and
/// servers with backslashes for Windows, one slash at the beginning for the others, /Volumes for a Mac, /mnt
/// and /media for Linux where that has no root of its own.
std::vector<int> WrongColumns(const TranslationSet& set);

/// The same with its roots in the right columns. One for which there is no column is left out.
TranslationSet InRightColumns(const TranslationSet& set);

} // namespace brenic::master
