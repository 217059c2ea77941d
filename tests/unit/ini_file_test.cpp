#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "text/IniFile.h"
#include "text/TextHelpers.h"

namespace {

class IniFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "inifile-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir = pattern;
    path = dir + "/cat.msg";
  }
  void TearDown() override { std::filesystem::remove_all(dir); }

  void Put(const std::string& text) const { std::ofstream(path, std::ios::binary) << text; }

  std::string dir;
  std::string path;
};

const char kCatalogue[] =
    "[de_DE]\r\n"
    "1=Eins\r\n"
    "2=\r\n"
    "[en_US]\r\n"
    "1=One\r\n"
    "2=Two\r\n"
    "3=Three\r\n";

}  // namespace

TEST_F(IniFileTest, MissingFileIsNeverRead) {
  const WIniFile wide(Widen(path));
  const IniFile narrow(path);
  EXPECT_FALSE(wide.Exists());
  EXPECT_FALSE(narrow.Exists());
  // Created after construction: still not seen, because the objects do not look at the file again.
  Put(kCatalogue);
  EXPECT_EQ(wide.GetValue(L"en_US", L"1"), L"");
  EXPECT_EQ(narrow.GetValue("en_US", "1"), "");
  EXPECT_EQ(narrow.GetValue("en_US", "9", "fallback"), "");  // not even the default

  const WIniFile emptyWide;
  const IniFile emptyNarrow;
  EXPECT_FALSE(emptyWide.Exists());
  EXPECT_FALSE(emptyNarrow.Exists());
  EXPECT_EQ(emptyWide.GetValue(L"en_US", L"1"), L"");
  EXPECT_FALSE(WIniFile(L"").Exists());
  EXPECT_TRUE(WIniFile(Widen(path)).Exists());
  EXPECT_TRUE(IniFile(path).Exists());
}

TEST_F(IniFileTest, NarrowLookupFallsBackOnlyWhenNothingCameBack) {
  Put(kCatalogue);
  const IniFile file(path);
  // A default answers for the missing key, so "en_US" is not asked.
  EXPECT_EQ(file.GetValue("de_DE", "3", "dflt"), "dflt");
  // A key that is present but empty brings nothing back even with a default, so "en_US" is asked.
  EXPECT_EQ(file.GetValue("de_DE", "2", "dflt"), "Two");
  EXPECT_EQ(file.GetValue("de_DE", "4", "dflt"), "dflt");
}

TEST_F(IniFileTest, LongValuesAreCutTo254Characters) {
  const std::string longValue(300, 'v');
  Put("[en_US]\nlong=" + longValue + "\n");
  EXPECT_EQ(IniFile(path).GetValue("en_US", "long"), longValue.substr(0, 254));
  EXPECT_EQ(WIniFile(Widen(path)).GetValue(L"en_US", L"long"), Widen(longValue.substr(0, 254)));
}

TEST_F(IniFileTest, SectionTextIsOneLinePerEntry) {
  Put("[s]\na=1\nb=2\n[t]\n");
  IniFile file(path);
  EXPECT_EQ(file.GetSectionText("s", "dflt"), "a=1\nb=2\n");
  EXPECT_EQ(file.GetSectionText("t", "dflt"), "dflt");  // empty section
  EXPECT_EQ(file.GetSectionText("u", "dflt"), "dflt");  // missing section

  // The section read does not look at the existence check, and a successful read sets it.
  const std::string later = dir + "/later.ini";
  IniFile lateFile(later);
  EXPECT_FALSE(lateFile.Exists());
  std::ofstream(later) << "[s]\nk=v\n";
  EXPECT_EQ(lateFile.GetSectionText("s", ""), "k=v\n");
  EXPECT_TRUE(lateFile.Exists());
  EXPECT_EQ(lateFile.GetValue("s", "k"), "v");
}

TEST_F(IniFileTest, SetValueWritesAndMarksTheFileExisting) {
  IniFile file(path);
  EXPECT_FALSE(file.Exists());
  EXPECT_TRUE(file.SetValue("s", "k", "v"));
  EXPECT_TRUE(file.Exists());
  EXPECT_EQ(file.GetValue("s", "k"), "v");
  EXPECT_TRUE(file.SetValue("S", "K", "w"));
  EXPECT_EQ(file.GetSectionText("s", ""), "k=w\n");

  IniFile unwritable(dir + "/missing folder/x.ini");
  EXPECT_FALSE(unwritable.SetValue("s", "k", "v"));
  EXPECT_TRUE(unwritable.Exists());  // set whatever the write's result
}
