#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

#include "text/IniBase.h"

namespace {

class IniBaseTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "inibase-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir = pattern;
    path = dir + "/model.ini";
  }
  void TearDown() override {
    IniBase::SetCommentMarker(";");
    std::filesystem::remove_all(dir);
  }

  void Put(const std::string& text) const { std::ofstream(path, std::ios::binary) << text; }
  std::string Read(const std::string& file) const {
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

  std::string dir;
  std::string path;
};

// The value of section/key, or "<none>" when either is missing.
std::string ValueOf(const IniBase& ini, const std::string& section, const std::string& key) {
  const Section* s = ini.GetSection(section);
  if (!s) return "<none>";
  const Record* r = s->GetRecord(key);
  return r ? r->Value() : "<none>";
}

}  // namespace

TEST_F(IniBaseTest, RecordLinesFollowTheRules) {
  IniBase ini;
  ini.ParseLine("orphan=dropped");  // before any section
  ini.ParseLine("[S]");
  ini.ParseLine("a=b=c");
  ini.ParseLine("key = value ; remark");
  ini.ParseLine("empty=");
  ini.ParseLine("=value");
  ini.ParseLine("no equals sign");
  ini.ParseLine("; whole-line comment=1");
  ini.ParseLine("\b\f\v spaced \t= \r\n padded \b");
  ini.ParseLine("dup=first");
  ini.ParseLine("dup=second");
  ini.ParseLine("Case=upper");

  const Section* s = ini.GetSection("S");
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(ValueOf(ini, "S", "a"), "b=c");
  EXPECT_EQ(ValueOf(ini, "S", "key"), "value");
  EXPECT_EQ(ValueOf(ini, "S", "empty"), "");
  EXPECT_EQ(ValueOf(ini, "S", "spaced"), "padded");
  EXPECT_EQ(ValueOf(ini, "S", "dup"), "second");
  EXPECT_EQ(ValueOf(ini, "S", "orphan"), "<none>");
  EXPECT_EQ(ValueOf(ini, "S", "case"), "<none>");
  EXPECT_EQ(ValueOf(ini, "S", "Case"), "upper");
  EXPECT_EQ(s->GetRecord(""), nullptr);
  EXPECT_EQ(ini.GetSection("s"), nullptr);  // names are case-sensitive
  EXPECT_EQ(ini.ToString(), "[S]\nCase = upper\na = b=c\ndup = second\nempty = \nkey = value\nspaced = padded\n");
}

TEST_F(IniBaseTest, SectionLinesFollowTheRules) {
  IniBase ini;
  ini.ParseLine("[ x ] trailing text");
  ini.ParseLine("k=1");
  ini.ParseLine("[xy");
  ini.ParseLine("k=2");
  ini.ParseLine("[]abc");  // not a section: stays in [xy
  ini.ParseLine("[a");     // two bytes: not a section line
  ini.ParseLine("[]");
  ini.ParseLine("[=");     // two bytes: a record of key "["
  ini.ParseLine("[]=z");   // four bytes starting "[" with "]" at 1: ignored, not a record
  EXPECT_EQ(ValueOf(ini, "x", "k"), "1");
  EXPECT_EQ(ValueOf(ini, "xy", "k"), "2");
  EXPECT_EQ(ValueOf(ini, "xy", "["), "");
  EXPECT_EQ(ValueOf(ini, "xy", "[]"), "<none>");
  EXPECT_EQ(ini.GetSection("a"), nullptr);
  EXPECT_EQ(ini.GetSection(""), nullptr);

  // A repeated heading starts from nothing and hides the earlier one.
  ini.ParseLine("[x]");
  ini.ParseLine("other=3");
  EXPECT_EQ(ValueOf(ini, "x", "k"), "<none>");
  EXPECT_EQ(ValueOf(ini, "x", "other"), "3");
}

TEST_F(IniBaseTest, ReadsFilesAndSavesThemInMapOrder) {
  Put("; header comment\r\n[Zeta]\r\nb=2\r\na=1\r\n\r\n[Alpha]\r\nk = v ; note\r\nlast=no newline");
  IniBase ini(path);
  EXPECT_EQ(ValueOf(ini, "Zeta", "a"), "1");
  EXPECT_EQ(ValueOf(ini, "Alpha", "k"), "v");
  EXPECT_EQ(ValueOf(ini, "Alpha", "last"), "no newline");

  const std::string saved = dir + "/saved.ini";
  ini.Save(saved);
#ifdef _WIN32
  // Save opens the file in text mode, which ends lines with CRLF on Windows.
  EXPECT_EQ(Read(saved), "[Alpha]\r\nk = v\r\nlast = no newline\r\n[Zeta]\r\na = 1\r\nb = 2\r\n\r\n");
#else
  EXPECT_EQ(Read(saved), "[Alpha]\nk = v\nlast = no newline\n[Zeta]\na = 1\nb = 2\n\n");
#endif
  // The saved text reads back to the same model.
  IniBase again(saved);
  EXPECT_EQ(again.ToString(), ini.ToString());

  ini.Save(dir + "/missing-folder/x.ini");  // silently nothing
  EXPECT_FALSE(std::filesystem::exists(dir + "/missing-folder"));
}

TEST_F(IniBaseTest, MissingAndCommentOnlyFilesGiveEmptyModels) {
  EXPECT_EQ(IniBase(dir + "/absent.ini").ToString(), "");
  Put("");
  EXPECT_EQ(IniBase(path).ToString(), "");
  Put(";[S]\n; k=v\n   \n");
  EXPECT_EQ(IniBase(path).ToString(), "");
}

TEST_F(IniBaseTest, CommentMarkerIsProcessWideAndHasNoQuoting) {
  IniBase::SetCommentMarker("#");
  IniBase hash;
  hash.ParseLine("[S]");
  hash.ParseLine("semi=a;b # gone");
  hash.ParseLine("quoted=\"x#y\"");
  EXPECT_EQ(ValueOf(hash, "S", "semi"), "a;b");
  EXPECT_EQ(ValueOf(hash, "S", "quoted"), "\"x");

  IniBase::SetCommentMarker("");
  IniBase none;
  none.ParseLine("[S]");
  none.ParseLine("all=a;b#c");
  EXPECT_EQ(ValueOf(none, "S", "all"), "a;b#c");
}

TEST_F(IniBaseTest, SectionsAndRecordsAddRemoveAndStayValid) {
  IniBase ini;
  ini.ParseLine("[S]");
  ini.ParseLine("k=old");
  Section* s = ini.GetSection("S");
  ASSERT_NE(s, nullptr);
  Record* old = s->GetRecord("k");
  s->AddRecord(new Record("k", "new"));
  EXPECT_EQ(s->GetRecord("k")->Value(), "new");
  EXPECT_EQ(old->Value(), "old");  // a looked-up pointer outlives its replacement
  s->RemoveRecord("k");
  EXPECT_EQ(s->GetRecord("k"), nullptr);
  s->RemoveRecord("never there");

  ini.AddSection(new Section("S"));
  EXPECT_NE(ini.GetSection("S"), s);
  EXPECT_EQ(s->Name(), "S");
  EXPECT_EQ(ini.ToString(), "[S]\n");
}
