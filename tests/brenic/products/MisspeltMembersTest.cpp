#include "products/MisspeltMembers.h"

#include <gmock/gmock.h>

#include "products/JsonText.h"

using namespace brenic;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::vector<std::string> Misspelt(const std::string& text) {
  std::vector<std::string> found;
  for (const MisspeltMember& each : FindMisspeltMembers(text))
    found.push_back(PlaceIn(text, each.m_Offset) + ": " + each.m_Member + " for " + each.m_Meant);
  return found;
}

TEST(MisspeltMembers, AreFoundWhereTheSchemaKnowsMembers) {
  EXPECT_THAT(
      Misspelt(
          "{\n \"Name\": 1, \"descripton\": 2,\n"
          " \"parameters\": [{\"name\": 1}, {\"nmae\": 1,\n  \"defualt\": 2, \"minimun\": {\"nmae\": 1}}],\n"
          " \"executables\": {\"Linux\": 1, \"windws\": 2}}"),
      ElementsAre("line 2, column 2: Name for name", "line 2, column 13: descripton for description",
                  "line 3, column 31: nmae for name", "line 4, column 3: defualt for default",
                  "line 4, column 17: minimun for minimum", "line 5, column 18: Linux for linux",
                  "line 5, column 30: windws for windows"));
}

TEST(MisspeltMembers, AreNotSeenInWhatIsSomethingElse) {
  EXPECT_THAT(
      Misspelt(
          R"({"id":1,"ide":2,"notes":3,"icon":4,"extra":{"nmae":1},"parameters":[{"unit":1,"x":[{"nmae":2}]}],)"
          R"("executables":{"bsd":1,"max":2},"names":{"defualt":1}})"),
      ElementsAre("line 1, column 130: names for name"));
  EXPECT_THAT(Misspelt("[]"), IsEmpty());
}

TEST(MisspeltMembers, AreTakenForTheNearest) {
  EXPECT_THAT(Misspelt(R"({"parameters":[{"maxinum":1,"lable":2,"grup":3}]})"),
              ElementsAre("line 1, column 17: maxinum for maximum", "line 1, column 29: lable for label",
                          "line 1, column 39: grup for group"));
}

TEST(EditDistance, CountsExchangedNeighboursOnce) {
  EXPECT_EQ(EditDistance("", ""), 0u);
  EXPECT_EQ(EditDistance("name", ""), 4u);
  EXPECT_EQ(EditDistance("name", "NAME"), 0u);
  EXPECT_EQ(EditDistance("nmae", "name"), 1u);
  EXPECT_EQ(EditDistance("descripton", "description"), 1u);
  EXPECT_EQ(EditDistance("kitten", "sitting"), 3u);
}

} // namespace
