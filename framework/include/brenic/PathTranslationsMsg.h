// The farm's whole list of path translations, in both directions.
#pragma once

#include "brenic/Message.h"

namespace brenic {

/// Platform index (rlib::Platform) to the root by which that platform names the storage.
using TranslationSet = rlib::map<int, Path>;

class PathTranslationsMsg : public MessageOf<PathTranslationsMsg> {
public:
  static constexpr MessageDescription k_Description{
      "PathTranslationsMsg",          TypeOf("5f1d9c0e-6f0b-4c57-9a3e-0d7c1d2a9b05"),
      "change the path translations", Sender::k_Both,
      RequestKind::k_Write,           false};

  rlib::vector<TranslationSet> m_Translations; // in the Master's order

  template <typename Self, typename Visitor>
  static void Fields(Self& self, Visitor&& visit) {
    visit("m_Translations", self.m_Translations);
  }
};

} // namespace brenic
