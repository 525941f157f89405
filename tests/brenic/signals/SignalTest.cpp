#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "brenic/Signal1.h"

using namespace brenic;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using TestSignal = Signal1<int>;

/// Notes what its slots are called with, and does what a test asks for in between.
class Receiver : public HasSlots<ThreadPolicy::LocalThreaded> {
public:
  explicit Receiver(std::vector<std::string>& calls, std::string name)
      : m_Calls(calls), m_Name(std::move(name)) {}

  void OnValue(int value) {
    m_Calls.push_back(m_Name + std::to_string(value));
    if (m_Then)
      m_Then();
  }
  void OnOther(int value) { m_Calls.push_back(m_Name + "other" + std::to_string(value)); }

  std::function<void()> m_Then;

private:
  std::vector<std::string>& m_Calls;
  std::string m_Name;
};

class SignalTest : public testing::Test {
protected:
  std::vector<std::string> m_Calls;
  std::optional<TestSignal> m_Signal{std::in_place};
  std::optional<Receiver> m_A{std::in_place, m_Calls, "a"};
  std::optional<Receiver> m_B{std::in_place, m_Calls, "b"};
};

TEST_F(SignalTest, WithoutConnectionsCallsNothing) {
  EXPECT_EQ(m_Signal->Emit(1), 0u);
}

TEST_F(SignalTest, CallsSlotsInOrderOfConnection) {
  m_Signal->Connect(&*m_B, &Receiver::OnValue);
  m_Signal->Connect(&*m_A, &Receiver::OnOther);
  m_Signal->Connect(&*m_A, &Receiver::OnValue);
  EXPECT_EQ(m_Signal->Emit(7), 3u);
  EXPECT_THAT(m_Calls, ElementsAre("b7", "aother7", "a7"));
}

TEST_F(SignalTest, AConnectionStandsOnBothSides) {
  TestSignal other;
  m_Signal->Connect(&*m_A, &Receiver::OnValue);
  m_Signal->Connect(&*m_A, &Receiver::OnOther);
  other.Connect(&*m_A, &Receiver::OnValue);
  EXPECT_EQ(m_A->SenderCount(), 3u);
  EXPECT_EQ(m_B->SenderCount(), 0u);
}

TEST_F(SignalTest, DisconnectingRemovesEveryConnectionOfTheReceiverAlone) {
  m_Signal->Connect(&*m_A, &Receiver::OnValue);
  m_Signal->Connect(&*m_B, &Receiver::OnValue);
  m_Signal->Connect(&*m_A, &Receiver::OnOther);
  m_Signal->Disconnect(&*m_A);
  EXPECT_EQ(m_Signal->Emit(1), 1u);
  EXPECT_THAT(m_Calls, ElementsAre("b1"));
  EXPECT_EQ(m_A->SenderCount(), 0u);
  EXPECT_EQ(m_B->SenderCount(), 1u);
}

TEST_F(SignalTest, DisconnectingFromOneSignalKeepsTheOthers) {
  TestSignal other;
  m_Signal->Connect(&*m_A, &Receiver::OnValue);
  other.Connect(&*m_A, &Receiver::OnValue);
  m_Signal->Disconnect(&*m_A);
  EXPECT_EQ(m_A->SenderCount(), 1u);
  EXPECT_EQ(other.Emit(2), 1u);
}

TEST_F(SignalTest, ADestroyedReceiverIsNotCalled) {
  m_Signal->Connect(&*m_A, &Receiver::OnValue);
  m_Signal->Connect(&*m_B, &Receiver::OnValue);
  m_A.reset();
  EXPECT_EQ(m_Signal->Emit(1), 1u);
  EXPECT_THAT(m_Calls, ElementsAre("b1"));
}

TEST_F(SignalTest, ADestroyedSignalLeavesItsReceivers) {
  m_Signal->Connect(&*m_A, &Receiver::OnValue);
  m_Signal->Connect(&*m_A, &Receiver::OnOther);
  m_Signal.reset();
  EXPECT_EQ(m_A->SenderCount(), 0u);
}

TEST_F(SignalTest, DuplicatingConnectsTheCopyToTheSameSlots) {
  m_Signal->Connect(&*m_A, &Receiver::OnValue);
  m_Signal->Connect(&*m_A, &Receiver::OnOther);
  m_Signal->Duplicate(&*m_A, &*m_B);
  EXPECT_EQ(m_B->SenderCount(), 2u);
  EXPECT_EQ(m_Signal->Emit(3), 4u);
  EXPECT_THAT(m_Calls, ElementsAre("a3", "aother3", "b3", "bother3"));
  m_A.reset();
  EXPECT_EQ(m_Signal->Emit(4), 2u);
}

TEST_F(SignalTest, DuplicatingAnUnconnectedReceiverConnectsNothing) {
  m_Signal->Duplicate(&*m_A, &*m_B);
  EXPECT_EQ(m_Signal->Emit(3), 0u);
  EXPECT_EQ(m_B->SenderCount(), 0u);
}

TEST_F(SignalTest, WhatIsConnectedDuringAnEmissionIsCalledByTheNextOne) {
  m_Signal->Connect(&*m_A, &Receiver::OnValue);
  m_A->m_Then = [&] {
    m_A->m_Then = nullptr;
    m_Signal->Connect(&*m_B, &Receiver::OnValue);
  };
  EXPECT_EQ(m_Signal->Emit(1), 1u);
  EXPECT_EQ(m_Signal->Emit(2), 2u);
  EXPECT_THAT(m_Calls, ElementsAre("a1", "a2", "b2"));
}

TEST_F(SignalTest, WhatIsDisconnectedDuringAnEmissionIsNotCalledAnyMore) {
  m_Signal->Connect(&*m_A, &Receiver::OnValue);
  m_Signal->Connect(&*m_B, &Receiver::OnValue);
  m_A->m_Then = [&] { m_Signal->Disconnect(&*m_B); };
  EXPECT_EQ(m_Signal->Emit(1), 1u);
  EXPECT_THAT(m_Calls, ElementsAre("a1"));
}

TEST_F(SignalTest, ASlotMayDisconnectItself) {
  m_Signal->Connect(&*m_A, &Receiver::OnValue);
  m_Signal->Connect(&*m_B, &Receiver::OnValue);
  m_A->m_Then = [&] { m_Signal->Disconnect(&*m_A); };
  EXPECT_EQ(m_Signal->Emit(1), 2u);
  EXPECT_EQ(m_Signal->Emit(2), 1u);
  EXPECT_THAT(m_Calls, ElementsAre("a1", "b1", "b2"));
}

TEST_F(SignalTest, AReceiverDestroyedByAnEarlierSlotIsNotCalled) {
  m_Signal->Connect(&*m_A, &Receiver::OnValue);
  m_Signal->Connect(&*m_B, &Receiver::OnValue);
  m_A->m_Then = [&] { m_B.reset(); };
  EXPECT_EQ(m_Signal->Emit(1), 1u);
  EXPECT_THAT(m_Calls, ElementsAre("a1"));
}

/// Its slot deletes the receiver itself.
class Suicide : public HasSlots<ThreadPolicy::LocalThreaded> {
public:
  explicit Suicide(bool& destroyed) : m_Destroyed(destroyed) {}
  ~Suicide() override { m_Destroyed = true; }
  void OnValue(int) { delete this; }

private:
  bool& m_Destroyed;
};

TEST_F(SignalTest, ASlotMayDestroyItsReceiver) {
  bool destroyed = false;
  m_Signal->Connect(new Suicide(destroyed), &Suicide::OnValue);
  m_Signal->Connect(&*m_B, &Receiver::OnValue);
  EXPECT_EQ(m_Signal->Emit(1), 2u);
  EXPECT_TRUE(destroyed);
  EXPECT_EQ(m_Signal->Emit(2), 1u);
}

TEST_F(SignalTest, ASlotMayDestroyTheSignalWhichEndsTheEmission) {
  m_Signal->Connect(&*m_A, &Receiver::OnValue);
  m_Signal->Connect(&*m_B, &Receiver::OnValue);
  m_A->m_Then = [&] { m_Signal.reset(); };
  EXPECT_EQ(m_Signal->Emit(1), 1u);
  EXPECT_THAT(m_Calls, ElementsAre("a1"));
  EXPECT_EQ(m_A->SenderCount() + m_B->SenderCount(), 0u);
}

TEST_F(SignalTest, ASlotMayEmitAgain) {
  m_Signal->Connect(&*m_A, &Receiver::OnValue);
  m_Signal->Connect(&*m_B, &Receiver::OnValue);
  m_A->m_Then = [&] {
    m_A->m_Then = nullptr;
    EXPECT_EQ(m_Signal->Emit(2), 2u);
  };
  EXPECT_EQ(m_Signal->Emit(1), 2u);
  EXPECT_THAT(m_Calls, ElementsAre("a1", "a2", "b2", "b1"));
}

TEST_F(SignalTest, AnExceptionOfASlotLeavesTheSignalUsable) {
  m_Signal->Connect(&*m_A, &Receiver::OnValue);
  m_A->m_Then = [] { throw 1; };
  EXPECT_THROW(m_Signal->Emit(1), int);
  m_A->m_Then = nullptr;
  EXPECT_EQ(m_Signal->Emit(2), 1u);
}

} // namespace
