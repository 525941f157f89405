// Translation sets for tests.
#pragma once

#include "brenic/MessageFactory.h"
#include "brenic/PathTranslationsMsg.h"

/// A set as the tool makes it, with all three roots.
inline brenic::TranslationSet Roots(const char* windows, const char* linux_, const char* mac) {
  return {{0, rlib::Path(windows)}, {1, rlib::Path(linux_)}, {2, rlib::Path(mac)}};
}

using SetList = rlib::vector<brenic::TranslationSet>;

/// The Master's list.
inline boost::shared_ptr<brenic::PathTranslationsMsg> ListOf(const SetList& sets) {
  const auto message = brenic::MessageFactory::Create<brenic::PathTranslationsMsg>();
  message->m_Translations = sets;
  return message;
}
