#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "framework/DiagnosticManager.h"
#include "platform/files.h"
#include "machine_fixture.h"
#include "platform/system.h"
#include "text/TextHelpers.h"

using platform::sim::Machine;
using machine_test::Build;
using machine_test::MachineScope;

TEST(MachineFile, VideoPlaybackFaults) {
  Machine machine;
  std::string error;
  ASSERT_TRUE(Build("[Video]\nDecodeMilliseconds=6000\nRenderer=false\n", machine, error)) << error;
  EXPECT_EQ(machine.DecodeMilliseconds, 6000u);
  EXPECT_FALSE(machine.VideoRenderer);
  EXPECT_FALSE(Build("[Video]\nDecodeMilliseconds=-5\n", machine, error));
  EXPECT_EQ(error, "line 2: bad value '-5' for 'decodemilliseconds' in [video]");
}

TEST(MachineFile, MalformedTextNamesItsLine) {
  struct {
    const char* Text;
    const char* Error;
  } cases[] = {
      {"[System]\nWindows=8\n", "line 2: bad value '8' for 'windows' in [system]"},
      {"[System]\nColour=blue\n", "line 2: unknown key 'colour' in [system]"},
      {"[Sytem]\nWindows=7\n", "unknown section [sytem]"},
      {"Windows=7\n", "line 1: key outside any section"},
      {"[System\n", "line 1: malformed section header '[System'"},
      {"[System]\njust words\n", "line 2: expected key=value, found 'just words'"},
      {"[System]\nWindows=7\nwindows=XP\n", "line 3: key 'windows' given twice in [system]"},
      {"[Clock]\nStartTick=4294967296\n", "line 2: bad value '4294967296' for 'starttick' in [clock]"},
      {"[Clock]\nStartTick=-1\n", "line 2: bad value '-1' for 'starttick' in [clock]"},
      {"[System]\n[System]\n", "line 2: section [system] appears twice"},
  };
  for (const auto& c : cases) {
    Machine machine;
    std::string error;
    EXPECT_FALSE(Build(c.Text, machine, error)) << c.Text;
    EXPECT_EQ(error, c.Error) << c.Text;
  }
}

TEST(SimSystem, WindowsKindDecidesMiniNtAndVersion) {
  Machine xp;
  xp.Windows = platform::sim::WindowsKind::WindowsXP;
  {
    MachineScope scope(xp);
    EXPECT_FALSE(IsMiniNT());
    EXPECT_FALSE(IsWindows7());
  }
  EXPECT_FALSE(IsMiniNT());
  EXPECT_TRUE(IsWindows7());
  EXPECT_FALSE(platform::RegOpenKeyForRead(platform::RegistryRoot::CurrentUser, "System"));
}

class SimFiles : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/raster-scan-files-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    root = pattern;
    ASSERT_EQ(mkdir((root + "/Data").c_str(), 0755), 0);
    std::ofstream(root + "/Data/Ball.bmp") << "ball";
    std::ofstream(root + "/text.txt", std::ios::binary) << std::string("before\0after", 12);
    ASSERT_EQ(getcwd(previous, sizeof previous), previous);
    ASSERT_EQ(chdir(root.c_str()), 0);
    machine.DriveRoot = root;
  }
  void TearDown() override {
    ASSERT_EQ(chdir(previous), 0);
    std::remove((root + "/Data/Ball.bmp").c_str());
    std::remove((root + "/text.txt").c_str());
    rmdir((root + "/Data").c_str());
    rmdir(root.c_str());
  }
  std::string root;
  char previous[4096];
  Machine machine;
};

TEST_F(SimFiles, WindowsPathsFindFilesWhateverTheCase) {
  MachineScope scope(machine);
  EXPECT_FALSE(FileExists("data\\ball.bmp\\"));
  EXPECT_FALSE(FileExists("missing.bmp"));
  EXPECT_FALSE(FileExists(""));
  EXPECT_EQ(platform::ResolvePath("\\data\\new.txt"), root + "/Data/new.txt");
  EXPECT_EQ(platform::ResolvePath(".\\data\\..\\TEXT.TXT"), "./Data/../text.txt");
}

TEST_F(SimFiles, ReadTextFileStopsAtTheFirstNul) {
  MachineScope scope(machine);
  std::string text = "old";
  ASSERT_TRUE(ReadTextFile("TEXT.txt", text));
  EXPECT_EQ(text, "before");
  EXPECT_FALSE(ReadTextFile("none.txt", text));
  EXPECT_EQ(GetWorkingDirectory(), root);
}
