#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <thread>

#include <gmock/gmock.h>

#include "TempFolder.h"
#include "brenic/Product.h"
#include "products/ProductFile.h"
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
    const auto line = "Product file '" + file + "': " + problem;
    EXPECT_THAT(m_Log, ElementsAre(StartsWith("1 " + line)));
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
  ExpectProblem(m_Folder.Name(), "it is neither a regular file nor a pipe");
}

TEST_F(ProductFileTest, ThatIsADeviceIsNotRead) {
  ExpectProblem("/dev/zero", "it is neither a regular file nor a pipe");
}

TEST_F(ProductFileTest, MayBeAPipe) {
  ASSERT_EQ(mkfifo(m_File.c_str(), 0600), 0);
  std::thread writer([this] { WriteTextFile(m_File, k_Document); }); // opens it once it is being read
  const auto product = SLoadProductFile(m_File);
  writer.join();
  ASSERT_TRUE(product);
  EXPECT_EQ(product->Document(), k_Document);
}

TEST_F(ProductFileTest, MayBeAPipeWithoutAName) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const std::string document = k_Document;
  ASSERT_EQ(write(ends[1], document.data(), document.size()), static_cast<ssize_t>(document.size()));
  close(ends[1]);
  EXPECT_TRUE(SLoadProductFile("/dev/fd/" + std::to_string(ends[0])));
  close(ends[0]);
}

TEST_F(ProductFileTest, ThatIsASilentPipeIsGivenUp) {
  ASSERT_EQ(mkfifo(m_File.c_str(), 0600), 0);
  const auto silent = [this] { return ReadProductFile(m_File, std::chrono::milliseconds(20)).Reason(); };
  EXPECT_EQ(silent(), "nothing came out of the pipe for 0.02 s") << "nobody writes";
  const int fd = open(m_File.c_str(), O_RDWR);
  ASSERT_EQ(write(fd, "{", 1), 1);
  EXPECT_EQ(silent(), "nothing came out of the pipe for 0.02 s") << "somebody wrote, and does not end";
  close(fd);
  EXPECT_EQ(ReadProductFile(m_File).Reason(), "it is not a regular file") << "no pipe is wanted";
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
  ExpectProblemOfText(std::string(2 * 1024 * 1024, '1'), "it is longer than 1048576 bytes");
}

TEST_F(ProductFileTest, ThatIsNoProductIsLoggedWithItsPlace) {
  ExpectProblemOfText("", "line 1, column 1: ");
  ExpectProblemOfText("{\"id\":", "line 1, column 7: ");
  ExpectProblemOfText(std::string(k_Document) + "\nx", "line 2, column 1: ");
  ExpectProblemOfText(std::string(k_Document) + '\0', "line 1, column ");
  ExpectProblemOfText("[]", "line 1, column 1: the definition is a list");
  ExpectProblemOfText("{}", "line 1, column 1: the definition has no \"id\"");
  ExpectProblemOfText(R"({"id":"7","name":"Seven"})",
                      "line 1, column 7: \"id\" is \"7\", where a non-null identifier");
  ExpectProblemOfText(R"({"id":"00000000-0000-0000-0000-000000000007","name":"a","name":"b"})",
                      "line 1, column 57: the key \"name\" stands twice in one object");
  ExpectProblemOfText(std::string(100'000, '['), "line 1, column 65: it is more than 64 levels deep");
}

} // namespace
