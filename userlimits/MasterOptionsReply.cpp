#include "SetwrightApp.h"

#include "rlib/CallEntry.h"

using namespace brenic;
using namespace rlib;

void SetwrightApp::OnSetMasterOptionsMsg(const boost::shared_ptr<SetMasterOptionsMsg>&) {
  // No switch asks the Master for options yet.
  _CallEntry entry("SetwrightApp::OnSetMasterOptionsMsg", "Setwright", __LINE__);
}
