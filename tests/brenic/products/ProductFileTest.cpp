#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "TempFolder.h"
#include "brenic/Product.h"
#include "rlib/Log.h"

using namespace brenic;
using testing::ElementsAre;
using testing::StartsWith;

namespace {

constexpr const char* k_Document = R"({"id":"00000000-0000-0000-0000-000000000007","name":"Seven","n":1.10})";

class ProductFileTest : public testing::Test {
protected:
  ProductFileTest() {
    rlib::Log::SetObserver(
        [this](int level, const String& text) { m_Log.push_back(std::to_string(level) + " " + text.str()); });
  }
  ~ProductFileTest() override { rlib::Log::SetObserver({}); }

  /// No product, and one error line that names the file and goes on with `problem`.
  void ExpectProblem(const std::string& file, const std::string& problem) {
    m_Log.clear();
    EXPECT_FALSE(SLoadProductFile(file));
    EXPECT_THAT(m_Log, ElementsAre(StartsWith("1 Product file '" + file + "': " + problem)));
  }
  void ExpectProblemOfText(const std::string& text, const std::string& problem) {
    WriteTextFile(m_File, text);
    ExpectProblem(m_File, problem);
  }

  const TempFolder m_Folder;
  const std::string m_File = m_Folder / "product.json";
  std::vector<std::string> m_Log;
};

TEST_F(ProductFileTest, IsReadWithoutAWord) {
  WriteTextFile(m_File, k_Document);
  const auto product = SLoadProductFile(m_File);
  ASSERT_TRUE(product);
  EXPECT_EQ(product->Name(), "Seven");
  EXPECT_EQ(product->Document(), k_Document);
  EXPECT_THAT(m_Log, testing::IsEmpty());
}

TEST_F(ProductFileTest, MayBeALink) {
  WriteTextFile(m_File, k_Document);
  ASSERT_EQ(symlink("product.json", (m_Folder / "link.json").c_str()), 0);
  EXPECT_TRUE(SLoadProductFile(m_Folder / "link.json"));
}

TEST_F(ProductFileTest, OfASampleIsSavedUnchanged) {
  size_t files = 0;
  for (const auto& sample : std::filesystem::directory_iterator(SAMPLE_PRODUCTS)) {
    const auto product = SLoadProductFile(sample.path().string());
    ASSERT_TRUE(product) << sample.path();
    EXPECT_EQ(SSaveProduct(*product, false), ReadTextFile(sample.path())) << sample.path();
    ++files;
  }
  EXPECT_GE(files, 5u);
}

TEST_F(ProductFileTest, ThatWasSavedIsSavedAgainByteForByte) {
  WriteTextFile(m_File, R"({"z":[],"unknown":{"b":1,"a":[1.10,-0,1E5,"\u00e4\/"]},"name":"Seven",)"
                        R"("id":"00000000-0000-0000-0000-00000000000A","aliases":["x"]})");
  const auto first = SLoadProductFile(m_File);
  ASSERT_TRUE(first);
  for (const bool compact : {false, true}) {
    const std::string saved = SSaveProduct(*first, compact).str();
    WriteTextFile(m_File, saved);
    const auto second = SLoadProductFile(m_File);
    ASSERT_TRUE(second);
    EXPECT_EQ(SSaveProduct(*second, compact), saved.c_str());
    EXPECT_EQ(second->Type(), first->Type());
    EXPECT_EQ(second->Name(), first->Name());
    EXPECT_EQ(second->Aliases(), first->Aliases());
  }
}

TEST_F(ProductFileTest, ThatIsMissingIsLogged) {
  ExpectProblem(m_Folder / "missing.json", "No such file or directory");
  ExpectProblem("", "No such file or directory");
}

TEST_F(ProductFileTest, ThatIsAFolderIsLogged) {
  ExpectProblem(m_Folder.Name(), "it is not a regular file");
}

TEST_F(ProductFileTest, ThatIsAPipeOrADeviceIsNotWaitedFor) {
  ASSERT_EQ(mkfifo(m_File.c_str(), 0600), 0);
  ExpectProblem(m_File, "it is not a regular file");
  ExpectProblem("/dev/zero", "it is not a regular file");
}

TEST_F(ProductFileTest, ThatIsASocketIsLogged) {
  const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  ASSERT_LT(m_File.size(), sizeof(address.sun_path));
  m_File.copy(address.sun_path, m_File.size());
  ASSERT_EQ(bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
  ExpectProblem(m_File, "");
  close(fd);
}

TEST_F(ProductFileTest, ThatIsTooLongIsLogged) {
  ExpectProblemOfText(std::string(2 * 1024 * 1024, ' '), "it is longer than 1048576 bytes");
}

TEST_F(ProductFileTest, ThatIsNoProductIsLoggedWithItsPlace) {
  ExpectProblemOfText("", "it is no JSON: ");
  ExpectProblemOfText("{\"id\":", "it is no JSON: ");
  ExpectProblemOfText(std::string(k_Document) + "x", "it is no JSON: ");
  ExpectProblemOfText(std::string(k_Document) + '\0', "it is no JSON: ");
  ExpectProblemOfText("[]", "the document: ");
  ExpectProblemOfText("{}", "the document: ");
  ExpectProblemOfText(R"({"id":"7","name":"Seven"})", "id: ");
  ExpectProblemOfText(R"({"id":"00000000-0000-0000-0000-000000000007","name":"a","name":"b"})",
                      "the key \"name\" stands twice in one object");
  ExpectProblemOfText(R"({"id":"00000000-0000-0000-0000-000000000007","name":"a","parameters":[{"name":1}]})",
                      "parameters[0].name: ");
  ExpectProblemOfText(std::string(100'000, '['), "it is more than 64 levels deep");
}

} // namespace
