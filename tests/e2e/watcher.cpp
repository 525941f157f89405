// A client that stays connected until the system ends, and tells what arrives. For the end-to-end tests.
#include "brenic/BrenicClientExecutable.h"
#include "brenic/Messenger.h"
#include "brenic/PathTranslationsMsg.h"
#include "brenic/ProductMessages.h"
#include "brenic/SystemMessages.h"
#include "rlib/SFormat.h"
#include "rlib/Stream.h"

using namespace brenic;

namespace {

class Watcher : public BrenicClientExecutable {
public:
  ~Watcher() override { DisconnectAll(); }

  bool Startup(CommandLine& cmd) override {
    EndProductsMsg::s_Signal.Connect(this, &Watcher::OnEndProducts);
    LogDumpMsg::s_Signal.Connect(this, &Watcher::OnLogDump);
    PathTranslationsMsg::s_Signal.Connect(this, &Watcher::OnPathTranslations);
    Messenger::SetClientInfo(UID(true), 0);
    return BrenicClientExecutable::Startup(cmd);
  }
  bool OnException(Exception*) override { return false; }

private:
  void OnEndProducts(const shared_ptr<EndProductsMsg>&) {
    m_Ready = true;
    rlib::stdOut.PutLine("ready");
  }
  void OnLogDump(const shared_ptr<LogDumpMsg>&) { rlib::stdOut.PutLine("dump"); }
  void OnPathTranslations(const shared_ptr<PathTranslationsMsg>& message) {
    if (m_Ready)
      rlib::stdOut.PutLine(rlib::SFormat("%d translations", message->m_Translations.size()));
  }

  bool m_Ready = false;
};

Watcher s_Watcher;

} // namespace
