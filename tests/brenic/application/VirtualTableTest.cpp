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
Place PlaceOf(Member member) {
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
      {"Startup", PlaceOf(&App::Startup)},
      {"Execute", PlaceOf(&App::Execute)},
      {"Cleanup", PlaceOf(static_cast<void (App::*)()>(&App::Cleanup))},
      {"OnException", PlaceOf(static_cast<bool (App::*)(Exception*)>(&App::OnException))},
      {"SetLogDir", PlaceOf(static_cast<void (App::*)(CommandLine&)>(&App::SetLogDir))},
      {"OnStatistics", PlaceOf(static_cast<void (App::*)(FILE*)>(&App::OnStatistics))},
      {"IsMasterComponentProcess", PlaceOf(&App::IsMasterComponentProcess)},
      {"IsTheMaster", PlaceOf(&App::IsTheMaster)},
      {"IsAMirror", PlaceOf(&App::IsAMirror)},
      {"IsAnEngine", PlaceOf(&App::IsAnEngine)},
      {"GetJobByID", PlaceOf(&App::GetJobByID)},
      {"GetEngineByID", PlaceOf(&App::GetEngineByID)},
      {"GetJobParameter", PlaceOf(&App::GetJobParameter)},
      {"GetJobParameters", PlaceOf(&App::GetJobParameters)},
      {"GetAllJobs", PlaceOf(&App::GetAllJobs)},
      {"GetAllEngines", PlaceOf(&App::GetAllEngines)},
      {"GetWorkParentID", PlaceOf(&App::GetWorkParentID)},
      {"GetPoolName", PlaceOf(&App::GetPoolName)},
      {"OnUnhandledMessage", PlaceOf(&App::OnUnhandledMessage)},
      {"OptionsFilename", PlaceOf(&App::OptionsFilename)},
      {"SaveUpgradeInfo", PlaceOf(&App::SaveUpgradeInfo)},
      {"FinishUpgradeRestart", PlaceOf(&App::FinishUpgradeRestart)},
      {"GetClientName", PlaceOf(&App::GetClientName)},
      {"RequestHasFailed", PlaceOf(&App::RequestHasFailed)},
      {"OnInterrupt", PlaceOf(&App::OnInterrupt)},
  };
  ASSERT_EQ(std::size(rows) + 1, 26u); // with the destructor
  size_t slot = 2;
  for (const Row& row : rows)
    EXPECT_EQ(row.m_Place, (Place{slot++, 0})) << row.m_Name;
}

TEST(VirtualTable, ExecutableOperationsStandInTheirOrderFromTheFirstPlace) {
  const Row rows[] = {
      {"OnInterrupt", PlaceOf(&Executable::OnInterrupt)},
      {"ThreadException", PlaceOf(&Executable::ThreadException)},
      {"Signal", PlaceOf(&Executable::Signal)},
      {"Start", PlaceOf(&Executable::Start)},
      {"Go", PlaceOf(&Executable::Go)},
      {"Stop", PlaceOf(&Executable::Stop)},
  };
  size_t slot = 0;
  for (const Row& row : rows)
    EXPECT_EQ(row.m_Place, (Place{slot++, 0})) << row.m_Name;
}

TEST(VirtualTable, ConnectionOperationsStandInTheirOrderBehindTheDestructor) {
  class Receiver : public HasSlots<ThreadPolicy::LocalThreaded> {};
  using Connection = Connection1<Receiver, const shared_ptr<EndProductsMsg>&, ThreadPolicy::LocalThreaded>;
  EXPECT_EQ(PlaceOf(&Connection::GetSlots), (Place{2, 0}));
  EXPECT_EQ(PlaceOf(&Connection::Emit), (Place{3, 0}));
  EXPECT_EQ(PlaceOf(&Connection::Duplicate), (Place{4, 0}));
}

} // namespace
