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
    ProductMsg::s_Signal.Connect(this, &Watcher::OnProduct);
    RemoveProductMsg::s_Signal.Connect(this, &Watcher::OnRemoveProduct);
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
  void OnProduct(const shared_ptr<ProductMsg>& message) {
    rlib::stdOut.PutLine(
        rlib::SFormat("installed %s, now %d", message->m_Product->Name(), m_JobFactory.Products().size()));
  }
  void OnRemoveProduct(const shared_ptr<RemoveProductMsg>& message) {
    rlib::stdOut.PutLine(rlib::SFormat("removed %s, now %d", message->m_ProductType.ToString(),
                                       m_JobFactory.Products().size()));
  }

  bool m_Ready = false;
};

Watcher s_Watcher;

} // namespace
