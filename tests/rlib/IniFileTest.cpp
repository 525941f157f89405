#include "rlib/IniFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "TempFolder.h"
#include "rlib/Failures.h"
#include "rlib/Log.h"
#include "rlib/Stream.h"

using rlib::IniFile;
using rlib::String;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// Everything that the reader delivers: "[section]" and "name=value".
std::vector<std::string> Contents(IniFile& ini) {
  std::vector<std::string> contents;
  String name;
  String value;
  EXPECT_FALSE(ini.GetNextValue(name, value));
  while (ini.SetNextSection()) {
    contents.push_back("[" + ini.GetCurrentSection().str() + "]");
    while (ini.GetNextValue(name, value))
      contents.push_back(name.str() + "=" + value.str());
  }
  EXPECT_FALSE(ini.SetNextSection());
  EXPECT_FALSE(ini.GetNextValue(name, value));
  return contents;
}

std::vector<std::string> Parsed(std::string_view text, size_t skipped = 0, bool quotes = true) {
  IniFile ini(false);
  ini.LoadText(text, quotes);
  EXPECT_EQ(ini.SkippedLines(), skipped);
  return Contents(ini);
}

TEST(IniFile, DeliversSectionsAndPairsInFileOrder) {
  EXPECT_THAT(Parsed("[B]\nz=1\na=2\n[A]\n[C]\nx=\n"), ElementsAre("[B]", "z=1", "a=2", "[A]", "[C]", "x="));
}

TEST(IniFile, DeliversRepeatedSectionsAndKeysEachTime) {
  EXPECT_THAT(Parsed("[A]\nx=1\nx=2\n[B]\n[A]\nx=3\n"),
              ElementsAre("[A]", "x=1", "x=2", "[B]", "[A]", "x=3"));
}

TEST(IniFile, PairsBeforeTheFirstHeaderAreInASectionWithoutName) {
  EXPECT_THAT(Parsed("x=1\n[A]\ny=2"), ElementsAre("[]", "x=1", "[A]", "y=2"));
}

TEST(IniFile, DropsSpaceAroundNamesAndValues) {
  EXPECT_THAT(Parsed(" \t[ My Section ]  \n  a b \t=  c d \t \n"), ElementsAre("[My Section]", "a b=c d"));
}

TEST(IniFile, CommentsStandOnTheirOwnLines) {
  EXPECT_THAT(Parsed("; one\n  # two\n[A]\nx = 1 ; not a comment # either\n\n \t\n"),
              ElementsAre("[A]", "x=1 ; not a comment # either"));
}

TEST(IniFile, QuotesKeepWhatTheyHold) {
  EXPECT_THAT(Parsed("[A]\n\" a=b \" = \" c \"\n"), ElementsAre("[A]", " a=b = c "));
  EXPECT_THAT(Parsed(R"("say \"hi\"" = "back\\slash \n \")"
                     "\"\n"),
              ElementsAre("[]", "say \"hi\"=back\\slash \\n \""));
  EXPECT_THAT(Parsed("\";x\"=\"\"\n"), ElementsAre("[]", ";x="));
}

TEST(IniFile, QuotesThatDoNotEncloseTheValueAreText) {
  EXPECT_THAT(Parsed("a=\"x\" y\nb=\"open\nc=x \"y\"\nd=\"\nf=\"a\"b\"\n"),
              ElementsAre("[]", "a=\"x\" y", "b=\"open", "c=x \"y\"", "d=\"", "f=\"a\"b\""));
  EXPECT_THAT(Parsed("a=\"x\"\n", 0, false), ElementsAre("[]", "a=\"x\""));
}

TEST(IniFile, ValueMayHoldEqualSigns) {
  EXPECT_THAT(Parsed("a=b=c\n"), ElementsAre("[]", "a=b=c"));
}

TEST(IniFile, AcceptsByteOrderMarkAndCrLf) {
  EXPECT_THAT(Parsed("\xef\xbb\xbf[A]\r\nx=1\r\n\r\ny=2"), ElementsAre("[A]", "x=1", "y=2"));
}

TEST(IniFile, SkipsLinesThatAreNothing) {
  EXPECT_THAT(Parsed("[A]\njunk\n=1\n[open\n[]\n[ ]\n\"\"=2\n\"a\" b=3\n[B] tail\nx=1\n", 8),
              ElementsAre("[A]", "[]", "[]", "[]", "[]", "x=1")); // what follows a bad header is not of [A]
}

TEST(IniFile, EmptyTextHasNoSections) {
  EXPECT_THAT(Parsed(""), IsEmpty());
  EXPECT_THAT(Parsed("\xef\xbb\xbf"), IsEmpty());
  EXPECT_THAT(Parsed("\n\n"), IsEmpty());
}

TEST(IniFile, LinesMayHaveOneMebibyteAndNotMore) {
  const std::string fits = "x=" + std::string(IniFile::k_MaxLine - 2, 'v');
  EXPECT_THAT(Parsed(fits), ElementsAre("[]", fits));
  EXPECT_THAT(Parsed(fits + "\r\ny=1"), ElementsAre("[]", fits, "y=1"));
  EXPECT_THAT(Parsed(fits + "v\ny=1\n", 1), ElementsAre("[]", "y=1"));
  EXPECT_THAT(Parsed(fits + "vv\r\n[A]", 1), ElementsAre("[A]"));
  EXPECT_THAT(Parsed("y=1\n" + std::string(5 << 20, 'x'), 1), ElementsAre("[]", "y=1"));
}

TEST(IniFile, SectionsCanBePassedOverHalfRead) {
  IniFile ini(false);
  ini.LoadText("[A]\na=1\nb=2\n[B]\nc=3\n");
  String name;
  String value;
  ASSERT_TRUE(ini.SetNextSection());
  ASSERT_TRUE(ini.GetNextValue(name, value));
  ASSERT_TRUE(ini.SetNextSection());
  EXPECT_EQ(ini.GetCurrentSection(), "B");
  ASSERT_TRUE(ini.GetNextValue(name, value));
  EXPECT_EQ(name, "c");
  EXPECT_EQ(value, "3");
}

TEST(IniFile, LoadsAMillionPairs) {
  std::string text = "[A]\n";
  for (int i = 0; i < 1'000'000; ++i)
    text += "name" + std::to_string(i) + "=value\n";
  IniFile ini(false);
  ini.LoadText(text);
  ASSERT_TRUE(ini.SetNextSection());
  String name;
  String value;
  int count = 0;
  while (ini.GetNextValue(name, value))
    ++count;
  EXPECT_EQ(count, 1'000'000);
  EXPECT_EQ(name, "name999999");
}

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
  EXPECT_FALSE(rlib::AnyFailureNoted());
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
  if (geteuid() == 0)
    GTEST_SKIP() << "root reads everything";
  WriteTextFile(m_Folder / "a.ini", "");
  chmod((m_Folder / "a.ini").c_str(), 0);
  ExpectInputError(m_Folder / "a.ini", "Permission denied");
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

} // namespace
