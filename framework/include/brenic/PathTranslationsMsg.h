// The farm's whole list of path translations, in both directions.
#pragma once

#include "brenic/Message.h"

namespace brenic {

/// Platform index (rlib::Platform) to the root by which that platform names the storage.
using TranslationSet = rlib::map<int, Path>;

class PathTranslationsMsg : public MessageOf<PathTranslationsMsg> {
public:
  static constexpr const char* k_ClassName = "PathTranslationsMsg";

  rlib::vector<TranslationSet> m_Translations; // in the Master's order
};

} // namespace brenic
