#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

#include "platform/profile.h"
#include "text/TextHelpers.h"
#ifdef _WIN32
#include "platform/wmi.h"
#endif

namespace {

#ifdef _WIN32
// Where Wine's profile functions differ from Windows', the case is left out under Wine.
const bool kWine = RunningUnderWine();
#else
const bool kWine = false;
#endif

// Each test gets a scratch folder holding "Test.ini".
class Profile : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "profile-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir = pattern;
    path = dir + "/Test.ini";
  }
  void TearDown() override { std::filesystem::remove_all(dir); }

  void Put(const std::string& text) const { std::ofstream(path, std::ios::binary) << text; }

  std::string Contents() const {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

  // A lookup into a buffer of `size` that is larger underneath, so that a write past the end shows.
  std::string Get(const char* section, const char* key, const char* defaultValue, uint32_t size = 255,
                  uint32_t* count = nullptr) const {
    char buffer[300];
    std::memset(buffer, 'X', sizeof buffer);
    const uint32_t got = platform::GetPrivateProfileStringA(section, key, defaultValue, buffer, size, path.c_str());
    EXPECT_EQ(buffer[size], 'X') << "written past the buffer";
    if (count) *count = got;
    return std::string(buffer, size ? std::strlen(buffer) : 0);
  }

  // The first `length` characters of a list buffer, zeros included.
  static std::string Raw(const char* buffer, size_t length) { return std::string(buffer, length); }

  std::string dir;
  std::string path;
};

}  // namespace

TEST_F(Profile, MatchingQuotesAreRemoved) {
  Put("[q]\na=\"quoted \" \nb='single'\nc=\"mixed'\nd=\"\ne=\"\"\nf=say \"hi\"\n");
  EXPECT_EQ(Get("q", "a", ""), "quoted ");
  EXPECT_EQ(Get("q", "b", ""), "single");
  EXPECT_EQ(Get("q", "c", ""), "\"mixed'");
  EXPECT_EQ(Get("q", "d", ""), "\"");
  uint32_t count = 1;
  EXPECT_EQ(Get("q", "e", "d", 255, &count), "");
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(Get("q", "f", ""), "say \"hi\"");
}

TEST_F(Profile, DefaultStandsInForWhatIsMissing) {
  uint32_t count = 0;
  EXPECT_EQ(Get("s", "k", "no file", 255, &count), "no file");
  EXPECT_EQ(count, 7u);
  Put("[s]\nk=v\n");
  EXPECT_EQ(Get("t", "k", "no section"), "no section");
  EXPECT_EQ(Get("s", "x", "no key"), "no key");
  EXPECT_EQ(Get("s", "x", nullptr, 255, &count), "");
  EXPECT_EQ(count, 0u);
}

TEST_F(Profile, SectionNamesAreAZeroSeparatedList) {
  Put("[one]\na=1\n[ Two ]\n[three]\nb=2\n");
  const std::string full("one\0Two\0three\0\0", 15);
  for (bool viaString : {true, false}) {
    SCOPED_TRACE(viaString ? "GetPrivateProfileStringA" : "GetPrivateProfileSectionNamesA");
    char buffer[32];
    std::memset(buffer, 'X', sizeof buffer);
    EXPECT_EQ(viaString ? platform::GetPrivateProfileStringA(nullptr, "ignored", "dflt", buffer, sizeof buffer, path.c_str())
                        : platform::GetPrivateProfileSectionNamesA(buffer, sizeof buffer, path.c_str()),
              14u);
    EXPECT_EQ(Raw(buffer, 16), full + "X");
  }
}

TEST_F(Profile, KeyListAndSectionLines) {
  Put("[s]\r\n  k1 = 1 \r\n; note=x\r\n\r\nbare  line \r\nK2=\"q\"\r\n[t]\r\nother=3\r\n");
  char buffer[64];
  std::memset(buffer, 'X', sizeof buffer);
  EXPECT_EQ(platform::GetPrivateProfileStringA("S", nullptr, "dflt", buffer, sizeof buffer, path.c_str()), 6u);
  EXPECT_EQ(Raw(buffer, 7), std::string("k1\0K2\0\0", 7));
  std::memset(buffer, 'X', sizeof buffer);
  EXPECT_EQ(platform::GetPrivateProfileStringA("s", nullptr, "", buffer, 5, path.c_str()), 3u);
  if (!kWine) { EXPECT_EQ(Raw(buffer, 6), std::string("k1\0\0\0X", 6)); }  // Wine ends a cut list with one zero

  // Section lines: entries trimmed around "=", quotes kept, other lines as they stand.
  const std::string lines("k1=1\0bare  line\0K2=\"q\"\0\0", 24);
  std::memset(buffer, 'X', sizeof buffer);
  EXPECT_EQ(platform::GetPrivateProfileSectionA("s", buffer, sizeof buffer, path.c_str()), 23u);
  EXPECT_EQ(Raw(buffer, 25), lines + "X");
  std::memset(buffer, 'X', sizeof buffer);
  EXPECT_EQ(platform::GetPrivateProfileSectionA("s", buffer, 10, path.c_str()), 8u);
  EXPECT_EQ(Raw(buffer, 11), std::string("k1=1\0bar\0\0X", 11));
  std::memset(buffer, 'X', sizeof buffer);
  EXPECT_EQ(platform::GetPrivateProfileSectionA("missing", buffer, sizeof buffer, path.c_str()), 0u);
  EXPECT_EQ(Raw(buffer, 2), std::string("\0\0", 2));
}

TEST_F(Profile, WriteCreatesFileSectionAndKeyWithWindowsLineBreaks) {
  EXPECT_TRUE(platform::WritePrivateProfileStringA("Sec", "Key", "v 1", path.c_str()));
  EXPECT_EQ(Contents(), "[Sec]\r\nKey=v 1\r\n");
  EXPECT_TRUE(platform::WritePrivateProfileStringA("Next", "a", "1", path.c_str()));
  EXPECT_TRUE(platform::WritePrivateProfileStringA("sec", "Other", "2", path.c_str()));
  EXPECT_EQ(Contents(), "[Sec]\r\nKey=v 1\r\nOther=2\r\n[Next]\r\na=1\r\n");
  EXPECT_EQ(Get("SEC", "other", ""), "2");

  const std::string nowhere = dir + "/no such folder/x.ini";
  EXPECT_FALSE(platform::WritePrivateProfileStringA("s", "k", "v", nowhere.c_str()));
  EXPECT_FALSE(std::filesystem::exists(dir + "/no such folder"));
  EXPECT_FALSE(platform::WritePrivateProfileStringA("s", "k", "v", dir.c_str()));  // a folder, not a file
}

TEST_F(Profile, WriteChangesOnlyWhatItMust) {
  // Wine writes the whole file anew from what it parsed, in CRLF lines; Windows edits it in place.
  if (kWine) GTEST_SKIP() << "Wine rewrites the whole file";
  Put("; head\n[a]\nx = 1\ny=2\n\n[b]\nz=3");
  EXPECT_TRUE(platform::WritePrivateProfileStringA("A", "X", "new", path.c_str()));
  EXPECT_EQ(Contents(), "; head\n[a]\nx=new\ny=2\n\n[b]\nz=3");  // the file keeps its LF style
  // A new key goes after the section's last line, before the blank line that parts it from the next.
  EXPECT_TRUE(platform::WritePrivateProfileStringA("a", "w", "4", path.c_str()));
  EXPECT_EQ(Contents(), "; head\n[a]\nx=new\ny=2\nw=4\n\n[b]\nz=3");
  // Appending after a last line that had no line break gives it one.
  EXPECT_TRUE(platform::WritePrivateProfileStringA("b", "q", "5", path.c_str()));
  EXPECT_EQ(Contents(), "; head\n[a]\nx=new\ny=2\nw=4\n\n[b]\nz=3\nq=5\n");
}

TEST_F(Profile, NullValueDeletesKeyAndNullKeyDeletesSection) {
  Put("[a]\r\nx=1\r\ny=2\r\n[b]\r\nz=3\r\n[c]\r\nw=4\r\n");
  EXPECT_TRUE(platform::WritePrivateProfileStringA("A", "x", nullptr, path.c_str()));
  EXPECT_EQ(Contents(), "[a]\r\ny=2\r\n[b]\r\nz=3\r\n[c]\r\nw=4\r\n");
  EXPECT_TRUE(platform::WritePrivateProfileStringA("b", nullptr, nullptr, path.c_str()));
  EXPECT_EQ(Contents(), "[a]\r\ny=2\r\n[c]\r\nw=4\r\n");
  EXPECT_TRUE(platform::WritePrivateProfileStructA("c", nullptr, nullptr, 0, path.c_str()));
  EXPECT_EQ(Contents(), "[a]\r\ny=2\r\n");
  // Deleting what is not there succeeds and leaves the file alone.
  EXPECT_TRUE(platform::WritePrivateProfileStringA("a", "nope", nullptr, path.c_str()));
  EXPECT_TRUE(platform::WritePrivateProfileStringA("nope", nullptr, nullptr, path.c_str()));
  EXPECT_EQ(Contents(), "[a]\r\ny=2\r\n");
}

TEST_F(Profile, StructIsStoredAsHexWithChecksum) {
  const unsigned char data[] = {0x01, 0xAB, 0xFF};
  EXPECT_TRUE(platform::WritePrivateProfileStructA("s", "blob", data, sizeof data, path.c_str()));
  EXPECT_EQ(Get("s", "blob", ""), "01ABFFAB");  // checksum (0x01 + 0xAB + 0xFF) & 0xFF
  EXPECT_TRUE(platform::WritePrivateProfileStructA("s", "blob", nullptr, 0, path.c_str()));
  EXPECT_EQ(Get("s", "blob", "gone"), "gone");
}

TEST_F(Profile, WideLookups) {
  Put("[s]\nk=caf\xE9\nlong=abcdef\n");
  wchar_t buffer[8];
  const std::wstring file = Widen(path);
  EXPECT_EQ(platform::GetPrivateProfileStringW(L"S", L"K", L"", buffer, 8, file.c_str()), 4u);
#ifdef _WIN32
  // Windows reads an ANSI file through the ANSI code page (the sim widens byte by byte).
  EXPECT_EQ(platform::WideCharToMultiByte(0, buffer), "caf\xE9");
  EXPECT_NE(buffer[3], Widen("\xE9")[0]);
#else
  // Bytes are widened one by one, as Widen does.
  EXPECT_EQ(std::wstring(buffer), Widen("caf\xE9"));
#endif
  EXPECT_EQ(platform::GetPrivateProfileStringW(L"s", L"long", L"", buffer, 4, file.c_str()), 3u);
  EXPECT_EQ(std::wstring(buffer), L"abc");
  EXPECT_EQ(platform::GetPrivateProfileStringW(L"s", L"none", L"dflt  ", buffer, 8, file.c_str()), 4u);
  EXPECT_EQ(std::wstring(buffer), L"dflt");

  // UTF-16LE with its byte-order mark is read as such, and a rewrite keeps it so.
  const std::u16string text = u"[s]\r\nk=\u00e9t\u0113\r\n";
  std::string bytes = "\xFF\xFE";
  for (char16_t c : text) {
    bytes.push_back(static_cast<char>(c & 0xFF));
    bytes.push_back(static_cast<char>(c >> 8));
  }
  Put(bytes);
  EXPECT_EQ(platform::GetPrivateProfileStringW(L"s", L"k", L"", buffer, 8, file.c_str()), 3u);
  EXPECT_EQ(std::wstring(buffer), std::wstring({wchar_t{0xE9}, L't', wchar_t{0x113}}));
  EXPECT_TRUE(platform::WritePrivateProfileStringA("s", "n", "1", path.c_str()));
  EXPECT_EQ(Contents().substr(0, 4), std::string("\xFF\xFE[\0", 4));
  EXPECT_EQ(platform::GetPrivateProfileStringW(L"s", L"k", L"", buffer, 8, file.c_str()), 3u);
  EXPECT_EQ(platform::GetPrivateProfileStringW(L"s", L"n", L"", buffer, 8, file.c_str()), 1u);
  EXPECT_EQ(std::wstring(buffer), L"1");
}
