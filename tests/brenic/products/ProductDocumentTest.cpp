#include "products/ProductDocument.h"

#include <gmock/gmock.h>

using namespace brenic;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

constexpr const char* k_ProductId = "00000000-0000-0000-0000-0000000000Ab";

/// A valid document with more members.
std::string Document(const std::string& more) {
  return std::string("{\"id\":\"") + k_ProductId + "\",\"name\":\"Sample\"" + more + "}";
}

/// Why the document is refused; empty when it is not.
std::string ProblemOf(const std::string& document) {
  const auto product = ParseProduct(document);
  EXPECT_TRUE(product ? *product != nullptr : !product.Reason().empty()) << document;
  return product ? "" : product.Reason().str();
}

TEST(ParseProduct, ReadsTheIndexAndKeepsTheDocument) {
  const std::string document = Document(R"( , "aliases":["a","B"] )");
  const auto result = ParseProduct(document);
  ASSERT_TRUE(result) << result.Reason();
  const auto& product = *result;
  EXPECT_EQ(product->Type().ToString(), "00000000-0000-0000-0000-0000000000ab");
  EXPECT_EQ(product->Name(), "Sample");
  EXPECT_THAT(product->Aliases(), ElementsAre("a", "B"));
  EXPECT_EQ(product->Document(), document);
}

TEST(ParseProduct, NeedsNoMoreThanIdentifierAndName) {
  const auto product = ParseProduct(Document(""));
  ASSERT_TRUE(product) << product.Reason();
  EXPECT_THAT((*product)->Aliases(), IsEmpty());
}

TEST(ParseProduct, TakesEveryMemberOfTheSchema) {
  EXPECT_EQ(ProblemOf(Document(R"(,"aliases":[],"version":"1","description":"",)"
                               R"("parameters":[{"name":"p","type":"integer","default":5,"description":"d"},)"
                               R"({"name":"q","type":"path","default":[{}]},{"name":"r"}],)"
                               R"("executables":{"windows":"","linux":"/bin/sh","mac":""})")),
            "");
}

TEST(ParseProduct, TakesUnknownMembersAnywhere) {
  EXPECT_EQ(
      ProblemOf(Document(R"(,"other":{"a":[1]},"parameters":[{"name":"p","x":1}],"executables":{"bsd":5})")),
      "");
}

TEST(ParseProduct, NamesThePlaceThatBreaksTheSchema) {
  const std::vector<std::pair<const char*, const char*>> cases{
      {R"(,"version":1)", "version"},
      {R"(,"description":null)", "description"},
      {R"(,"aliases":"a")", "aliases"},
      {R"(,"aliases":["a",5])", "aliases[1]"},
      {R"(,"aliases":[""])", "aliases[0]"},
      {R"(,"parameters":{})", "parameters"},
      {R"(,"parameters":["p"])", "parameters[0]"},
      {R"(,"parameters":[{}])", "parameters[0]"},
      {R"(,"parameters":[{"name":"p"},{"name":5}])", "parameters[1].name"},
      {R"(,"parameters":[{"name":""}])", "parameters[0].name"},
      {R"(,"parameters":[{"name":"p","type":"float"}])", "parameters[0].type"},
      {R"(,"parameters":[{"name":"p","description":5}])", "parameters[0].description"},
      {R"(,"executables":[])", "executables"},
      {R"(,"executables":{"linux":["/bin/sh"]})", "executables.linux"}};
  for (const auto& [more, place] : cases)
    EXPECT_THAT(ProblemOf(Document(more)), StartsWith(place + std::string(": "))) << more;
}

TEST(ParseProduct, RefusesWhatIsNoObject) {
  for (const char* document : {"[]", "5", "null", "\"Sample\""})
    EXPECT_THAT(ProblemOf(document), StartsWith("the document: ")) << document;
}

TEST(ParseProduct, NamesTheMemberThatIsMissing) {
  EXPECT_THAT(ProblemOf(R"({"name":"Sample"})"), HasSubstr("'id'"));
  EXPECT_THAT(ProblemOf(std::string("{\"id\":\"") + k_ProductId + "\"}"), HasSubstr("'name'"));
}

TEST(ParseProduct, RefusesMalformedIdentifiers) {
  for (const std::string& id :
       {std::string(""), std::string("x"), std::string("00000000-0000-0000-0000-00000000000"),
        std::string("00000000-0000-0000-0000-0000000000011"),
        std::string("00000000-0000-0000-0000-00000000000g"),
        std::string("000000000000-0000-0000-0000-00000001"),
        std::string("{00000000-0000-0000-0000-000000000001}"),
        std::string(" 00000000-0000-0000-0000-000000000001"),
        std::string("00000000-0000-0000-0000-000000000001\\n"),
        std::string("x\\n00000000-0000-0000-0000-000000000001"),
        std::string("00000000-0000-0000-0000-000000000000"), std::string(500'000, 'a')})
    EXPECT_THAT(ProblemOf("{\"id\":\"" + id + "\",\"name\":\"n\"}"), StartsWith("id: ")) << id.substr(0, 60);
  for (const char* id : {"5", "null", "[]", "{}"})
    EXPECT_THAT(ProblemOf(std::string("{\"id\":") + id + ",\"name\":\"n\"}"), StartsWith("id: ")) << id;
}

TEST(ParseProduct, RefusesAnAliasThatIsItsNameOrAnAliasAlready) {
  EXPECT_EQ(ProblemOf(Document(R"(,"aliases":["sAMPLE"])")),
            "aliases: 'sAMPLE' is its name or an alias already");
  EXPECT_EQ(ProblemOf(Document(R"(,"aliases":["a","b","A"])")),
            "aliases: 'A' is its name or an alias already");
}

TEST(ParseProduct, RefusesControlCharactersInNames) {
  EXPECT_EQ(ProblemOf(Document(R"(,"aliases":["a\nb"])")), "the name 'a\\nb' holds a control character");
  EXPECT_EQ(ProblemOf(Document(R"(,"aliases":["a\u0000"])")), "the name 'a\\x00' holds a control character");
  EXPECT_THAT(ProblemOf(Document(R"(,"aliases":["a\u0085"])")), HasSubstr("holds a control character"));
}

TEST(ParseProduct, TakesAllOtherCharactersInNames) {
  EXPECT_EQ(ProblemOf(Document(R"(,"aliases":["a\\b","50%n","-x","é€😀","\"'"])")), "");
}

TEST(ParseProduct, LimitsNamesInBytes) {
  const auto alias = [](const std::string& name) { return Document(",\"aliases\":[\"" + name + "\"]"); };
  EXPECT_EQ(ProblemOf(alias(std::string(256, 'x'))), "");
  EXPECT_THAT(ProblemOf(alias(std::string(257, 'x'))), StartsWith("aliases[0]: "));
  std::string umlauts;
  for (int i = 0; i < 129; ++i)
    umlauts += "ä";
  EXPECT_THAT(ProblemOf(alias(umlauts)), HasSubstr("is longer than 256 bytes"));
  EXPECT_EQ(ProblemOf(alias(umlauts.substr(2))), "");
}

TEST(ParseProduct, LimitsTheSize) {
  const size_t rest = Document(R"(,"x":"")").size();
  const auto sized = [&](size_t size) {
    return Document(",\"x\":\"" + std::string(size - rest, 'x') + "\"");
  };
  EXPECT_EQ(ProblemOf(sized(k_MaxProductDocument)), "");
  EXPECT_EQ(ProblemOf(sized(k_MaxProductDocument + 1)), "it is longer than 1048576 bytes");
}

TEST(ParseProduct, LimitsTheDepth) {
  const auto nested = [](size_t lists) {
    return Document(",\"x\":" + std::string(lists, '[') + std::string(lists, ']'));
  };
  EXPECT_EQ(ProblemOf(nested(63)), "");
  EXPECT_EQ(ProblemOf(nested(64)), "it is more than 64 levels deep");
  EXPECT_EQ(ProblemOf(nested(100'000)), "it is more than 64 levels deep");
}

TEST(ParseProduct, TakesTensOfThousandsOfMembersAndStillSeesAKeyTwice) {
  std::string members;
  for (int i = 0; i < 60'000; ++i)
    members += ",\"k" + std::to_string(i) + "\":1";
  EXPECT_EQ(ProblemOf(Document(members)), "");
  EXPECT_EQ(ProblemOf(Document(members + ",\"k0\":1")), "the key \"k0\" stands twice in one object");
}

} // namespace
