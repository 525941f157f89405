// The replies are connected in a fixed order. Seen from outside: while one signal is held by an emission on
// another thread, Startup gets exactly as far as the connections before it.
#include <chrono>
#include <future>
#include <thread>

#include "scripted/SetwrightTest.h"

using namespace brenic;
using namespace scripted;

namespace {

class ConnectionOrderTest : public SetwrightTest {
protected:
  /// Whether Startup makes `before` connections and then waits for the signal of `Class`.
  template <typename Class>
  bool WaitsBehind(size_t before) {
    struct Holder : HasSlots<ThreadPolicy::LocalThreaded> {
      ~Holder() override { this->DisconnectAll(); }
      void OnMessage(const boost::shared_ptr<Class>&) {
        m_Held.set_value();
        // The time is reached only where the order is wrong.
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (m_App->SenderCount() != m_Before && std::chrono::steady_clock::now() < deadline)
          std::this_thread::yield();
        m_Reached = m_App->SenderCount() == m_Before;
      }

      SetwrightApp* m_App = nullptr;
      size_t m_Before = 0;
      bool m_Reached = false;
      std::promise<void> m_Held;
    };
    Holder holder;
    holder.m_App = &m_App;
    holder.m_Before = before;
    Class::s_Signal.Connect(&holder, &Holder::OnMessage);
    std::thread emitter([] { Arrive(MessageFactory::Create<Class>()); });
    holder.m_Held.get_future().wait();
    CommandLine cmd = Arguments({"-Info"});
    m_App.Startup(cmd);
    emitter.join();
    EXPECT_EQ(m_App.SenderCount(), 3u);
    return holder.m_Reached;
  }
};

TEST_F(ConnectionOrderTest, TheEndOfTheProductsIsTheFirst) {
  EXPECT_TRUE(WaitsBehind<EndProductsMsg>(0));
}

TEST_F(ConnectionOrderTest, TheTranslationsAreTheSecond) {
  EXPECT_TRUE(WaitsBehind<PathTranslationsMsg>(1));
}

TEST_F(ConnectionOrderTest, TheOptionsAreTheThird) {
  EXPECT_TRUE(WaitsBehind<SetMasterOptionsMsg>(2));
}

} // namespace
