#include "SetwrightApp.h"

#include "UserLimitsText.h"
#include "brenic/MessageFactory.h"
#include "brenic/Messenger.h"
#include "brenic/Options.h"
#include "rlib/CallEntry.h"
#include "rlib/Log.h"
#include "rlib/SFormat.h"
#include "rlib/Stream.h"

using namespace brenic;
using namespace rlib;

namespace {

void SendUserLimits(const String& limits) {
  const auto message = MessageFactory::Create<SetMasterOptionsMsg>();
  message->m_Section = o_Distribution;
  message->m_Options[o_UserLimits] = limits;
  Messenger::Send(message);
  (void)Messenger::WaitForSent(message->m_ID, -1.0f);
}

} // namespace

void SetwrightApp::OnSetMasterOptionsMsg(const boost::shared_ptr<SetMasterOptionsMsg>& message) {
  _CallEntry entry("SetwrightApp::OnSetMasterOptionsMsg", "Setwright", __LINE__);
  const auto found = message->m_Options.find(o_UserLimits);
  if (found == message->m_Options.end()) {
    Report(Log::k_Error, "Called GetMasterOptions, but returned msg did not set o_UserLimits data.");
    return;
  }
  const String& limits = found->second;
  if (m_UserLimitValue >= 0)
    SendUserLimits(WithLimit(limits, m_UserLimitName, m_UserLimitValue));
  else if (m_UserLimitValue == k_RemoveUserLimit)
    SendUserLimits(WithoutLimit(limits, m_UserLimitName));
  else if (m_UserLimitValue == k_RemoveAllUserLimits)
    SendUserLimits(k_Empty);
  else if (m_UserLimitValue == k_DisplayUserLimits)
    ShowUserLimits(limits);
  else // no switch leads here
    SendUserLimits(m_UserLimitName + SFormat("=%d;", m_UserLimitValue));
}

void SetwrightApp::ShowUserLimits(const String& limits) {
  stdOut.PutEOL();
  for (const String& line : LimitLines(limits)) {
    stdOut.Put(line);
    stdOut.PutEOL();
  }
  stdOut.PutEOL();
}
