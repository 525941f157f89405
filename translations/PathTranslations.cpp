#include "SetwrightApp.h"

#include "rlib/CallEntry.h"

using namespace brenic;
using namespace rlib;

void SetwrightApp::OnPathTranslations(const boost::shared_ptr<PathTranslationsMsg>& message) {
  _CallEntry entry("SetwrightApp::OnPathTranslations", "Setwright", 206);
  m_CurrentTranslationsMsg = message;
}

void SetwrightApp::ProcessPathTranslations() {
  _CallEntry entry("SetwrightApp::ProcessPathTranslations", "Setwright", 297);
  m_CurrentTranslationsMsg.reset();
}
