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
  EXPECT_THAT(ProblemOf("["), HasSubstr("is expected"));
  EXPECT_THAT(ProblemOf("[]"), HasSubstr("an object in { } is expected"));
  EXPECT_THAT(ProblemOf(Document("") + "x"), HasSubstr("is expected"));
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
  EXPECT_THAT(ProblemOf("{}"), HasSubstr("has no \"id\""));
  EXPECT_THAT(ProblemOf(R"({"id":"x","name":"n"})"), HasSubstr("\"id\" is "));
  EXPECT_THAT(ProblemOf(R"({"id":"00000000-0000-0000-0000-000000000000","name":"n"})"),
              HasSubstr("\"id\" is "));
  EXPECT_THAT(ProblemOf(Document(R"(,"aliases":[1])")), HasSubstr("entry 1 of \"aliases\""));
  EXPECT_THAT(ProblemOf(Document(R"(,"aliases":["N"])")), HasSubstr("its name or an alias already"));
  EXPECT_THAT(ProblemOf(Document(R"(,"aliases":[""])")), HasSubstr("entry 1 of \"aliases\""));
}

TEST(DocumentFromAClient, MayBeLongByItsLayoutWhichIsNotKept) {
  const auto compact = MakeProduct(1, "Alpha", {"a"});
  const auto kept = CheckDocument(Product(compact->Type(), compact->Name(), compact->Aliases(),
                                          std::string(k_MaxProductDocument, ' ') + compact->Document()));
  ASSERT_TRUE(kept) << kept.Reason();
  EXPECT_EQ((*kept)->Document(), compact->Document());
}

shared_ptr<const Product> Named(const std::string& name, const std::string& more = "") {
  return *ParseProduct(fmt::format(R"({{"id":"{}","name":"{}"{}}})", Type(1).ToString().str(), name, more));
}

std::string TrapIn(const shared_ptr<const Product>& product,
                   const shared_ptr<const Product>& held = nullptr) {
  const auto checked = CheckTraps(*product, held.get());
  return checked ? "" : checked.Reason().str();
}

TEST(Trap, MayBeAName) {
  const std::vector<std::pair<std::string, std::string>> cases{
      {"7d0c6a14-52e3-4c0b-9f6e-1b1f0f3a5c03",
       "The name '7d0c6a14-52e3-4c0b-9f6e-1b1f0f3a5c03' is an identifier; choose another one"},
      {"-Info", "The name '-Info' begins with -, as a switch does; choose another one"},
      {" ", "The name ' ' is blank; choose another one"},
      {"\xe3\x80\x80", "The name '\xe3\x80\x80' is blank; choose another one"},
      {" Tool", "The name ' Tool' begins or ends with a space; choose another one"},
      {"Tool ", "The name 'Tool ' begins or ends with a space; choose another one"},
      {"To\xe2\x80\x8bol",
       "The name 'To\\u{200b}ol' holds the invisible character U+200B; choose another one"},
      {"Tool\xe2\x80\xae",
       "The name 'Tool\\u{202e}' holds the invisible character U+202E; choose another one"},
      {"To\xc2\xa0ol", "The name 'To\\u{a0}ol' holds the invisible character U+00A0; choose another one"},
      {"dISTRIBUTION", "The name 'dISTRIBUTION' is that of a section of option files; choose another one"},
      {"limit", "The name 'limit' is that of a section of option files; choose another one"},
      {"Restrictions", "The name 'Restrictions' is that of a section of option files; choose another one"}};
  for (const auto& [name, reason] : cases) {
    EXPECT_EQ(TrapIn(Named(name)), reason);
    EXPECT_THAT(TrapIn(Named("Tool 1", fmt::format(R"(,"aliases":["a","{}"])", name))),
                testing::StartsWith("The alias '"));
  }
  for (const char* name : {"a", "My Tool", "Limits", "50%-off", "Größe 夜", "{1}"})
    EXPECT_EQ(TrapIn(Named(name)), "") << name;
}

TEST(Trap, OfANameMayStayWhereItIs) {
  const auto held = Named("Limit", R"(,"aliases":["-x"])");
  EXPECT_EQ(TrapIn(Named("Limit", R"(,"aliases":["-x","new"],"version":"2")"), held), "");
  EXPECT_EQ(TrapIn(Named("-x"), held), "") << "a name may become an alias and the other way round";
  EXPECT_THAT(TrapIn(Named("LIMIT"), held), HasSubstr("'LIMIT'"));
  EXPECT_THAT(TrapIn(Named("Limit", R"(,"aliases":["-y"])"), held), HasSubstr("'-y'"));
}

TEST(Trap, MayBeTwoParameters) {
  const auto with = [](const std::string& one, const std::string& other) {
    return Named("n", fmt::format(R"(,"parameters":[{{"name":"{}"}},{{"name":"{}"}}])", one, other));
  };
  EXPECT_EQ(TrapIn(with("Samples", "Sample")), "");
  EXPECT_EQ(TrapIn(with("Samples", "samples")),
            "The parameters 'Samples' and 'samples' differ at most in case; rename one of them");
  EXPECT_NE(TrapIn(with("Samples", "Samples")), "");
  EXPECT_EQ(TrapIn(with("samples", "Samples"), with("Samples", "samples")), "");
  EXPECT_NE(TrapIn(with("Samples", "Samples"), with("Samples", "samples")), "");
  EXPECT_NE(TrapIn(with("Samples", "samples"), with("Samples", "other")), "");
}

TEST(Trap, MayBeADefault) {
  const auto with = [](const std::string& fallback) {
    return Named("n", R"(,"parameters":[{"name":"Samples","type":"integer","default":)" + fallback + "}]");
  };
  EXPECT_EQ(TrapIn(with("5")), "");
  EXPECT_EQ(TrapIn(with("\"5\"")),
            "The default \"5\" of the parameter 'Samples' is not of its type, integer");
  EXPECT_EQ(TrapIn(with("\"5\""), with("\"5\"")), "");
  EXPECT_NE(TrapIn(with("\"6\""), with("\"5\"")), "");
}

TEST(Trap, MayBeARuleOfAParameter) {
  const auto with = [](const std::string& members) {
    return Named("n", R"(,"parameters":[{"name":"Samples")" + members + "}]");
  };
  EXPECT_EQ(TrapIn(with(R"(,"required":true,"minimum":1,"default":5)")), "");
  EXPECT_EQ(TrapIn(with(R"(,"required":"yes")")),
            "The parameter 'Samples' makes no sense: required is \"yes\", where true or false is expected");
  const auto below = with(R"(,"minimum":9,"default":5)");
  EXPECT_EQ(TrapIn(below), "The parameter 'Samples' makes no sense: the default 5 is below its minimum, 9");
  EXPECT_EQ(TrapIn(below, below), "") << "held from before it was a rule";
  EXPECT_EQ(TrapIn(with(R"(,"minimum":9,"default":5,"label":"L","description":"new")"), below), "");
  EXPECT_NE(TrapIn(with(R"(,"minimum":9,"default":6)"), below), "");
  EXPECT_NE(TrapIn(with(R"(,"minimum":8,"default":5)"), below), "");
}

TEST(Trap, IsToldOfEachWithItsPlace) {
  const auto traps = FindTraps(
      *Named("-x",
             R"(,"aliases":["a","-y"],"parameters":[{"name":"p"},{"name":"P","minimum":"1","default":2}])"),
      nullptr);
  std::vector<JsonPath> paths;
  for (const ProductTrap& trap : traps)
    paths.push_back(trap.m_Path);
  EXPECT_EQ(paths,
            (std::vector<JsonPath>{
                {"name"}, {"aliases", "1"}, {"parameters", "1", "name"}, {"parameters", "1", "minimum"}}));
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
