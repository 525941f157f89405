#include "brenic/Product.h"

#include <gmock/gmock.h>

using namespace brenic;

namespace {

Product WithParameters(const std::string& parameters) {
  return Product(rlib::UID(true), "Sample", {}, "{\"parameters\":" + parameters + "}");
}

Product WithDefault(const std::string& json) {
  return WithParameters("[{\"name\":\"p\",\"default\":" + json + "}]");
}

struct DefaultCase {
  const char* m_Default; // JSON
  std::vector<const char*> m_Same;
  std::vector<const char*> m_Other;
};

void ExpectDefaults(const std::vector<DefaultCase>& cases) {
  for (const DefaultCase& defaults : cases) {
    const Product product = WithDefault(defaults.m_Default);
    for (const char* value : defaults.m_Same)
      EXPECT_TRUE(product.IsDefaultParam("p", value)) << defaults.m_Default << " is '" << value << "'";
    for (const char* value : defaults.m_Other)
      EXPECT_FALSE(product.IsDefaultParam("p", value)) << defaults.m_Default << " is not '" << value << "'";
  }
}

TEST(DefaultParam, OfANumberIsTheSameNumberHoweverItIsWritten) {
  ExpectDefaults({{"5", {"5", "5.0", "+5", "05", "5e0"}, {"", "6", "5.1", " 5", "5 ", "5x", "0x5", "-5"}},
                  {"0", {"0", "0.0", "-0"}, {"", "false", "null", "nan"}},
                  {"-3", {"-3", "-3.0"}, {"3", "--3", "- 3"}},
                  {"0.001", {"0.001", "1e-3", "1E-3", "0.0010"}, {"0.0010001", "0", "0,001"}},
                  {"1.10", {"1.1", "1.10", "1.100"}, {"1.11"}}});
}

TEST(DefaultParam, OfAWholeNumberIsExactHoweverLargeItIs) {
  ExpectDefaults({{"9007199254740991", {"9007199254740991", "9007199254740991.0"}, {"9007199254740990"}},
                  {"9007199254740992", {"9007199254740992"}, {"9007199254740993"}},
                  {"18446744073709551615", {"18446744073709551615"}, {"18446744073709551614"}}});
}

TEST(DefaultParam, OfATextIsTheTextItself) {
  ExpectDefaults({{"\"Label\"", {"Label"}, {"label", "Label ", "\"Label\"", ""}},
                  {"\"\"", {""}, {"\"\"", "0", "null"}},
                  {"\"5\"", {"5"}, {"5.0", "05"}},
                  {"\"true\"", {"true"}, {"True"}},
                  {R"("a\u00e4\n\"")", {"a\u00e4\n\""}, {"a\\u00e4\\n\\\""}}});
}

TEST(DefaultParam, OfATruthValueIsItsWordInAnyCase) {
  ExpectDefaults({{"true", {"true", "True", "TRUE"}, {"", "1", "yes", "false", "\"true\""}},
                  {"false", {"false", "False"}, {"", "0", "no", "true"}}});
}

TEST(DefaultParam, OfNullIsTheEmptyText) {
  ExpectDefaults({{"null", {""}, {"null", "0", " "}}});
}

TEST(DefaultParam, OfAListOrObjectIsTheSameJsonHoweverItIsWritten) {
  ExpectDefaults({{"[1, \"a\"]",
                   {"[1,\"a\"]", "[ 1, \"a\" ]"},
                   {"", "[]", "[1]", "[\"a\",1]", "1,a", "[1,\"a\"] x", "[1,\"a\""}},
                  {"[]", {"[]"}, {"", "{}", "null"}},
                  {R"({"b":1,"a":[]})",
                   {R"({"b":1,"a":[]})", R"({"a": [], "b": 1})"},
                   {"", "{}", R"({"b":1})", R"({"b":2,"a":[]})"}}});
}

TEST(DefaultParam, InADocumentWithANumberThatNothingCanHoldIsNone) {
  ExpectDefaults({{"1e400", {}, {"1e400", "inf"}}});
}

TEST(ProductParameters, ThatAreUnknownHaveNoDefault) {
  const Product product = WithDefault("5");
  EXPECT_FALSE(product.IsDefaultParam("q", "5"));
  EXPECT_FALSE(product.IsDefaultParam("", "5"));
  EXPECT_FALSE(product.IsDefaultParam("q", ""));
}

TEST(ProductParameters, WithoutADefaultAreNeverAtIt) {
  EXPECT_FALSE(WithParameters(R"([{"name":"p"}])").IsDefaultParam("p", ""));
}

TEST(ProductParameters, AreFoundByTheirNamesInAnyCase) {
  const Product product = WithParameters(R"([{"name":"Depth","default":5},{"name":"other","default":6}])");
  EXPECT_TRUE(product.IsDefaultParam("dEPTH", "5"));
  EXPECT_TRUE(product.IsDefaultParam("OTHER", "6"));
  EXPECT_FALSE(product.IsDefaultParam("Depth ", "5"));
}

TEST(ProductParameters, OfADocumentOfAnotherShapeAreNone) {
  for (const char* document : {"", "{", "5", "[]", "{}", R"({"parameters":5})", R"({"parameters":"p"})",
                               R"({"parameters":[5,null,"p",["p"]]})", R"({"parameters":[{"default":5}]})",
                               R"({"parameters":[{"name":5,"default":5}]})"}) {
    const Product product(rlib::UID(true), "Sample", {}, document);
    EXPECT_FALSE(product.IsDefaultParam("p", "5")) << document;
    EXPECT_FALSE(product.IsDefaultParam("p", "")) << document;
  }
}

TEST(ProductParameters, OfTheWrongShapeLeaveTheOthersAlone) {
  const Product product = WithParameters(R"([{"name":5,"default":5},{"name":"p","default":5}])");
  EXPECT_TRUE(product.IsDefaultParam("p", "5"));
}

TEST(SavedProduct, ThatIsNoJsonIsAnException) {
  const Product product(rlib::UID(true), "Broken", {}, "{");
  try {
    SSaveProduct(product, false);
    FAIL();
  } catch (Exception* e) {
    EXPECT_THAT(e->Message().str(), testing::StartsWith("The product's document cannot be read: "));
    delete e;
  }
}

} // namespace
