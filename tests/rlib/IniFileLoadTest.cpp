// IniFile and the files that it reads.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "AsOrdinaryUser.h"
#include "TempFolder.h"
#include "rlib/Failures.h"
#include "rlib/IniContents.h"
#include "rlib/IniFile.h"
#include "rlib/Log.h"
#include "rlib/Stream.h"

using rlib::IniFile;
using rlib::String;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class IniFileLoadTest : public testing::Test {
protected:
  void SetUp() override {
    rlib::ResetNotedFailures();
    rlib::stdErr.Capture(&m_Shown);
    rlib::Log::SetObserver([this](int level, const String& text) {
      m_Logged.push_back(std::to_string(level) + " " + text.str());
    });
  }
  void TearDown() override {
    rlib::stdErr.Capture(nullptr);
    rlib::Log::SetObserver({});
    rlib::ResetNotedFailures();
  }

  bool Load(const std::string& path, bool optional = false, bool report = true) {
    IniFile ini(optional);
    ini.SetFileName(path);
    const bool loaded = ini.Load(true, report);
    m_Contents = Contents(ini);
    return loaded;
  }
  void ExpectInputError(const std::string& path, const std::string& reason) {
    m_Shown.clear();
    m_Logged.clear();
    EXPECT_FALSE(Load(path));
    const std::string line = "Cannot read options file '" + path + "': " + reason;
    EXPECT_EQ(m_Shown, line + "\n");
    EXPECT_THAT(m_Logged, ElementsAre("1 " + line));
    EXPECT_THAT(m_Contents, IsEmpty());
    EXPECT_TRUE(rlib::AnyFailureNoted());
  }

  TempFolder m_Folder;
  std::string m_Shown;
  std::vector<std::string> m_Logged;
  std::vector<std::string> m_Contents;
};

TEST_F(IniFileLoadTest, ReadsAFile) {
  WriteTextFile(m_Folder / "a.ini", "[A]\nx=1\n");
  EXPECT_TRUE(Load(m_Folder / "a.ini"));
  EXPECT_THAT(m_Contents, ElementsAre("[A]", "x=1"));
  EXPECT_EQ(m_Shown, "");
  EXPECT_FALSE(rlib::AnyFailureNoted());
}

TEST_F(IniFileLoadTest, SkippedLinesAreLoggedEachAndShownAsOneLine) {
  const std::string path = m_Folder / "a%d.ini";
  WriteTextFile(path, "[A]\njunk\nx=1\n=2\n");
  EXPECT_TRUE(Load(path));
  EXPECT_THAT(m_Contents, ElementsAre("[A]", "x=1"));
  EXPECT_THAT(m_Logged, ElementsAre("2 Options file '" + path +
                                        "', line 2 skipped: it is neither section, pair nor comment",
                                    "2 Options file '" + path + "', line 4 skipped: the name is empty"));
  EXPECT_EQ(m_Shown,
            "Options file '" + path + "': skipped 2 lines that could not be understood, see the log\n");
  EXPECT_TRUE(rlib::AnyFailureNoted());
}

TEST_F(IniFileLoadTest, OfManySkippedLinesTheFirstTwentyAreLogged) {
  const std::string path = m_Folder / "a.ini";
  std::string text = "[A]\n";
  for (int i = 0; i < 1000; ++i)
    text += "junk\n";
  WriteTextFile(path, text + "x=1\n");
  EXPECT_TRUE(Load(path));
  EXPECT_THAT(m_Contents, ElementsAre("[A]", "x=1"));
  ASSERT_EQ(m_Logged.size(), 20u);
  EXPECT_THAT(m_Logged.back(), testing::HasSubstr("line 21 skipped"));
  EXPECT_EQ(m_Shown,
            "Options file '" + path + "': skipped 1000 lines that could not be understood, see the log\n");
}

TEST_F(IniFileLoadTest, AFileOfUtf16IsAnInputError) {
  const std::string path = m_Folder / "a.ini";
  for (const char* mark : {"\xff\xfe", "\xfe\xff"}) {
    WriteTextFile(path, mark + std::string("[\0A\0]\0\n\0", 8));
    ExpectInputError(path, "it begins with a UTF-16 mark; save it as UTF-8");
  }
}

TEST_F(IniFileLoadTest, AFileWithANulByteIsAnInputErrorAndItsLineIsTold) {
  const std::string path = m_Folder / "a.ini";
  WriteTextFile(path, "[A]\njunk\nx=1\ny=" + std::string(1, '\0') + "\n");
  ExpectInputError(path, "line 4 holds a NUL byte, which no text does");
}

TEST_F(IniFileLoadTest, AFileThatIsChangedWhileItIsReadIsAnInputError) {
  const std::string path = m_Folder / "a.ini";
  std::string text = "[A]\n";
  for (int i = 0; i < 50'000; ++i)
    text += "x=1\n";
  WriteTextFile(path, text);
  IniFile ini;
  ini.SetFileName(path);
  ASSERT_TRUE(ini.Load(true, true));
  ASSERT_EQ(truncate(path.c_str(), 100'000), 0);
  Contents(ini);
  EXPECT_EQ(m_Shown, "Cannot read options file '" + path + "': it was changed while it was read\n");
  EXPECT_TRUE(rlib::AnyFailureNoted());
}

TEST_F(IniFileLoadTest, NameWithControlCharactersIsShownOnOneLine) {
  EXPECT_FALSE(Load(m_Folder / "no\nne"));
  WriteTextFile(m_Folder / "a\nb", "junk\n");
  EXPECT_TRUE(Load(m_Folder / "a\nb"));
  EXPECT_EQ(m_Shown, "Cannot read options file '" + (m_Folder / "no\\nne") +
                         "': No such file or directory\n" + "Options file '" + (m_Folder / "a\\nb") +
                         "': skipped 1 line that could not be understood, see the log\n");
}

TEST_F(IniFileLoadTest, MissingFileIsAnInputError) {
  ExpectInputError(m_Folder / "none.ini", "No such file or directory");
}

TEST_F(IniFileLoadTest, FolderIsAnInputError) {
  ExpectInputError(m_Folder.Name(), "it is a folder");
}

TEST_F(IniFileLoadTest, EmptyNameIsAnInputError) {
  ExpectInputError("", "no file name was given");
}

TEST_F(IniFileLoadTest, FifoIsAnInputErrorAndDoesNotBlock) {
  ASSERT_EQ(mkfifo((m_Folder / "fifo").c_str(), 0600), 0);
  ExpectInputError(m_Folder / "fifo", "it is not a regular file");
}

TEST_F(IniFileLoadTest, DeviceIsAnInputError) {
  ExpectInputError("/dev/zero", "it is not a regular file");
}

TEST_F(IniFileLoadTest, UnreadableFileIsAnInputError) {
  WriteTextFile(m_Folder / "a.ini", "");
  chmod((m_Folder / "a.ini").c_str(), 0);
  AsOrdinaryUser(m_Folder, [&] { ExpectInputError(m_Folder / "a.ini", "Permission denied"); });
}

TEST_F(IniFileLoadTest, OptionalFileMayBeMissing) {
  EXPECT_TRUE(Load(m_Folder / "none.ini", true));
  EXPECT_FALSE(Load(m_Folder.Name(), true, false));
  EXPECT_EQ(m_Shown, "");
  EXPECT_THAT(m_Logged, IsEmpty());
}

TEST_F(IniFileLoadTest, LoadingAgainStartsAnew) {
  WriteTextFile(m_Folder / "a.ini", "[A]\nx=1\n");
  WriteTextFile(m_Folder / "b.ini", "[B]\ny=2\n");
  IniFile ini(false);
  ini.SetFileName(m_Folder / "a.ini");
  EXPECT_TRUE(ini.Load(true, true));
  EXPECT_TRUE(ini.SetNextSection());
  ini.SetFileName(m_Folder / "b.ini");
  EXPECT_TRUE(ini.Load(true, true));
  EXPECT_EQ(ini.GetCurrentSection(), "");
  EXPECT_THAT(Contents(ini), ElementsAre("[B]", "y=2"));
}

TEST(File, ExistsFollowsLinks) {
  const TempFolder folder;
  EXPECT_FALSE(rlib::File::Exists(folder / "a"));
  WriteTextFile(folder / "a", "");
  EXPECT_TRUE(rlib::File::Exists(folder / "a"));
  ASSERT_EQ(symlink("nowhere", (folder / "link").c_str()), 0);
  EXPECT_FALSE(rlib::File::Exists(folder / "link"));
}

TEST_F(IniFileLoadTest, TellsTheLineOfEachSectionAndPair) {
  IniFile ini;
  ASSERT_TRUE(ini.LoadText("\n; comment\na = 1\n\n[S]\njunk\nb = 2\nb = 3\n[T]\n[U]\n\nc = 4\n"));
  EXPECT_EQ(ini.LineNumber(), 0u);
  std::vector<std::string> lines;
  String name, value;
  while (ini.SetNextSection()) {
    lines.push_back("[" + ini.GetCurrentSection().str() + "] " + std::to_string(ini.LineNumber()));
    while (ini.GetNextValue(name, value))
      lines.push_back(name.str() + " " + std::to_string(ini.LineNumber()));
  }
  EXPECT_THAT(lines, ElementsAre("[] 3", "a 3", "[S] 5", "b 7", "b 8", "[T] 9", "[U] 10", "c 12"));
}

TEST_F(IniFileLoadTest, TellsEveryMalformedLineToWhoAsks) {
  std::string text = "[S]\n";
  for (int i = 0; i != 30; ++i)
    text += "junk\n";
  IniFile ini;
  std::vector<std::string> told;
  ini.OnSkipped([&](size_t line, const char* why) { told.push_back(std::to_string(line) + " " + why); });
  ASSERT_TRUE(ini.LoadText(text + "= 1\n"));
  ASSERT_EQ(told.size(), 31u);
  EXPECT_EQ(told.front(), "2 it is neither section, pair nor comment");
  EXPECT_EQ(told.back(), "32 the name is empty");
}

TEST_F(IniFileLoadTest, SaysWhyItFailedAlsoWithoutAReport) {
  IniFile ini;
  ini.SetFileName(m_Folder / "nowhere.ini");
  EXPECT_FALSE(ini.Load(true, false));
  EXPECT_EQ(ini.Problem(), "No such file or directory");
  EXPECT_FALSE(ini.LoadText(std::string_view("a\0b", 3)));
  EXPECT_THAT(ini.Problem().str(), testing::HasSubstr("NUL byte"));
  EXPECT_TRUE(ini.LoadText("[S]\n"));
  EXPECT_EQ(ini.Problem(), "");
  EXPECT_FALSE(rlib::AnyFailureNoted());
}

} // namespace
