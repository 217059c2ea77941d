// FFmpeg's libraries, a hundred-odd with what they need, are loaded with the clip decoder's module
// when a clip is played, not at every start; without the module beside the program a clip is one
// that no decoder takes.
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "screen_runs.h"

namespace {

// Every object the dynamic loader loads, listed on standard error.
const std::map<std::string, std::string> kListObjects = {{"LD_DEBUG", "files"}};

class DecoderModule : public screen_runs::ScreenRuns {
 protected:
  // `program` run in the folder on the virtual clock.
  ProcessResult RunProgram(const std::string& program, const std::vector<std::string>& args,
                           const std::map<std::string, std::string>& environment = {}) const {
    ProcessOptions options;
    options.Argv = {program};
    options.Argv.insert(options.Argv.end(), args.begin(), args.end());
    options.WorkingDirectory = Folder;
    options.Environment = E2eTarget::Current().Environment();
    options.Environment.insert(environment.begin(), environment.end());
    return RunProcess(options);
  }
};

TEST_F(DecoderModule, IsLoadedByAPlaybackAndNotByHelp) {
  const std::string program = E2eTarget::Current().Program;
  const ProcessResult help = RunProgram(program, {"-help=true"}, kListObjects);
  EXPECT_EQ(help.Status, 0);
  ASSERT_NE(help.Stderr.find("file=libc.so"), std::string::npos) << "no listing of loaded objects:\n" << help.Stderr;
  EXPECT_EQ(help.Stderr.find("libavcodec"), std::string::npos) << help.Stderr;
  EXPECT_EQ(help.Stderr.find("raster-scan-clip"), std::string::npos) << help.Stderr;

  MakeMedia();
  const ProcessResult played = RunProgram(program, {"-subtest=GPUTest"}, kListObjects);
  EXPECT_EQ(played.Status, 0) << played.Stdout;
  EXPECT_NE(played.Stderr.find("raster-scan-clip"), std::string::npos);
  EXPECT_NE(played.Stderr.find("libavcodec"), std::string::npos);
}

TEST_F(DecoderModule, MissingFailsThePlaybackAndIsNamed) {
  MakeMedia();
  const std::string program = Folder + "/raster-scan";
  std::filesystem::copy_file(E2eTarget::Current().Program, program);
  const ProcessResult run = RunProgram(program, {"-subtest=GPUTest"});
  EXPECT_EQ(run.Status, 1);
  // As for a clip that is not there: the graph cannot be built.
  const std::string tail = "UpdatePercentage 20\n"
                           "LogMessage 7 4 \"\" \"\"\n"
                           "TestFailed 995065 \"\"\n"
                           "EndOfTest\n";
  EXPECT_EQ(LastBytes(run.Stdout, tail.size()), tail);
  EXPECT_NE(run.Stderr.find("error: no clip decoder: " + Folder + "/raster-scan-clip.so"), std::string::npos)
      << run.Stderr;
}

}  // namespace
