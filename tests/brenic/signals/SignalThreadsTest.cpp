// Receivers and signals that live and die on different threads. Worth most with the thread sanitizer.
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <thread>

#include "brenic/Signal1.h"

using namespace brenic;

namespace {

using TestSignal = Signal1<int>;

/// Counts calls, and those that reach it after its destructor has returned from disconnecting.
class CountingReceiver : public HasSlots<ThreadPolicy::LocalThreaded> {
public:
  struct Counts {
    std::atomic<int> m_Calls{0};
    std::atomic<int> m_Late{0};
  };

  explicit CountingReceiver(Counts& counts) : m_Counts(counts) {}
  ~CountingReceiver() override {
    DisconnectAll();
    m_Alive = false; // not atomic: a slot that still runs is a race that the sanitizer reports
  }
  void OnValue(int) {
    ++m_Counts.m_Calls;
    if (!m_Alive)
      ++m_Counts.m_Late;
  }

private:
  Counts& m_Counts;
  bool m_Alive = true;
};

TEST(SignalThreads, AReceiverDestroyedElsewhereIsNeverCalledAfterIt) {
  TestSignal signal;
  CountingReceiver::Counts counts;
  std::atomic<bool> end{false};
  std::atomic<int> emissions{0};
  std::thread emitter([&] {
    while (!end) {
      signal.Emit(1);
      ++emissions;
    }
  });
  for (int i = 0; i < 300; ++i) {
    auto receiver = std::make_unique<CountingReceiver>(counts);
    signal.Connect(receiver.get(), &CountingReceiver::OnValue);
    const int before = emissions;
    while (emissions < before + 2) // one whole emission with it
      std::this_thread::yield();
  }
  end = true;
  emitter.join();
  EXPECT_GE(counts.m_Calls, 300);
  EXPECT_EQ(counts.m_Late, 0);
  EXPECT_EQ(signal.Emit(1), 0u);
}

/// Its slot tells that it runs and goes on only when told to.
class Slow : public HasSlots<ThreadPolicy::LocalThreaded> {
public:
  ~Slow() override { DisconnectAll(); }
  void OnValue(int) {
    m_Running.set_value();
    m_GoOn.get_future().wait();
    m_Done = true;
  }

  std::promise<void> m_Running;
  std::promise<void> m_GoOn;
  bool m_Done = false; // not atomic: read after the destruction has waited for the slot
};

TEST(SignalThreads, DestructionWaitsForTheSlotThatRunsElsewhere) {
  TestSignal signal;
  auto slow = std::make_unique<Slow>();
  signal.Connect(slow.get(), &Slow::OnValue);
  std::thread emitter([&] { signal.Emit(1); });
  slow->m_Running.get_future().wait();
  std::atomic<bool> goneOn{false};
  std::thread destroyer([&, raw = slow.release()] {
    std::thread releaser([&] {
      goneOn = true;
      raw->m_GoOn.set_value();
    });
    raw->~Slow();
    EXPECT_TRUE(goneOn); // the slot could not end before
    EXPECT_TRUE(raw->m_Done);
    releaser.join();
    operator delete(raw);
  });
  emitter.join();
  destroyer.join();
}

TEST(SignalThreads, SignalAndReceiverMayBeDestroyedAtTheSameTime) {
  for (int i = 0; i < 300; ++i) {
    CountingReceiver::Counts counts;
    auto signal = std::make_unique<TestSignal>();
    auto receiver = std::make_unique<CountingReceiver>(counts);
    signal->Connect(receiver.get(), &CountingReceiver::OnValue);
    std::thread other([&] { signal.reset(); });
    receiver.reset();
    other.join();
  }
}

TEST(SignalThreads, ConnectingAndEmittingOnManyThreadsLosesNothing) {
  TestSignal signal;
  CountingReceiver::Counts counts;
  std::vector<std::unique_ptr<CountingReceiver>> receivers;
  for (int i = 0; i < 4; ++i)
    receivers.push_back(std::make_unique<CountingReceiver>(counts));
  std::vector<std::thread> threads;
  for (const auto& receiver : receivers) {
    threads.emplace_back([&signal, raw = receiver.get()] {
      for (int i = 0; i < 100; ++i) {
        signal.Connect(raw, &CountingReceiver::OnValue);
        EXPECT_GE(signal.Emit(i), 1u);
        signal.Disconnect(raw);
      }
      signal.Connect(raw, &CountingReceiver::OnValue);
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(signal.Emit(0), 4u);
}

} // namespace
