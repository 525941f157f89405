#include "manage/ProductFileCheck.h"

#include <gmock/gmock.h>

#include <sys/stat.h>

#include <fstream>

#include "TempFolder.h"

namespace brenic::master {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class ProductFileCheckTest : public testing::Test {
protected:
  Path Write(const std::string& name, const std::string& text) {
    std::ofstream(m_Folder / name) << text;
    return Path(m_Folder / name);
  }
  /// What is said of the files, without their folder.
  std::vector<std::string> Remarks(const std::vector<Path>& files) const {
    std::vector<std::string> texts;
    for (const ProductRemark& remark : CheckProductFiles(files)) {
      std::string text = RemarkText(remark);
      for (size_t at = 0; (at = text.find(m_Folder.Name() + "/")) != std::string::npos;)
        text.erase(at, m_Folder.Name().size() + 1);
      texts.push_back(text);
    }
    return texts;
  }

  const TempFolder m_Folder;
  const std::string m_Start = "{\n\"id\": \"3b5e9c20-7a41-4d0e-8f10-000000000001\",\n\"name\": \"Tool\"";
};

TEST_F(ProductFileCheckTest, SaysNothingOfWhatIsRight) {
  EXPECT_THAT(Remarks({Write("a.json", m_Start + ",\"x\":{\"nmae\":1}}")}), IsEmpty());
}

TEST_F(ProductFileCheckTest, TellsOfSyntaxAndSchemaWithTheirPlace) {
  EXPECT_THAT(
      Remarks({Write("a.json", m_Start + ",\n  \"version\": }"),
               Write("b.json", m_Start + ",\n \"version\": 5}"), Path(m_Folder / "c.json")}),
      ElementsAre("Error: product file 'a.json', line 4, column 14: a text in double quotes, a number, true, "
                  "false, null, [ or { is expected",
                  "Error: product file 'b.json', line 4, column 13: \"version\" is 5, where a text in double "
                  "quotes is expected",
                  "Error: product file 'c.json': No such file or directory"));
}

TEST_F(ProductFileCheckTest, WarnsOfMembersThatLookMisspelt) {
  const auto remarks = CheckProductFiles({Write("a.json", m_Start + ",\n\"alises\": []}")});
  ASSERT_EQ(remarks.size(), 1u);
  EXPECT_FALSE(remarks[0].m_IsError);
  EXPECT_EQ(
      RemarkText(remarks[0]),
      "Warning: product file '" + m_Folder.Name() +
          "/a.json', line 4, column 1: the member \"alises\" is not known and is kept as it is; did you mean "
          "\"aliases\"?");
  EXPECT_EQ(
      RemarkJson(remarks[0]),
      R"({"file":")" + m_Folder.Name() +
          R"(/a.json","severity":"warning","line":4,"column":1,"text":"the member \"alises\" is not known and is )"
          R"(kept as it is; did you mean \"aliases\"?"})");
}

TEST_F(ProductFileCheckTest, TellsOfWhatAMasterRefuses) {
  EXPECT_THAT(
      Remarks({Write("a.json", m_Start + ",\n\"aliases\": [\"limit\"],\n\"parameters\": [{\"name\": \"a\", "
                                         "\"type\": \"integer\", \"default\": \"5\"},\n{\"name\": \"A\", "
                                         "\"choices\": []}]}")}),
      ElementsAre("Error: product file 'a.json', line 4, column 13: The alias 'limit' is that of a section "
                  "of option files; "
                  "choose another one",
                  "Error: product file 'a.json', line 5, column 60: The default \"5\" of the parameter 'a' "
                  "is not of its "
                  "type, integer",
                  "Error: product file 'a.json', line 6, column 10: The parameters 'a' and 'A' differ at "
                  "most in case; rename "
                  "one of them",
                  "Error: product file 'a.json', line 6, column 26: The parameter 'A' makes no sense: "
                  "choices is a list, "
                  "where a list in [ ] with at least one value is expected"));
}

TEST_F(ProductFileCheckTest, TellsACopyWhoseIdentifierWasForgotten) {
  const Path original = Write("a.json", m_Start + ",\"aliases\":[\"t\"]}");
  EXPECT_THAT(
      Remarks({original, Write("b.json", m_Start + "}")}),
      ElementsAre(
          "Error: product file 'b.json', line 2, column 7: the product 'Tool' of 'a.json' has the same "
          "identifier, so that a farm has only one of them; a copy needs an identifier of its own, "
          "which uuidgen makes",
          "Error: product file 'b.json', line 3, column 9: the name 'Tool' belongs to the product "
          "'Tool' of 'a.json' as well"));
  EXPECT_THAT(
      Remarks({original, Write("c.json", R"({"id":"3b5e9c20-7a41-4d0e-8f10-000000000002","name":"T"})")}),
      ElementsAre(HasSubstr("the name 'T' belongs to the product 'Tool'")));
}

TEST_F(ProductFileCheckTest, TellsOnlyTheFirstOfVeryManyThings) {
  std::string parameters;
  for (int i = 0; i != 1000; ++i)
    parameters += std::string(i == 0 ? "" : ",") + "{\"name\":\"p\",\"required\":1}";
  const auto remarks = Remarks({Write("a.json", m_Start + ",\"parameters\":[" + parameters + "]}")});
  ASSERT_EQ(remarks.size(), 51u);
  EXPECT_THAT(remarks.back(), HasSubstr("1949 more remarks"));
}

TEST_F(ProductFileCheckTest, IsCleanWhateverItQuotes) {
  for (const std::string& text :
       Remarks({Path(m_Folder / "\x1b\n"), Write("a.json", m_Start + ",\"versio\\u001b\":1}")}))
    EXPECT_EQ(text.find_first_of("\x1b\n"), std::string::npos) << text;
}

} // namespace
} // namespace brenic::master
