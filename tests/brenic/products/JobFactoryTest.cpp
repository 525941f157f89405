#include "brenic/JobFactory.h"

#include <gmock/gmock.h>

using namespace brenic;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

rlib::UID Type(uint8_t number) {
  rlib::UID::Raw raw{};
  raw[15] = number;
  return rlib::UID(raw);
}

shared_ptr<Product> Make(uint8_t number, const std::string& name,
                         const std::vector<std::string>& aliases = {}) {
  return boost::make_shared<Product>(Type(number), name, rlib::vector<String>(aliases.begin(), aliases.end()),
                                     "{}");
}

class JobFactoryTest : public testing::Test {
protected:
  /// The type that the text stands for; 99 when it stands for none.
  rlib::UID Find(const std::string& text) const {
    rlib::UID type = Type(99);
    const bool found = m_Factory.FindType(text, type);
    EXPECT_EQ(found, type != Type(99)) << "a text that stands for nothing has to leave the type alone";
    return type;
  }
  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const auto& product : m_Factory.Products())
      names.push_back(product->Name().str());
    return names;
  }

  const rlib::UID m_Unknown = Type(99);
  JobFactory m_Factory;
};

TEST_F(JobFactoryTest, FindsIdentifierNameAndAliasIgnoringCase) {
  m_Factory.Replace({Make(0xab, "Alpha Two", {"first", "A2"})});
  for (const char* text : {"00000000-0000-0000-0000-0000000000ab", "00000000-0000-0000-0000-0000000000AB",
                           "Alpha Two", "alpha two", "ALPHA TWO", "first", "FIRST", "a2"})
    EXPECT_EQ(Find(text), Type(0xab)) << text;
}

TEST_F(JobFactoryTest, FindsNothingElse) {
  m_Factory.Replace({Make(1, "Alpha", {"first"})});
  for (const char* text : {"", "Alph", "Alpha ", " Alpha", "Alphaa", "00000000-0000-0000-0000-000000000002",
                           "{00000000-0000-0000-0000-000000000001}", "00000000000000000000000000000001"})
    EXPECT_EQ(Find(text), m_Unknown) << text;
}

TEST_F(JobFactoryTest, OnlyTheCaseOfAsciiLettersIsIgnored) {
  m_Factory.Replace({Make(1, "Größe")});
  EXPECT_EQ(Find("gRößE"), Type(1));
  EXPECT_EQ(Find("GRÖßE"), m_Unknown);
}

TEST_F(JobFactoryTest, AnIdentifierGoesBeforeAName) {
  m_Factory.Replace({Make(1, "Alpha"), Make(2, "00000000-0000-0000-0000-000000000001")});
  EXPECT_EQ(Find("00000000-0000-0000-0000-000000000001"), Type(1));
}

TEST_F(JobFactoryTest, ANameThatLooksLikeAnUnknownIdentifierIsFound) {
  m_Factory.Replace({Make(2, "00000000-0000-0000-0000-000000000001")});
  EXPECT_EQ(Find("00000000-0000-0000-0000-000000000001"), Type(2));
}

TEST_F(JobFactoryTest, ANameGoesBeforeAnAlias) {
  m_Factory.Replace({Make(1, "Alpha", {"Beta"}), Make(2, "Beta", {"Alpha"})});
  EXPECT_EQ(Find("beta"), Type(2));
  EXPECT_EQ(Find("alpha"), Type(1));
}

TEST_F(JobFactoryTest, TheNullIdentifierResolvesAndHasNoProduct) {
  EXPECT_EQ(Find("00000000-0000-0000-0000-000000000000"), rlib::UID::Null);
  EXPECT_FALSE(m_Factory.GetProduct(rlib::UID::Null));
  m_Factory.Replace({Make(2, "00000000-0000-0000-0000-000000000000")});
  EXPECT_EQ(Find("00000000-0000-0000-0000-000000000000"), rlib::UID::Null);
}

TEST_F(JobFactoryTest, GivesTheProductOfAType) {
  const auto alpha = Make(1, "Alpha");
  m_Factory.Replace({alpha, Make(2, "Beta")});
  EXPECT_EQ(m_Factory.GetProduct(Type(1)), alpha);
  EXPECT_FALSE(m_Factory.GetProduct(Type(3)));
}

TEST_F(JobFactoryTest, ListsItsProductsByType) {
  m_Factory.Replace({Make(3, "Gamma"), Make(1, "Alpha"), Make(2, "Beta")});
  EXPECT_THAT(Names(), ElementsAre("Alpha", "Beta", "Gamma"));
}

TEST_F(JobFactoryTest, ReplacingForgetsTheEarlierProducts) {
  m_Factory.Replace({Make(1, "Alpha", {"first"})});
  ASSERT_EQ(Find("first"), Type(1));
  m_Factory.Replace({Make(2, "Beta", {"second"})});
  EXPECT_EQ(Find("alpha"), m_Unknown);
  EXPECT_EQ(Find("first"), m_Unknown);
  EXPECT_EQ(Find("00000000-0000-0000-0000-000000000001"), m_Unknown);
  EXPECT_EQ(Find("second"), Type(2));
  m_Factory.Replace({});
  EXPECT_EQ(Find("second"), m_Unknown);
  EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(JobFactoryTest, InstallingAddsAProduct) {
  m_Factory.Replace({Make(1, "Alpha")});
  ASSERT_EQ(Find("Beta"), m_Unknown);
  m_Factory.Install(Make(2, "Beta"));
  EXPECT_EQ(Find("Beta"), Type(2));
  EXPECT_EQ(Find("Alpha"), Type(1));
}

TEST_F(JobFactoryTest, InstallingAgainForgetsTheEarlierNames) {
  m_Factory.Install(Make(1, "Alpha", {"first"}));
  ASSERT_EQ(Find("Alpha"), Type(1));
  const auto renamed = Make(1, "Renamed");
  m_Factory.Install(renamed);
  EXPECT_EQ(Find("Alpha"), m_Unknown);
  EXPECT_EQ(Find("first"), m_Unknown);
  EXPECT_EQ(Find("Renamed"), Type(1));
  EXPECT_EQ(m_Factory.GetProduct(Type(1)), renamed);
  EXPECT_THAT(Names(), ElementsAre("Renamed"));
}

TEST_F(JobFactoryTest, RemovingForgetsTheProductAndItsNames) {
  m_Factory.Replace({Make(1, "Alpha", {"first"}), Make(2, "Beta")});
  ASSERT_EQ(Find("first"), Type(1));
  m_Factory.Remove(Type(1));
  EXPECT_EQ(Find("first"), m_Unknown);
  EXPECT_EQ(Find("Alpha"), m_Unknown);
  EXPECT_EQ(Find("00000000-0000-0000-0000-000000000001"), m_Unknown);
  EXPECT_FALSE(m_Factory.GetProduct(Type(1)));
  EXPECT_EQ(Find("Beta"), Type(2));
}

TEST_F(JobFactoryTest, RemovingWhatIsNotThereChangesNothing) {
  m_Factory.Replace({Make(1, "Alpha")});
  m_Factory.Remove(Type(2));
  EXPECT_EQ(Find("Alpha"), Type(1));
}

} // namespace
