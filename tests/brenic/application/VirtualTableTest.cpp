// The order of the virtual operations is part of the framework's binary interface. The Itanium C++ ABI
// represents a pointer to a virtual member function as 1 + its offset in the virtual table, with the
// adjustment of `this` behind it; the destructor takes the first two places.
#include <gtest/gtest.h>

#include <cstring>

#include "brenic/BrenicClientExecutable.h"
#include "brenic/ProductMessages.h"

using namespace brenic;

namespace {

struct Place {
  size_t m_Slot;
  std::ptrdiff_t m_Adjustment;

  friend bool operator==(const Place&, const Place&) = default;
};

std::ostream& operator<<(std::ostream& out, const Place& place) {
  return out << "slot " << place.m_Slot << " adjusted by " << place.m_Adjustment;
}

template <typename Member>
Place SlotOf(Member member) {
  std::ptrdiff_t words[2];
  static_assert(sizeof member == sizeof words);
  std::memcpy(words, &member, sizeof words);
  EXPECT_EQ(words[0] & 1, 1) << "not virtual";
  return {static_cast<size_t>(words[0] - 1) / sizeof(void*), words[1]};
}

struct Row {
  const char* m_Name;
  Place m_Place;
};

TEST(VirtualTable, ApplicationOperationsStandInTheirOrderBehindTheDestructor) {
  using App = BrenicClientExecutable;
  const Row rows[] = {
      {"Startup", SlotOf(&App::Startup)},
      {"Execute", SlotOf(&App::Execute)},
      {"Cleanup", SlotOf(static_cast<void (App::*)()>(&App::Cleanup))},
      {"OnException", SlotOf(static_cast<bool (App::*)(Exception*)>(&App::OnException))},
      {"SetLogDir", SlotOf(static_cast<void (App::*)(CommandLine&)>(&App::SetLogDir))},
      {"OnStatistics", SlotOf(static_cast<void (App::*)(FILE*)>(&App::OnStatistics))},
      {"IsMasterComponentProcess", SlotOf(&App::IsMasterComponentProcess)},
      {"IsTheMaster", SlotOf(&App::IsTheMaster)},
      {"IsAMirror", SlotOf(&App::IsAMirror)},
      {"IsAnEngine", SlotOf(&App::IsAnEngine)},
      {"GetJobByID", SlotOf(&App::GetJobByID)},
      {"GetEngineByID", SlotOf(&App::GetEngineByID)},
      {"GetJobParameter", SlotOf(&App::GetJobParameter)},
      {"GetJobParameters", SlotOf(&App::GetJobParameters)},
      {"GetAllJobs", SlotOf(&App::GetAllJobs)},
      {"GetAllEngines", SlotOf(&App::GetAllEngines)},
      {"GetWorkParentID", SlotOf(&App::GetWorkParentID)},
      {"GetPoolName", SlotOf(&App::GetPoolName)},
      {"OnUnhandledMessage", SlotOf(&App::OnUnhandledMessage)},
      {"OptionsFilename", SlotOf(&App::OptionsFilename)},
      {"SaveUpgradeInfo", SlotOf(&App::SaveUpgradeInfo)},
      {"FinishUpgradeRestart", SlotOf(&App::FinishUpgradeRestart)},
      {"GetClientName", SlotOf(&App::GetClientName)},
      {"RequestHasFailed", SlotOf(&App::RequestHasFailed)},
      {"OnInterrupt", SlotOf(&App::OnInterrupt)},
  };
  ASSERT_EQ(std::size(rows) + 1, 26u); // with the destructor
  size_t slot = 2;
  for (const Row& row : rows)
    EXPECT_EQ(row.m_Place, (Place{slot++, 0})) << row.m_Name;
}

TEST(VirtualTable, ExecutableOperationsStandInTheirOrderFromTheFirstPlace) {
  const Row rows[] = {
      {"OnInterrupt", SlotOf(&Executable::OnInterrupt)},
      {"ThreadException", SlotOf(&Executable::ThreadException)},
      {"Signal", SlotOf(&Executable::Signal)},
      {"Start", SlotOf(&Executable::Start)},
      {"Go", SlotOf(&Executable::Go)},
      {"Stop", SlotOf(&Executable::Stop)},
  };
  size_t slot = 0;
  for (const Row& row : rows)
    EXPECT_EQ(row.m_Place, (Place{slot++, 0})) << row.m_Name;
}

TEST(VirtualTable, ConnectionOperationsStandInTheirOrderBehindTheDestructor) {
  class Receiver : public HasSlots<ThreadPolicy::LocalThreaded> {};
  using Connection = Connection1<Receiver, const shared_ptr<EndProductsMsg>&, ThreadPolicy::LocalThreaded>;
  EXPECT_EQ(SlotOf(&Connection::GetSlots), (Place{2, 0}));
  EXPECT_EQ(SlotOf(&Connection::Emit), (Place{3, 0}));
  EXPECT_EQ(SlotOf(&Connection::Duplicate), (Place{4, 0}));
}

} // namespace
