#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#ifdef _WIN32
#include <process.h>
#include <stdlib.h>
#else
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/sim/system/debug_log.h"
extern char** environ;
#endif

#include "config/FileParser.h"
#include "platform/mutex.h"
#include "platform/system.h"

namespace {

// The unit-test binary doubles as the second process: started with RASTERSCAN_PARSER_HOLD it
// takes a parser on that file and ends while holding it, and never reaches the tests.
const bool helperRan = [] {
  const char* file = std::getenv("RASTERSCAN_PARSER_HOLD");
  if (!file || !*file) return false;
  const std::string path = file;
  new FileParser(path);
  std::ofstream(path + ".held") << "held";
  _exit(0);
}();

class FileParserTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "fileparser-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir = pattern;
    path = dir + "/videoport.ini";
  }
  void TearDown() override { std::filesystem::remove_all(dir); }

  void Put(const std::string& text) const { std::ofstream(path, std::ios::binary) << text; }
  std::string Read(const std::string& file) const {
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

#ifdef _WIN32
  // The helper inherits the variable; it is taken back once the helper has started.
  intptr_t StartHelper() const {
    _putenv_s("RASTERSCAN_PARSER_HOLD", path.c_str());
    const char* self = _pgmptr;
    const intptr_t process = _spawnl(_P_NOWAIT, self, self, nullptr);
    _putenv_s("RASTERSCAN_PARSER_HOLD", "");
    EXPECT_NE(process, -1);
    return process;
  }
  static int WaitForHelper(intptr_t process) {
    int status = -1;
    return _cwait(&status, process, 0) == -1 ? -1 : status;
  }
#else
  pid_t StartHelper() const {
    std::string hold = "RASTERSCAN_PARSER_HOLD=" + path;
    std::vector<char*> env;
    for (char** e = environ; *e; ++e) env.push_back(*e);
    env.push_back(hold.data());
    env.push_back(nullptr);
    std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
    char* argv[] = {self.data(), nullptr};
    pid_t pid = -1;
    EXPECT_EQ(posix_spawn(&pid, self.c_str(), nullptr, nullptr, argv, env.data()), 0);
    return pid;
  }
  static int WaitForHelper(pid_t pid) {
    int status = -1;
    if (waitpid(pid, &status, 0) != pid) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
#endif

  std::string dir;
  std::string path;
};

// All fields of the parser's current line, as text.
std::vector<std::string> Fields(FileParser& parser) {
  std::vector<std::string> out;
  std::string field;
  while (parser.GetField(field)) out.push_back(field);
  return out;
}

using Strings = std::vector<std::string>;

}  // namespace

TEST_F(FileParserTest, SplitsFieldsByTheLineRules) {
  Put("[1234]\n"
      "0x4E21,\"DVI\",\"Raster, Graphics\"\n"
      "1,,3\n"
      "  abc  ,\tdef\t\n"
      "a;b , c\n"
      "x\"q,;\"y , \" kept blanks \"\n"
      ",leading\n"
      "x,  ,after blanks\n"
      "odd,\"open\n"
      "never,reached\n");
  OrgFileParser parser(path);
  EXPECT_EQ(parser.ReadSection("1234"), 9);

  ASSERT_TRUE(parser.NextLine());
  unsigned int number = 0;
  std::string port;
  char name[8];
  EXPECT_TRUE(parser.GetField(number, 0));
  EXPECT_EQ(number, 20001u);
  EXPECT_TRUE(parser.GetField(port));
  EXPECT_EQ(port, "DVI");
  EXPECT_TRUE(parser.GetField(name));  // cut to the buffer
  EXPECT_STREQ(name, "Raster,");
  EXPECT_FALSE(parser.GetField(port));
  EXPECT_EQ(port, "DVI");  // untouched when the fields are used up

  ASSERT_TRUE(parser.NextLine());
  EXPECT_EQ(Fields(parser), Strings{"1"});  // an empty field ends the line
  ASSERT_TRUE(parser.NextLine());
  EXPECT_EQ(Fields(parser), (Strings{"abc", "def"}));
  ASSERT_TRUE(parser.NextLine());
  EXPECT_EQ(Fields(parser), (Strings{"a", "b", "c"}));
  ASSERT_TRUE(parser.NextLine());
  EXPECT_EQ(Fields(parser), (Strings{"q,;", " kept blanks "}));
  ASSERT_TRUE(parser.NextLine());
  EXPECT_EQ(parser.FieldCount(), 0);
  ASSERT_TRUE(parser.NextLine());
  EXPECT_EQ(Fields(parser), (Strings{"x", "", "after blanks"}));  // blanks alone: an empty field that keeps its place

  // An unterminated quote stops the walk at that line, for good.
  EXPECT_FALSE(parser.NextLine());
  EXPECT_FALSE(parser.NextLine());

  // One section per object.
  EXPECT_EQ(parser.ReadSection("other"), 9);
}

TEST_F(FileParserTest, NumericFieldsConvertByTheirType) {
  Put("[n]\n-1,300,0x1F,010,-2.5,1e3,70000,junk\n");
  OrgFileParser parser(path);
  ASSERT_EQ(parser.ReadSection("n"), 1);
  ASSERT_TRUE(parser.NextLine());
  signed char sc = 0;
  unsigned char uc = 0;
  int hex = 0;
  long octal = 0;
  float f = 0;
  double d = 0;
  unsigned short us = 0;
  int junk = 7;
  EXPECT_TRUE(parser.GetField(sc));
  EXPECT_TRUE(parser.GetField(uc));
  EXPECT_TRUE(parser.GetField(hex, 16));
  EXPECT_TRUE(parser.GetField(octal, 0));
  EXPECT_TRUE(parser.GetField(f));
  EXPECT_TRUE(parser.GetField(d));
  EXPECT_TRUE(parser.GetField(us));
  EXPECT_TRUE(parser.GetField(junk));
  EXPECT_EQ(sc, -1);
  EXPECT_EQ(uc, 44);  // 300 cut to eight bits
  EXPECT_EQ(hex, 31);
  EXPECT_EQ(octal, 8);
  EXPECT_FLOAT_EQ(f, -2.5f);
  EXPECT_DOUBLE_EQ(d, 1000.0);
  EXPECT_EQ(us, 4464);  // 70000 cut to sixteen bits
  EXPECT_EQ(junk, 0);
}

TEST_F(FileParserTest, LargeSectionsGrowTheBuffer) {
  // The profile call cuts a list to size - 2; a section of exactly that length must move on.
  std::string text = "[big]\n";
  std::string expected;
  const std::string line(99, 'x');
  for (int i = 0; i < 300; ++i) text += line + "," + std::to_string(i) + "\n";
  Put(text);
  OrgFileParser parser(path);
  ASSERT_EQ(parser.ReadSection("big"), 300);
  int index = 0;
  while (parser.NextLine()) {
    std::string first;
    int number = -1;
    ASSERT_TRUE(parser.GetField(first));
    ASSERT_TRUE(parser.GetField(number));
    EXPECT_EQ(number, index++);
  }
  EXPECT_EQ(index, 300);

  // Lines summing to exactly 10238 bytes with their zeros: the first buffer reports full.
  std::string exact = "[e]\n";
  size_t bytes = 0;
  int lines = 0;
  while (bytes + 100 <= 10238 - 200) {
    exact += std::string(99, 'y') + "\n";
    bytes += 100;
    ++lines;
  }
  const size_t rest = 10238 - bytes;
  exact += std::string(rest - 1, 'z') + "\n";
  ++lines;
  Put(exact);
  OrgFileParser exactParser(path);
  EXPECT_EQ(exactParser.ReadSection("e"), lines);
}

TEST_F(FileParserTest, ReadKeyAndSectionNames) {
  Put("[1234]\nport1=1,\"HDMI\"\n[5678]\n[Extra]\n");
  FileParser parser(path);
  EXPECT_TRUE(parser.ReadKey("1234", "port1"));
  int number = 0;
  std::string name;
  EXPECT_TRUE(parser.GetField(number));
  EXPECT_TRUE(parser.GetField(name));
  EXPECT_EQ(number, 1);
  EXPECT_EQ(name, "HDMI");
  EXPECT_FALSE(parser.ReadKey("1234", "port2"));

  EXPECT_EQ(parser.ReadSectionNames(), 3);
  EXPECT_EQ(parser.SectionNames(), (Strings{"1234", "5678", "Extra"}));
  Put("[only]\n");
  EXPECT_EQ(parser.ReadSectionNames(), 3);  // read once
}

TEST_F(FileParserTest, ConvertToIniNumbersTheLines) {
  Put("[ports]\n1,DVI\n2,\"VGA\"\n");
  const std::string out = dir + "/out.ini";
  std::ofstream(out) << "[ports]\nold=gone\n[keep]\nk=v\n";
  FileParser parser(path);
  parser.SetOutputFileName(out);
  EXPECT_EQ(parser.ConvertToIni("ports", "Port", true, 5), 2);
  const std::string text = Read(out);
  EXPECT_EQ(text.find("old=gone"), std::string::npos);
  EXPECT_NE(text.find("Port5=1,DVI"), std::string::npos);
  EXPECT_NE(text.find("Port6=2,\"VGA\""), std::string::npos);
  EXPECT_NE(text.find("k=v"), std::string::npos);

  // A section that fills the 4096-byte buffer is refused, through the debugger channel only.
  std::string big = "[ports]\n";
  for (int i = 0; i < 100; ++i) big += std::string(60, 'a') + "\n";
  Put(big);
#ifndef _WIN32
  platform::sim::DebugOutput().clear();
#endif
  EXPECT_EQ(parser.ConvertToIni("ports", "P", false, 0), 0);
#ifndef _WIN32
  EXPECT_EQ(platform::sim::DebugOutput(), Strings{"ConvertToIni Failed: -1"});
#endif

  // An unwritable output file stops at the first line.
  Put("[ports]\n1,DVI\n");
  parser.SetOutputFileName(dir + "/no-such-folder/out.ini");
#ifndef _WIN32
  platform::sim::DebugOutput().clear();
#endif
  EXPECT_EQ(parser.ConvertToIni("ports", "P", false, 0), 0);
#ifndef _WIN32
  EXPECT_EQ(platform::sim::DebugOutput(), Strings{"ConvertToIni Failed: -3"});
#endif
}

TEST_F(FileParserTest, MutexNameComesFromTheFullPath) {
  EXPECT_EQ(FileParser::MutexName("C:\\Temp\\videoport.ini"), "C__Temp_videoport_ini_LumoraFileParser");
  EXPECT_EQ(FileParser::MutexName("C:/Temp/Sub/../VideoPort.INI"), "C__Temp_VideoPort_INI_LumoraFileParser");
  std::string cwd = platform::GetCwd();
#ifdef _WIN32
  std::string expected;
  for (char c : cwd) expected += (c == '\\' || c == '.' || c == ':') ? '_' : c;
#else
  std::string expected = "C_";
  for (char c : cwd) expected += (c == '/' || c == '.') ? '_' : c;
#endif
  EXPECT_EQ(FileParser::MutexName(".\\videoport.ini"), expected + "_videoport_ini_LumoraFileParser");
  EXPECT_EQ(FileParser::MutexName("videoport.ini"), FileParser::MutexName(".\\videoport.ini"));
}

TEST_F(FileParserTest, ParsersOfOneFileTakeTurnsAcrossThreads) {
  Put("[s]\n1\n");
  auto first = std::make_unique<FileParser>(path);
  {
    FileParser sameThread(path);  // the owner may take its mutex again
  }
  std::atomic<bool> acquired{false};
  std::thread other([&] {
    OrgFileParser second(path);
    acquired = true;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  EXPECT_FALSE(acquired);
  first.reset();
  other.join();
  EXPECT_TRUE(acquired);
  // Another file is not held up.
  FileParser unrelated(dir + "/other.ini");
}

TEST_F(FileParserTest, AProcessEndingWhileHoldingLeavesTheMutexAbandoned) {
  Put("[s]\n1\n");
  // A handle of ours keeps the named object alive once the other process has gone.
  const std::string name = FileParser::MutexName(path);
  platform::MutexHandle mutex = platform::CreateMutexA(nullptr, false, name.c_str());
  ASSERT_NE(mutex, 0u);
  const auto child = StartHelper();
  ASSERT_EQ(WaitForHelper(child), 0);
  ASSERT_TRUE(std::filesystem::exists(path + ".held"));
  EXPECT_EQ(platform::WaitForSingleObject(mutex, 1000), platform::WaitAbandoned);
  EXPECT_TRUE(platform::ReleaseMutex(mutex));
  EXPECT_FALSE(platform::ReleaseMutex(mutex));  // not owned any more
  EXPECT_EQ(platform::WaitForSingleObject(mutex, 1000), platform::WaitObject0);
  std::thread([&] { EXPECT_FALSE(platform::ReleaseMutex(mutex)); }).join();  // owner thread only
  std::thread([&] { EXPECT_EQ(platform::WaitForSingleObject(mutex, 50), platform::WaitTimeout); }).join();
  EXPECT_TRUE(platform::ReleaseMutex(mutex));
  EXPECT_TRUE(platform::CloseMutexHandle(mutex));
  EXPECT_EQ(platform::WaitForSingleObject(mutex, 0), platform::WaitFailed);
}
