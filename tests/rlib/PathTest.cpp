#include "rlib/Path.h"

#include <gtest/gtest.h>

using rlib::Path;

namespace {

TEST(Path, ExtensionIsThatOfTheLastComponent) {
  const struct {
    const char* m_Path;
    const char* m_Extension;
  } rows[] = {{"a.json", "json"}, {"/x/a.tar.gz", "gz"},
              {"", ""},           {"a", ""},
              {".bashrc", ""},    {".bashrc.bak", "bak"},
              {"dir.d/file", ""}, {"a.", ""},
              {"dir.d/.x", ""},   {"a b.c d", "c d"},
              {"..", ""},         {".", ""},
              {"dir.d/", ""},     {"..a", ""},
              {"a..b", "b"}};
  for (const auto& row : rows) {
    EXPECT_EQ(Path(row.m_Path).Extension(false), row.m_Extension) << row.m_Path;
    const std::string dotted = *row.m_Extension ? std::string(".") + row.m_Extension : "";
    EXPECT_EQ(Path(row.m_Path).Extension(true), dotted) << row.m_Path;
  }
}

TEST(Path, KeepsItsTextAsTyped) {
  EXPECT_EQ(Path("P:\\proj//x/../").str(), "P:\\proj//x/../");
  EXPECT_NE(Path("/a/"), Path("/a"));
}

TEST(Path, Joins) {
  EXPECT_EQ(Path("a") / "b", Path("a/b"));
  EXPECT_EQ(Path("a/") / "b", Path("a/b"));
  EXPECT_EQ(Path("") / "b", Path("b"));
  EXPECT_EQ(Path("a") / "/b", Path("/b"));
  EXPECT_EQ(Path("/") / "b", Path("/b"));
}

TEST(Path, KnowsItsParent) {
  EXPECT_EQ(Path("/a/b").Parent(), Path("/a"));
  EXPECT_EQ(Path("/a").Parent(), Path("/"));
  EXPECT_EQ(Path("a").Parent(), Path(""));
}

} // namespace
