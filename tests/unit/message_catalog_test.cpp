#include <gtest/gtest.h>

#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "framework/MessageCatalog.h"
#include "text/TextHelpers.h"

namespace {

TEST(CatalogueFormat, OnlyTheFirstPercentSTakesTheInsert) {
  EXPECT_EQ(FormatCatalogueValue("Mode %s failed", "800x600x32"), "Mode 800x600x32 failed");
  EXPECT_EQ(FormatCatalogueValue("%s and %s", "a"), "a and %s");
  EXPECT_EQ(FormatCatalogueValue("100%% done %s", "now"), "100% done now");
  // The insert is text, never a format of its own.
  EXPECT_EQ(FormatCatalogueValue("[%s]", "%s%n%d"), "[%s%n%d]");
  EXPECT_EQ(FormatCatalogueValue(L"%s, wide %s", L"one"), L"one, wide %s");
}

TEST(CatalogueFormat, HostileValuesStandAsWritten) {
  // An edited catalogue may hold anything; none of these may read an argument or write one.
  EXPECT_EQ(FormatCatalogueValue("%n%d%x%p", "i"), "%n%d%x%p");
  EXPECT_EQ(FormatCatalogueValue("%1000000s", "i"), "%1000000s");
  EXPECT_EQ(FormatCatalogueValue("50%", "i"), "50%");
  EXPECT_EQ(FormatCatalogueValue("%", "i"), "%");
  EXPECT_EQ(FormatCatalogueValue("%%s", "i"), "%s");
}

TEST(CatalogueFormat, ResultIsCutToTheBuffer) {
  const std::string insert(5000, 'x');
  EXPECT_EQ(FormatCatalogueValue("<%s>", insert), "<" + std::string(1022, 'x'));
  EXPECT_EQ(FormatCatalogueValue(std::string(3000, 'v'), "").size(), 1023u);
  EXPECT_EQ(FormatCatalogueValue(std::wstring(3000, L'v'), L"").size(), 1023u);
}

TEST(CatalogueNames, MarkerAndBaseName) {
  // Found anywhere, the first 18 characters go, whatever they are.
  EXPECT_EQ(StripTranslationMarker("x<DO NOT TRANSLATE>y"), ">y");
  EXPECT_EQ(StripTranslationMarker("<DO NOT translate>OK"), "<DO NOT translate>OK");

  EXPECT_EQ(CatalogueBaseName("C:\\diag\\raster-scan.exe"), "raster-scan");
  EXPECT_EQ(CatalogueBaseName("C:\\diag\\Tool.EXE"), "Tool.EXE");
  EXPECT_EQ(CatalogueBaseName("/opt/diag/raster-scan"), "raster-scan");
  EXPECT_EQ(CatalogueBaseName("a.exe.b.exe"), "a");
  EXPECT_EQ(CatalogueBaseName("raster-scan"), "raster-scan");
}

class CatalogueFiles : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/catalogue-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    Folder = pattern;
  }
  void TearDown() override {
    for (const char* name : {"x_tool.msg", "tool.msg", "picture.bmp"}) std::remove((Folder + "/" + name).c_str());
    std::filesystem::remove(Folder);  // std::remove leaves a folder in place on Windows
  }
  void Write(const std::string& name, const std::string& text) {
    std::ofstream(Folder + "/" + name, std::ios::binary) << text;
  }
  std::string Folder;
};

TEST_F(CatalogueFiles, FilesAreSeenOnlyIfPresentWhenMade) {
  MessageCatalogues early(Folder, "tool");
  Write("tool.msg", "[en_US]\r\n2=Started\r\n");
  EXPECT_EQ(early.GetText(2, "", "en_US"), "2 \"\"");
  // Contents are not cached: a later change of an existing file is seen.
  MessageCatalogues late(Folder, "tool");
  EXPECT_EQ(late.GetText(2, "", "en_US"), "Started");
  Write("tool.msg", "[en_US]\r\n2=Begun\r\n");
  EXPECT_EQ(late.GetText(2, "", "en_US"), "Begun");
}

TEST_F(CatalogueFiles, MediaPaths) {
  Write("picture.bmp", "BM");
  const std::string picture = Folder + "/picture.bmp";
  Write("tool.msg", "[en_US]\r\n10=Look\r\n11=Gone\r\n12=Plain\r\n[all multimedia]\r\n10=" + picture +
                        "\r\n11=" + Folder + "/missing.bmp\r\n");
  MessageCatalogues own(Folder, "tool");
  std::wstring media;
  EXPECT_EQ(own.GetWideTextWithMedia(10, L"", L"f", media, "en_US"), L"Look");
  EXPECT_EQ(media, Widen(picture));
  // A named file that is missing leaves the number, not an empty path.
  media.clear();
  EXPECT_EQ(own.GetWideTextWithMedia(11, L"", L"f", media, "en_US"), L"Gone");
  EXPECT_EQ(media, L"11");
  media.clear();
  EXPECT_EQ(own.GetWideTextWithMedia(12, L"", L"f", media, "en_US"), L"Plain");
  EXPECT_EQ(media, L"");
  EXPECT_EQ(own.GetWideTextWithMedia(13, L"", L"f", media, "en_US"), L"f");
}

TEST_F(CatalogueFiles, OverrideTextWithPictureOfTheOwnCatalogue) {
  Write("picture.bmp", "BM");
  const std::string picture = Folder + "/picture.bmp";
  Write("x_tool.msg", "[en_US]\r\n10=Override text\r\n");
  Write("tool.msg", "[en_US]\r\n10=Own text\r\n[all multimedia]\r\n10=" + picture + "\r\n");
  MessageCatalogues both(Folder, "tool");
  std::wstring media;
  // Without a picture in the override, its text is kept and the picture comes from the other file.
  EXPECT_EQ(both.GetWideTextWithMedia(10, L"", L"f", media, "en_US"), L"Override text");
  EXPECT_EQ(media, Widen(picture));
}

}  // namespace
