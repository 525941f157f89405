#include <unistd.h>

#include "Memory.h"
#include "scripted/SwitchHandlerTest.h"

using namespace brenic;
using namespace scripted;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

bool s_ExtensionFails = false;

} // namespace

// What the linker puts in the place of Path::Extension (CMakeLists.txt), which never fails by itself.
extern "C" {
String RealExtension(const Path* path, bool withDot) asm("__real__ZNK4rlib4Path9ExtensionEb");
String WrappedExtension(const Path* path, bool withDot) asm("__wrap__ZNK4rlib4Path9ExtensionEb");
}
String WrappedExtension(const Path* path, bool withDot) {
  if (s_ExtensionFails)
    throw new Exception("No extension today");
  return RealExtension(path, withDot);
}

namespace {

constexpr const char* k_NotEnough = "Could not export product: Not enough arguments";

class ExportTest : public SwitchHandlerTest {
protected:
  ExportTest() { Install(1, "Alpha", {"first"}); }
  bool Export(std::vector<const char*> arguments, int index = 0) {
    return Handle(&SetwrightAppAccess::PrepareExport, std::move(arguments), index);
  }
  bool ExportTo(const std::string& file, const char* product = "Alpha") {
    return Export({"-ExportProduct", product, file.c_str()});
  }

  const TempFolder m_Folder;
  const std::string m_File = m_Folder / "alpha.json";
};

TEST_F(ExportTest, WritesTheProductsDefinitionAndNothingElse) {
  EXPECT_TRUE(ExportTo(m_File));
  EXPECT_EQ(ReadTextFile(m_File), "{\n  \"id\": \"00000000-0000-0000-0000-000000000001\",\n"
                                  "  \"name\": \"Alpha\",\n  \"parameters\": []\n}\n");
  EXPECT_EQ(m_Index, 2);
  EXPECT_EQ(m_Folder.Count(), 1u);
  EXPECT_THAT(m_Access.m_ProductMsgs, IsEmpty());
  ExpectSilence();
}

TEST_F(ExportTest, WhatItWroteCanBeImported) {
  EXPECT_TRUE(Parse({"-ExportProduct", "Alpha", m_File.c_str(), "-ImportProduct", m_File.c_str()}));
  ASSERT_EQ(m_Access.m_ProductMsgs.size(), 1u);
  const auto& product = *static_cast<const ProductMsg&>(*m_Access.m_ProductMsgs[0]).m_Product;
  EXPECT_EQ(product.Type(), Type(1));
  EXPECT_EQ(product.Name(), "Alpha");
  EXPECT_EQ(SSaveProduct(product, false), ReadTextFile(m_File).c_str());
  ExpectSilence();
}

TEST_F(ExportTest, ReadsItsValuesBehindItsOwnPosition) {
  const std::string other = m_Folder / "other.json";
  EXPECT_TRUE(Export({"-ExportProduct", "x", "y", "-ExportProduct", "Alpha", other.c_str(), "-Info"}, 3));
  EXPECT_TRUE(std::filesystem::exists(other));
  EXPECT_EQ(m_Index, 5);
}

TEST_F(ExportTest, TheProductMayBeGivenByNameAliasOrIdentifierInAnyCase) {
  for (const char* product : {"aLPHA", "FIRST", "00000000-0000-0000-0000-000000000001"}) {
    std::filesystem::remove(m_File);
    EXPECT_TRUE(ExportTo(m_File, product));
    EXPECT_TRUE(std::filesystem::exists(m_File)) << product;
  }
  ExpectSilence();
}

TEST_F(ExportTest, AFileNameWithoutExtensionGetsOne) {
  EXPECT_TRUE(ExportTo(m_Folder / "alpha"));
  EXPECT_TRUE(std::filesystem::exists(m_File));
  EXPECT_TRUE(ExportTo(m_Folder / ".hidden"));
  EXPECT_TRUE(std::filesystem::exists(m_Folder / ".hidden.json"));
  EXPECT_EQ(m_Folder.Count(), 2u);
}

TEST_F(ExportTest, AnExtensionOfTheFolderIsNotTheFiles) {
  std::filesystem::create_directory(m_Folder / "folder.d");
  EXPECT_TRUE(ExportTo(m_Folder / "folder.d/alpha"));
  EXPECT_TRUE(std::filesystem::exists(m_Folder / "folder.d/alpha.json"));
}

TEST_F(ExportTest, AnyExtensionIsKept) {
  EXPECT_TRUE(ExportTo(m_Folder / "alpha.txt"));
  EXPECT_TRUE(std::filesystem::exists(m_Folder / "alpha.txt"));
  EXPECT_EQ(m_Folder.Count(), 1u);
}

TEST_F(ExportTest, ReplacesTheEarlierContents) {
  WriteTextFile(m_File, std::string(100'000, 'x'));
  EXPECT_TRUE(ExportTo(m_File));
  EXPECT_EQ(ReadTextFile(m_File), SSaveProduct(*JobFactory::s_JobFactory.GetProduct(Type(1)), false).str());
}

TEST_F(ExportTest, EverySwitchExportsItsProductAndNothingIsSent) {
  Install(2, "Beta");
  const std::string second = m_Folder / "beta.json";
  EXPECT_EQ(Run({"-ExportProduct", "Alpha", m_File.c_str(), "-ExportProduct", "Beta", second.c_str()}), 0);
  EXPECT_TRUE(std::filesystem::exists(m_File) && std::filesystem::exists(second));
  EXPECT_THAT(m_Script.m_Sent, IsEmpty());
}

TEST_F(ExportTest, WithoutAFileIsAnErrorThatMovesNothing) {
  EXPECT_TRUE(Export({"-Info", "-ExportProduct", "Alpha"}, 1));
  ExpectProductError(k_NotEnough);
  EXPECT_THAT(m_Recorder.m_Log, ElementsAre(std::string("ERROR ") + k_NotEnough));
  EXPECT_EQ(m_Index, 1);
}

TEST_F(ExportTest, AsTheLastArgumentIsAnErrorThatMovesNothing) {
  EXPECT_TRUE(Export({"-ExportProduct"}));
  ExpectProductError(k_NotEnough);
  EXPECT_EQ(m_Index, 0);
}

TEST_F(ExportTest, AnEmptyProductIsAnErrorThatMovesNothing) {
  EXPECT_TRUE(ExportTo(m_File, ""));
  ExpectProductError("Could not export product: You must supply a product name");
  EXPECT_EQ(m_Index, 0);
  EXPECT_EQ(m_Folder.Count(), 0u);
}

TEST_F(ExportTest, ASwitchInPlaceOfTheProductIsAnErrorThatMovesNothing) {
  EXPECT_TRUE(Export({"-ExportProduct", "-Info", "out"}));
  ExpectProductError(k_NotEnough);
  EXPECT_EQ(m_Index, 0);
}

TEST_F(ExportTest, ASwitchInPlaceOfTheProductIsThenHandledAsOne) {
  EXPECT_TRUE(Parse({"-ExportProduct", "-Info", "out"}));
  EXPECT_TRUE(m_Access.m_ShowInfo);
  ExpectProductError(k_NotEnough);
}

TEST_F(ExportTest, AFileNameMayLookLikeASwitch) {
  Install(2, "Beta");
  EXPECT_TRUE(Export({"-ExportProduct", "Gamma", "-Info"}));
  ExpectProductError("Could not export product: Product not installed: Gamma");
  EXPECT_EQ(m_Index, 2);
}

TEST_F(ExportTest, AnEmptyFileNameIsSaidNotToExistAndIsLeftToTheDispatch) {
  EXPECT_TRUE(ExportTo(""));
  ExpectProductError("Could not export product: File does not exist: ");
  EXPECT_EQ(m_Index, 1);
}

TEST_F(ExportTest, AnUnknownProductIsAnErrorBehindItsValues) {
  EXPECT_TRUE(ExportTo(m_File, "50%n%s"));
  ExpectProductError("Could not export product: Product not installed: 50%n%s");
  EXPECT_EQ(m_Index, 2);
  EXPECT_EQ(m_Folder.Count(), 0u);
}

TEST_F(ExportTest, TheNullIdentifierHasNoProduct) {
  EXPECT_TRUE(ExportTo(m_File, "00000000-0000-0000-0000-000000000000"));
  ExpectProductError("Could not export product: Internal error: could not get product handle for product: "
                     "00000000-0000-0000-0000-000000000000 - 00000000-0000-0000-0000-000000000000");
  EXPECT_EQ(m_Folder.Count(), 0u);
}

TEST_F(ExportTest, AFailedExportFailsTheRunAndTheRestOfTheLineIsDone) {
  EXPECT_EQ(Run({"-ExportProduct", "Gamma", "x", "-ExportProduct", "Alpha", m_File.c_str(), "-DumpLogs"}), 1);
  EXPECT_EQ(m_Recorder.m_Out, "Could not export product: Product not installed: Gamma\n");
  EXPECT_TRUE(std::filesystem::exists(m_File));
  EXPECT_THAT(m_Script.SentClasses(), ElementsAre("LogDumpMsg"));
}

TEST_F(ExportTest, AMissingFolderIsAnErrorWithItsReason) {
  const std::string file = m_Folder / "missing/alpha.json";
  EXPECT_TRUE(ExportTo(file));
  ExpectProductError("Could not export product: Cannot write '" + file + "': No such file or directory");
  EXPECT_EQ(m_Index, 2);
}

TEST_F(ExportTest, AFolderInPlaceOfTheFileIsAnErrorWithItsReason) {
  std::filesystem::create_directory(m_File);
  EXPECT_TRUE(ExportTo(m_File));
  ExpectProductError("Could not export product: Cannot write '" + m_File + "': Is a directory");
}

TEST_F(ExportTest, AFullDiskIsAnErrorWithItsReason) {
  ASSERT_EQ(symlink("/dev/full", m_File.c_str()), 0);
  EXPECT_TRUE(ExportTo(m_File));
  ExpectProductError("Could not export product: Cannot write '" + m_File + "': No space left on device");
}

TEST_F(ExportTest, AFailureWhileWritingLeavesTheEarlierFileAsItWas) {
  WriteTextFile(m_File, "earlier");
  JobFactory::s_JobFactory.Install(
      boost::make_shared<Product>(Type(2), "Broken", rlib::vector<String>(), "{\"id\":"));
  EXPECT_TRUE(ExportTo(m_File, "Broken"));
  ASSERT_THAT(m_Recorder.m_Out,
              testing::StartsWith("Could not export product: The product's document cannot"));
  EXPECT_EQ(m_Recorder.m_Log.back() + "\n", "ERROR " + m_Recorder.m_Out);
  EXPECT_EQ(m_Access.m_ExitCode, 1);
  EXPECT_EQ(ReadTextFile(m_File), "earlier");
  EXPECT_EQ(m_Folder.Count(), 1u) << "a temporary file was left behind";
}

TEST_F(ExportTest, AFailureBeforeTheFileIsOpenedIsReportedLikeOneOfTheFile) {
  s_ExtensionFails = true;
  EXPECT_TRUE(ExportTo(m_File));
  s_ExtensionFails = false;
  ExpectProductError("Could not export product: No extension today");
  EXPECT_EQ(m_Folder.Count(), 0u);
}

TEST_F(ExportTest, WantOfMemoryComesThroughAndLeavesTheEarlierFileAsItWas) {
  WriteTextFile(m_File, "earlier");
  Install(2, "Beta", {}, "[\"" + std::string(500'000, 'x') + "\"]");
  EXPECT_TRUE(RunsOutOfMemory(400'000, [&] { ExportTo(m_File, "Beta"); }));
  EXPECT_EQ(m_Recorder.m_Out, "");
  EXPECT_EQ(m_Access.m_ExitCode, 0);
  EXPECT_EQ(ReadTextFile(m_File), "earlier");
  EXPECT_EQ(m_Folder.Count(), 1u) << "a temporary file was left behind";
}

TEST_F(ExportTest, IsTraced) {
  EXPECT_EQ(TraceOf([&] { Export({"-ExportProduct"}); }), "SetwrightApp::PrepareExport (Setwright");
}

} // namespace
