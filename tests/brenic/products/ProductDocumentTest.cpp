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

TEST(ParseProduct, SaysWhatOfTheSchemaIsBrokenAndWhere) {
  const std::string text = ", where a text in double quotes is expected";
  const std::string list = ", where a list in [ ] is expected";
  const std::string object = ", where an object in { } is expected";
  const std::string name = ", where a text of 1 to 256 characters is expected";
  const std::vector<std::pair<const char*, std::string>> cases{
      {R"("version":1)", "11: \"version\" is 1" + text},
      {R"("description":null)", "15: \"description\" is null" + text},
      {R"("aliases":"a")", "11: \"aliases\" is \"a\"" + list},
      {R"("aliases":["a",5])", "16: entry 2 of \"aliases\" is 5" + name},
      {R"("aliases":[""])", "12: entry 1 of \"aliases\" is \"\"" + name},
      {R"("parameters":{})", "14: \"parameters\" is an object" + list},
      {R"("parameters":["p"])", "15: entry 1 of \"parameters\" is \"p\"" + object},
      {R"("parameters":[{}])", "15: entry 1 of \"parameters\" has no \"name\""},
      {R"("parameters":[{"name":"p"},{"name":5}])", "36: \"name\" of entry 2 of \"parameters\" is 5" + name},
      {R"("parameters":[{"name":"p","type":"float"}])",
       "34: \"type\" of entry 1 of \"parameters\" is \"float\", where one of \"string\", \"integer\", "
       "\"number\", "
       "\"boolean\", \"path\" is expected"},
      {R"("executables":[])", "15: \"executables\" is a list" + object},
      {R"("executables":{"linux":["/bin/sh"]})", "24: \"linux\" of \"executables\" is a list" + text}};
  for (const auto& [more, expected] : cases)
    EXPECT_EQ(ProblemOf(Document(std::string(",\n") + more)), "line 2, column " + expected) << more;
}

TEST(ParseProduct, RefusesWhatIsNoObject) {
  for (const char* document : {"[]", "5", "null", "\"Sample\""})
    EXPECT_THAT(ProblemOf(document), testing::AllOf(StartsWith("line 1, column 1: the definition is "),
                                                    HasSubstr(", where an object in { } is expected")))
        << document;
}

TEST(ParseProduct, NamesTheMemberThatIsMissing) {
  EXPECT_EQ(ProblemOf(R"({"name":"Sample"})"), "line 1, column 1: the definition has no \"id\"");
  EXPECT_EQ(ProblemOf(std::string("{\"id\":\"") + k_ProductId + "\"}"),
            "line 1, column 1: the definition has no \"name\"");
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
    EXPECT_THAT(ProblemOf("{\"id\":\"" + id + "\",\"name\":\"n\"}"),
                StartsWith("line 1, column 7: \"id\" is \""))
        << id.substr(0, 60);
  for (const char* id : {"5", "null", "[]", "{}"})
    EXPECT_THAT(ProblemOf(std::string("{\"id\":") + id + ",\"name\":\"n\"}"),
                StartsWith("line 1, column 7: \"id\" is "))
        << id;
}

TEST(ParseProduct, RefusesAnAliasThatIsItsNameOrAnAliasAlready) {
  EXPECT_EQ(ProblemOf(Document(R"(,"aliases":["sAMPLE"])")),
            "line 1, column 73: entry 1 of \"aliases\", 'sAMPLE', is its name or an alias already");
  EXPECT_EQ(ProblemOf(Document(R"(,"aliases":["a","b","A"])")),
            "line 1, column 81: entry 3 of \"aliases\", 'A', is its name or an alias already");
}

TEST(ParseProduct, RefusesControlCharactersInNames) {
  EXPECT_THAT(ProblemOf(Document(R"(,"aliases":["a\nb"])")),
              HasSubstr("entry 1 of \"aliases\", 'a\\nb', holds a control character"));
  EXPECT_THAT(ProblemOf(Document(R"(,"aliases":["a\u0000"])")),
              HasSubstr("'a\\x00', holds a control character"));
  EXPECT_THAT(ProblemOf(Document(R"(,"aliases":["a\u0085"])")), HasSubstr("holds a control character"));
}

TEST(ParseProduct, TakesAllOtherCharactersInNames) {
  EXPECT_EQ(ProblemOf(Document(R"(,"aliases":["a\\b","50%n","-x","é€😀","\"'"])")), "");
}

TEST(ParseProduct, LimitsNamesInBytes) {
  const auto alias = [](const std::string& name) { return Document(",\"aliases\":[\"" + name + "\"]"); };
  EXPECT_EQ(ProblemOf(alias(std::string(256, 'x'))), "");
  EXPECT_THAT(ProblemOf(alias(std::string(257, 'x'))),
              HasSubstr("a text of 1 to 256 characters is expected"));
  std::string umlauts;
  for (int i = 0; i < 129; ++i)
    umlauts += "ä";
  EXPECT_THAT(ProblemOf(alias(umlauts)), HasSubstr("is longer than 256 bytes"));
  EXPECT_EQ(ProblemOf(alias(umlauts.substr(2))), "");
}

/// A document of so many bytes without layout.
std::string Sized(size_t size) {
  return Document(",\"x\":\"" + std::string(size - Document(R"(,"x":"")").size(), 'x') + "\"");
}

TEST(ParseProduct, LimitsTheSizeWithoutTheLayout) {
  const char* const tooLong = "it is longer than 1048576 bytes, the layout not counted";
  EXPECT_EQ(ProblemOf(Sized(k_MaxProductDocument)), "");
  EXPECT_EQ(ProblemOf(Sized(k_MaxProductDocument + 1)), tooLong);
  const std::string layout(3 * k_MaxProductDocument, '\n');
  EXPECT_EQ(ProblemOf(layout + Sized(k_MaxProductDocument) + layout), "");
  EXPECT_EQ(ProblemOf(layout + Sized(k_MaxProductDocument + 1) + layout), tooLong);
}

TEST(ParseProduct, KeepsALongDocumentWithoutItsLayout) {
  const std::string compact = Sized(k_MaxProductDocument);
  const auto product = ParseProduct("\n" + compact + " ");
  ASSERT_TRUE(product);
  EXPECT_TRUE((*product)->Document() == compact);
}

TEST(ParseProduct, TellsPlacesInALongDocumentByItsLayout) {
  EXPECT_THAT(ProblemOf(std::string(k_MaxProductDocument, '\n') + "{\"id\": 5}"),
              StartsWith("line 1048577, column 8: "));
}

/// Deep lists, which take most room for their layout.
std::string Deep() {
  const std::string entry = std::string(15, '[') + "1" + std::string(15, ']');
  std::string lists = std::string(k_MaxProductDepth - 16, '[') + entry;
  for (int i = 0; i != 3000; ++i)
    lists += "," + entry;
  return Document(",\"x\":" + lists + std::string(k_MaxProductDepth - 16, ']'));
}

TEST(ParseProduct, TakesWhatWasTakenAndThenLaidOut) {
  const auto product = ParseProduct(Deep());
  ASSERT_TRUE(product) << product.Reason();
  const std::string saved = SSaveProduct(**product, false).str();
  EXPECT_GT(saved.size(), 8 * k_MaxProductDocument);
  const size_t atMost = Deep().size() * (k_MaxProductFile / k_MaxProductDocument) + 1;
  EXPECT_GT(saved.size(), atMost / 2) << "the limit is not far from what there can be";
  EXPECT_LE(saved.size(), atMost);
  const auto again = ParseProduct(saved);
  ASSERT_TRUE(again) << again.Reason();
  EXPECT_TRUE((*again)->Document() == Deep());
}

TEST(ParseProduct, LimitsTheDepth) {
  const auto nested = [](size_t lists) {
    return Document(",\"x\":" + std::string(lists, '[') + std::string(lists, ']'));
  };
  EXPECT_EQ(ProblemOf(nested(63)), "");
  EXPECT_THAT(ProblemOf(nested(64)), HasSubstr("it is more than 64 levels deep"));
  EXPECT_THAT(ProblemOf(nested(100'000)), HasSubstr("it is more than 64 levels deep"));
}

TEST(ParseProduct, TakesTensOfThousandsOfMembersAndStillSeesAKeyTwice) {
  std::string members;
  for (int i = 0; i < 60'000; ++i)
    members += ",\"k" + std::to_string(i) + "\":1";
  EXPECT_EQ(ProblemOf(Document(members)), "");
  EXPECT_THAT(ProblemOf(Document(members + ",\"k0\":1")),
              HasSubstr("the key \"k0\" stands twice in one object"));
}

TEST(ParametersOf, TellsWhetherADefaultFitsItsType) {
  const auto fits = [](const std::string& parameter) {
    const auto product = ParseProduct(Document(",\"parameters\":[{\"name\":\"p\"" + parameter + "}]"));
    return ParametersOf(**product).at(0).m_DefaultFits;
  };
  for (const char* good : {"", R"(,"type":"integer")", R"(,"default":[{}])",
                           R"(,"type":"integer","default":-5)", R"(,"type":"integer","default":5.0)",
                           R"(,"type":"number","default":5)", R"(,"type":"number","default":1e-3)",
                           R"(,"type":"boolean","default":false)", R"(,"type":"string","default":"")",
                           R"(,"type":"path","default":"/x")", R"(,"type":"integer","default":null)"})
    EXPECT_TRUE(fits(good)) << good;
  for (const char* bad : {R"(,"type":"integer","default":"5")", R"(,"type":"integer","default":5.5)",
                          R"(,"type":"number","default":true)", R"(,"type":"boolean","default":"true")",
                          R"(,"type":"string","default":5)", R"(,"type":"path","default":["/x"])"})
    EXPECT_FALSE(fits(bad)) << bad;
}

TEST(ParseCheckedProduct, FailsForWhatWasDamagedSince) {
  EXPECT_TRUE(ParseCheckedProduct(Document("")));
  for (const char* document :
       {"", "{}", "[]", "1", "\"id\"", R"({"id":"x","name":"n"})", R"({"id":5,"name":"n"})",
        R"({"name":"n"})", R"({"id":"00000000-0000-0000-0000-0000000000ab"})",
        R"({"id":"00000000-0000-0000-0000-0000000000ab","name":1})",
        R"({"id":"00000000-0000-0000-0000-0000000000ab","name":"n","aliases":[1]})"})
    EXPECT_FALSE(ParseCheckedProduct(document)) << document;
}

} // namespace
