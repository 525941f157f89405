// Changes of the list of path translations, as values.
#pragma once

#include "brenic/PathTranslationsMsg.h"

/// The list without every set of which some root equals, byte for byte, one of `removeRoots` (whatever
/// platform's it is), followed by `additions`. Order is kept, nothing is merged. The roots act on `current`
/// only.
rlib::vector<brenic::TranslationSet> MergeTranslations(const rlib::vector<brenic::TranslationSet>& current,
                                                       const rlib::vector<rlib::String>& removeRoots,
                                                       const rlib::vector<brenic::TranslationSet>& additions);
