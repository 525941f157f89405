#include "SetwrightApp.h"

#include "Layout.h"
#include "Merge.h"
#include "brenic/MessageFactory.h"
#include "brenic/Messenger.h"
#include "rlib/CallEntry.h"
#include "rlib/Log.h"
#include "rlib/Platform.h"
#include "rlib/Stream.h"

using namespace brenic;
using namespace rlib;

void SetwrightApp::OnPathTranslations(const boost::shared_ptr<PathTranslationsMsg>& message) {
  _CallEntry entry("SetwrightApp::OnPathTranslations", "Setwright", 206);
  m_CurrentTranslationsMsg = message;
}

void SetwrightApp::DisplayPathTranslations() {
  _CallEntry entry("SetwrightApp::DisplayPathTranslations", "Setwright", 213);
  const auto& translations = m_CurrentTranslationsMsg->m_Translations;
  if (m_DisplayJSON) {
    stdOut.Put(TranslationLine(translations).c_str(), Stream::k_EolDefault);
    stdOut.PutEOL();
    return;
  }
  stdOut.PutEOL();
  stdOut.Put(TranslationTable(translations, Platform::k_LocalPlatform).c_str(), Stream::k_EolDefault);
  stdOut.PutEOL();
}

void SetwrightApp::ProcessPathTranslations() {
  _CallEntry entry("SetwrightApp::ProcessPathTranslations", "Setwright", 297);
  const bool isChange = !m_RemoveRoots.empty() || !m_AddTranslations.empty();
  if (!m_CurrentTranslationsMsg && (m_ShowPathTranslations || isChange)) {
    GiveUpMissingTranslations();
    return;
  }
  if (m_ShowPathTranslations) {
    DisplayPathTranslations();
    m_ShowPathTranslations = false;
  }
  if (isChange) {
    LogInfo("Adding/Removing path translations");
    m_PathTranslationsMsg = MessageFactory::Create<PathTranslationsMsg>();
    m_PathTranslationsMsg->m_Translations =
        MergeTranslations(m_CurrentTranslationsMsg->m_Translations, m_RemoveRoots, m_AddTranslations);
    Messenger::Send(m_PathTranslationsMsg);
    m_RemoveRoots.clear();
    m_AddTranslations.clear();
  }
  m_CurrentTranslationsMsg.reset();
}

void SetwrightApp::GiveUpMissingTranslations() {
  // Taking a missing list for an empty one would replace the farm's list by this run's additions.
  const auto now = std::chrono::steady_clock::now();
  if (!m_TranslationsAwaitedSince)
    m_TranslationsAwaitedSince = now;
  if (now - *m_TranslationsAwaitedSince < k_TranslationsWait)
    return;
  Report(Log::k_Error,
         "The Master did not send its path translations within 10 s; they are neither shown nor changed");
  m_ShowPathTranslations = false;
  m_RemoveRoots.clear();
  m_AddTranslations.clear();
  m_ExitCode = k_ExitFailed;
}
