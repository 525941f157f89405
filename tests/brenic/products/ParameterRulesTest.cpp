#include "products/ParameterRules.h"

#include <gmock/gmock.h>

#include "products/ProductDocument.h"

using namespace brenic;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// What is wrong with each rule that a parameter with these members breaks.
std::vector<std::string> Broken(const std::string& members) {
  std::vector<std::string> broken;
  for (const BrokenRule& rule : BrokenRulesOf(nlohmann::json::parse(R"({"name":"p")" + members + "}")))
    broken.push_back(rule.m_What);
  return broken;
}

TEST(ParameterRules, AreKeptByWhatMakesSense) {
  for (const char* members :
       {"", R"(,"required":true)", R"(,"required":false,"label":"Grüße","group":"G")",
        R"(,"type":"integer","minimum":1,"maximum":1,"default":1)",
        R"(,"type":"number","minimum":-1.5,"default":-1.5)", R"(,"minimum":1,"default":2)",
        R"(,"type":"string","choices":["a","b"],"default":"b")",
        R"(,"type":"integer","choices":[1,2],"default":2.0)", R"(,"choices":["a",1,true],"default":true)",
        R"(,"type":"integer","minimum":5,"choices":[5],"default":null)",
        R"(,"maximum":18446744073709551615,"default":18446744073709551615)",
        R"(,"type":"integer","minimum":5,"default":"x")"}) // which its type is told of
    EXPECT_THAT(Broken(members), IsEmpty()) << members;
}

TEST(ParameterRules, AreBrokenByWhatMakesNone) {
  const std::vector<std::pair<const char*, const char*>> cases{
      {R"(,"required":"yes")", "required is \"yes\", where true or false is expected"},
      {R"(,"required":null)", "required is null, where true or false is expected"},
      {R"(,"label":"")",
       "label is \"\", where a text of 1 to 256 bytes without control characters is expected"},
      {R"(,"group":[])",
       "group is a list, where a text of 1 to 256 bytes without control characters is expected"},
      {R"(,"label":"a\nb")",
       "label is \"a\\nb\", where a text of 1 to 256 bytes without control characters is expected"},
      {R"(,"minimum":"1")", "minimum is \"1\", where a number is expected"},
      {R"(,"maximum":{})", "maximum is an object, where a number is expected"},
      {R"(,"type":"string","minimum":1)", "minimum is for numbers, and its type is string"},
      {R"(,"minimum":2,"maximum":1,"default":5)", "minimum is 2, above its maximum, 1"},
      {R"(,"minimum":18446744073709551615,"maximum":-1)",
       "minimum is 18446744073709551615, above its maximum, -1"},
      {R"(,"choices":[])", "choices is a list, where a list in [ ] with at least one value is expected"},
      {R"(,"choices":"a")", "choices is \"a\", where a list in [ ] with at least one value is expected"},
      {R"(,"choices":[1,1.0,1,{}],"default":2)", "choices hold 1.0 twice"},
      {R"(,"choices":[[1]])", "choices hold a list, where texts, numbers, true or false are expected"},
      {R"(,"choices":[null])", "choices hold null, where texts, numbers, true or false are expected"},
      {R"(,"type":"string","choices":[1])", "choices hold 1, which is not of its type, string"},
      {R"(,"type":"integer","maximum":3,"choices":[4])", "choices hold 4, which is above its maximum, 3"},
      {R"(,"minimum":1,"default":0)", "the default 0 is below its minimum, 1"},
      {R"(,"maximum":1,"default":1.5)", "the default 1.5 is above its maximum, 1"},
      {R"(,"maximum":1,"default":"x")", "the default \"x\" is no number, as its bounds are"},
      {R"(,"choices":["a"],"default":"A")", "the default \"A\" is none of its choices"}};
  for (const auto& [members, expected] : cases)
    EXPECT_THAT(Broken(members), ElementsAre(expected)) << members;
}

TEST(ParameterRules, AreAllTold) {
  EXPECT_THAT(Broken(R"(,"required":1,"label":2,"group":3,"minimum":"4","maximum":"5","choices":6)").size(),
              6u);
}

TEST(ParameterRules, AreNoReasonToRefuseAProductThatAFarmHolds) {
  const std::string start =
      R"({"id":"00000000-0000-0000-0000-000000000001","name":"n","parameters":[{"name":"p")";
  for (const char* members :
       {R"(,"required":"yes")", R"(,"label":[{}])", R"(,"minimum":9,"maximum":{},"default":1)",
        R"(,"choices":null)", R"(,"group":"a\u0000b")"}) {
    const auto product = ParseProduct(start + members + "}]}");
    ASSERT_TRUE(product) << product.Reason();
    const auto saved = ParseProduct(SSaveProduct(**product, false).str());
    ASSERT_TRUE(saved) << saved.Reason();
    EXPECT_FALSE(ParametersOf(**saved).at(0).m_Broken.empty()) << members;
  }
}

} // namespace
