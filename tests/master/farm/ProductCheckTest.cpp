#include "farm/ProductCheck.h"

#include <gmock/gmock.h>

#include "farm/Samples.h"
#include "products/ProductDocument.h"

namespace brenic::master {
namespace {

using testing::HasSubstr;

std::string ProblemOf(const std::string& document) {
  const auto product = ParseProduct(document);
  EXPECT_TRUE(product ? *product != nullptr : !product.Reason().empty());
  return product ? "" : product.Reason().str();
}

std::string Document(const std::string& more) {
  return R"({"id":"00000000-0000-0000-0000-000000000001","name":"n")" + more + "}";
}

TEST(Document, MayHoldUnknownMembers) {
  EXPECT_EQ(ProblemOf(Document(R"(,"other":{"a":[1,2]})")), "");
}

TEST(Document, ThatIsNoObjectIsRefused) {
  EXPECT_THAT(ProblemOf("["), HasSubstr("it is no JSON"));
  EXPECT_THAT(ProblemOf("[]"), HasSubstr("type"));
  EXPECT_THAT(ProblemOf(Document("") + "x"), HasSubstr("it is no JSON"));
}

TEST(Document, WithAKeyTwiceIsRefusedAtAnyLevel) {
  EXPECT_THAT(ProblemOf(Document(R"(,"name":"m")")), HasSubstr("the key \"name\" stands twice"));
  EXPECT_THAT(ProblemOf(Document(R"(,"a":[{"b":1,"b":2}])")), HasSubstr("the key \"b\" stands twice"));
  EXPECT_EQ(ProblemOf(Document(R"(,"a":[{"b":1},{"b":2}])")), "");
}

TEST(Document, MayHave64LevelsAndNotMore) {
  const auto nested = [](size_t arrays) {
    return Document(R"(,"deep":)" + std::string(arrays, '[') + "1" + std::string(arrays, ']'));
  };
  EXPECT_EQ(ProblemOf(nested(63)), "");
  EXPECT_THAT(ProblemOf(nested(64)), HasSubstr("more than 64 levels"));
  EXPECT_THAT(ProblemOf(nested(300'000)), HasSubstr("more than 64 levels"));
}

TEST(Document, BeyondItsSizeIsRefused) {
  EXPECT_THAT(ProblemOf(Document(R"(,"x":")" + std::string(k_MaxProductDocument, 'x') + "\"")),
              HasSubstr("longer than 1048576 bytes"));
}

TEST(Document, NeedsIdentifierAndNames) {
  EXPECT_THAT(ProblemOf("{}"), HasSubstr("property 'id'"));
  EXPECT_THAT(ProblemOf(R"({"id":"x","name":"n"})"), testing::StartsWith("id: "));
  EXPECT_THAT(ProblemOf(R"({"id":"00000000-0000-0000-0000-000000000000","name":"n"})"),
              testing::StartsWith("id: "));
  EXPECT_THAT(ProblemOf(Document(R"(,"aliases":[1])")), testing::StartsWith("aliases[0]: "));
  EXPECT_THAT(ProblemOf(Document(R"(,"aliases":["N"])")), HasSubstr("its name or an alias already"));
  EXPECT_THAT(ProblemOf(Document(R"(,"aliases":[""])")), testing::StartsWith("aliases[0]: "));
}

TEST(Index, HasToAgreeWithTheDocument) {
  const auto good = MakeProduct(1, "Alpha", {"a"});
  EXPECT_TRUE(CheckDocument(*good));
  EXPECT_FALSE(CheckDocument(Product(Type(2), good->Name(), good->Aliases(), good->Document())));
  EXPECT_FALSE(CheckDocument(Product(good->Type(), "Other", good->Aliases(), good->Document())));
  EXPECT_FALSE(CheckDocument(Product(good->Type(), good->Name(), {}, good->Document())));
}

} // namespace
} // namespace brenic::master
