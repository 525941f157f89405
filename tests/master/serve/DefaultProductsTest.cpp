#include "serve/DefaultProducts.h"

#include <filesystem>

#include <gmock/gmock.h>
#include <unistd.h>

#include "TempFolder.h"
#include "farm/Samples.h"
#include "rlib/Log.h"

namespace brenic::master {
namespace {

TEST(DefaultProducts, LeaveOutWhatCannotBeTaken) {
  const TempFolder folder;
  WriteTextFile(folder / "a.json", MakeProduct(1, "Alpha")->Document());
  WriteTextFile(folder / "b.json", MakeProduct(2, "ALPHA")->Document());
  WriteTextFile(folder / "c.json", "{");
  WriteTextFile(folder / "d.txt", MakeProduct(3, "Gamma")->Document());
  const ProductMap products = LoadDefaultProducts(*DefaultProductFiles(folder.Name()));
  ASSERT_EQ(products.size(), 1u);
  EXPECT_EQ(products.begin()->second->Name(), "Alpha");
}

TEST(DefaultProducts, AreReadPastASymbolicLinkThatLeadsNowhere) {
  const TempFolder folder;
  ASSERT_EQ(symlink("nowhere", (folder / "a.json").c_str()), 0);
  WriteTextFile(folder / "b.json", MakeProduct(1, "Alpha")->Document());
  EXPECT_EQ(LoadDefaultProducts(*DefaultProductFiles(folder.Name())).size(), 1u);
}

TEST(DefaultProducts, AreTakenFromTheEarlierOnesWhereTheFileIsTheSame) {
  const TempFolder folder;
  const auto alpha = MakeProduct(1, "Alpha");
  WriteTextFile(folder / "a.json", alpha->Document());
  WriteTextFile(folder / "b.json", MakeProduct(2, "Beta")->Document());
  const ProductMap products = LoadDefaultProducts(*DefaultProductFiles(folder.Name()), {{Type(1), alpha}});
  ASSERT_EQ(products.size(), 2u);
  EXPECT_EQ(products.at(Type(1)), alpha);
}

TEST(DefaultProducts, MayHaveTrapsOfWhichTheLogWarnsOnce) {
  const TempFolder folder;
  WriteTextFile(folder / "a.json", MakeProduct(1, "Limit")->Document());
  std::vector<std::string> log;
  rlib::Log::SetObserver([&](int, const String& text) { log.push_back(text.str()); });
  const ProductMap products = LoadDefaultProducts(*DefaultProductFiles(folder.Name()));
  LoadDefaultProducts(*DefaultProductFiles(folder.Name()), products);
  rlib::Log::SetObserver({});
  EXPECT_EQ(products.size(), 1u);
  EXPECT_THAT(log,
              testing::ElementsAre("The product of '" + (folder / "a.json") +
                                   "' is taken, but could not be imported: The name 'Limit' is that of a "
                                   "section of option files; choose another one"));
}

TEST(DefaultProducts, OfAFolderThatCannotBeReadAreNotTakenForNone) {
  const TempFolder folder;
  const auto files = DefaultProductFiles(folder / "gone");
  ASSERT_FALSE(files);
  EXPECT_EQ(files.Reason(),
            "Cannot read the folder of products '" + (folder / "gone") + "': No such file or directory");
}

TEST(SampleProducts, AreAllTaken) {
  size_t files = 0;
  for ([[maybe_unused]] const auto& file : std::filesystem::directory_iterator(SAMPLE_PRODUCTS))
    ++files;
  EXPECT_GE(files, 5u);
  EXPECT_EQ(LoadDefaultProducts(*DefaultProductFiles(SAMPLE_PRODUCTS)).size(), files);
}

} // namespace
} // namespace brenic::master
