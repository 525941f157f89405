// The path translations of a run over the scripted client layer.
#pragma once

#include "Sets.h"
#include "scripted/SetwrightTest.h"

inline constexpr const char* k_Changing = "INFO Adding/Removing path translations";

inline const brenic::TranslationSet k_A = Roots("A:", "/a", "/Va");
inline const brenic::TranslationSet k_B = Roots("B:", "/b", "/Vb");
inline const brenic::TranslationSet k_New = Roots("N:", "/n", "/Vn");

class ProcessTest : public scripted::SetwrightTest {
protected:
  /// The list is there, as its slot leaves it.
  boost::shared_ptr<brenic::PathTranslationsMsg> Have(const SetList& sets) {
    const auto list = ListOf(sets);
    m_Access.m_CurrentTranslationsMsg = list;
    return list;
  }
  SetList Sent(size_t index = 0) {
    const auto message = boost::dynamic_pointer_cast<brenic::PathTranslationsMsg>(m_Script.m_Sent.at(index));
    return message ? message->m_Translations : SetList{{{0, rlib::Path("another message")}}};
  }
  static void ProductsArrive() { scripted::Arrive(brenic::MessageFactory::Create<brenic::EndProductsMsg>()); }
};
