#include "ClientTest.h"

namespace brenic {
namespace {

/// A read, and writes on either side of it, against a Master whose first connection breaks at one byte.
class CutTest : public ClientTest {
protected:
  static constexpr size_t k_Writes = 3;

  void RunWith(const Plan& first) {
    FakeMaster master;
    master.m_ProductNames = {"p"};
    master.m_Translations.emplace();
    master.m_Plans = {first, Plan{}};
    Client::Renew();
    JobFactory::s_JobFactory.Replace({});
    TestApp app(master);
    app.m_OnProducts = [] {
      SendNew(Write("1"));
      SendNew(Read());
      SendNew(Write("2"));
      SendNew(Write("3"));
    };
    std::vector<UID> ids;
    app.m_OnPass = [&] { return app.m_Options.empty(); }; // the end waits for the rest
    char name[] = "tester";
    char* arguments[] = {name, nullptr};
    EXPECT_EQ(static_cast<Executable&>(app).Start(1, arguments), 0) << m_Lines;
    EXPECT_EQ(app.m_ProductsSeen, 1);
    EXPECT_EQ(app.m_Options.size(), 1u);
    EXPECT_EQ(JobFactory::s_JobFactory.Products().size(), 1u);
    const auto applied = master.Applied();
    EXPECT_EQ(applied.size(), k_Writes + 1);
    size_t once = 0;
    for (const auto& [id, times] : applied)
      once += times == 1 ? 1 : 0;
    EXPECT_GE(once, k_Writes); // a read may be asked twice
    m_Connections = master.Connections();
    Client::Renew();
  }

  int m_Connections = 0;
};

TEST_F(CutTest, TheRunIsCompleteWhereverTheMastersOutputIsCut) {
  size_t cut = 0;
  do {
    SCOPED_TRACE(testing::Message() << "cut behind byte " << cut);
    Plan plan;
    plan.m_CutOutput = cut++;
    RunWith(plan);
  } while (!HasFailure() && m_Connections == 2);
  EXPECT_GT(cut, 300u); // the whole exchange, not just its beginning
  std::printf("%zu cuts\n", cut);
}

TEST_F(CutTest, TheRunIsCompleteWhereverTheClientsOutputIsCut) {
  size_t cut = 0;
  do {
    SCOPED_TRACE(testing::Message() << "cut behind byte " << cut);
    Plan plan;
    plan.m_CutInput = cut++;
    RunWith(plan);
  } while (!HasFailure() && m_Connections == 2);
  EXPECT_GT(cut, 200u);
  std::printf("%zu cuts\n", cut);
}

} // namespace
} // namespace brenic
