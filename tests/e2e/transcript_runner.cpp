// Runs every case of the transcript files against the built program, in a scratch working
// directory, and compares standard output byte for byte and the exit status.
//
// The same transcripts run against the Windows build under Wine: RASTERSCAN_E2E_PROGRAM and
// RASTERSCAN_E2E_PROBE name the .exe files, RASTERSCAN_E2E_LAUNCHER the launcher ("wine").
// Cases marked "sim-only" speak of the simulated machine and are skipped there. A case marked
// "catalogue" runs with the shipped message catalogue in its working directory, "media" with the
// media kit's files there.
//
// Every run echoes its arguments (`LogMessage 14 20000 "-name=value"`), one line per declared argument, from
// one code path. Only cases marked "echo" compare those lines; elsewhere they are dropped from both sides, so a
// changed default touches the cases about it and no others.
#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "e2e_config.h"
#include "process.h"

namespace {

struct TranscriptCase {
  std::string File;
  std::string Name;
  std::string Program = "raster-scan";
  bool SimOnly = false;
  std::vector<std::string> Args;
  std::vector<std::string> Env;
  std::vector<std::pair<std::string, std::string>> Files;  // path in the scratch folder, content
  std::string Cwd;                                          // folder of the scratch folder to run in
  bool Catalogue = false;                                   // the shipped catalogue in the working directory
  bool Media = false;                                       // the media kit's files in the working directory
  bool Echo = false;                                        // compare the argument echo too
  std::vector<std::string> StderrContains;
  std::vector<std::string> StderrLacks;
  int Status = -1;
  std::string Stdout;
};

// "\xNN" stands for one byte, so that transcripts can hold any byte in an argument.
std::string Unescape(const std::string& text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 3 < text.size() && text[i + 1] == 'x' && std::isxdigit(static_cast<unsigned char>(text[i + 2])) &&
        std::isxdigit(static_cast<unsigned char>(text[i + 3]))) {
      out.push_back(static_cast<char>(std::stoi(text.substr(i + 2, 2), nullptr, 16)));
      i += 3;
    } else {
      out.push_back(text[i]);
    }
  }
  return out;
}

std::string Substitute(std::string text, const std::string& from, const std::string& to) {
  for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
    text.replace(at, from.size(), to);
  return text;
}

std::string StableName(const TranscriptCase& c) {
  std::string name = c.File.substr(0, c.File.size() - 4) + "_" + c.Name;
  for (char& ch : name)
    if (!std::isalnum(static_cast<unsigned char>(ch))) ch = '_';
  return name;
}

std::vector<TranscriptCase> LoadCases() {
  std::vector<TranscriptCase> cases;
  std::vector<std::string> files;
  if (DIR* dir = opendir(TRANSCRIPT_DIR)) {
    while (dirent* entry = readdir(dir)) {
      std::string name = entry->d_name;
      if (name.size() > 4 && name.substr(name.size() - 4) == ".txt") files.push_back(name);
    }
    closedir(dir);
  }
  std::sort(files.begin(), files.end());
  for (const std::string& file : files) {
    std::ifstream in(std::string(TRANSCRIPT_DIR) + "/" + file, std::ios::binary);
    std::string line;
    TranscriptCase* current = nullptr;
    bool inStdout = false;
    int lineNumber = 0;
    auto fail = [&](const std::string& why) {
      throw std::runtime_error(file + ":" + std::to_string(lineNumber) + ": " + why);
    };
    while (std::getline(in, line)) {
      ++lineNumber;
      if (inStdout) {
        if (line == "--- end") inStdout = false;
        else current->Stdout += line + "\n";
        continue;
      }
      if (line.empty() || line[0] == '#') continue;
      if (line.rfind("=== ", 0) == 0) {
        cases.push_back(TranscriptCase{});
        current = &cases.back();
        current->File = file;
        current->Name = line.substr(4);
        continue;
      }
      if (!current) fail("text before the first case");
      auto value = [&](const std::string& key) { return Unescape(line.substr(key.size())); };
      if (line == "arg:") current->Args.push_back("");
      else if (line.rfind("arg: ", 0) == 0) current->Args.push_back(value("arg: "));
      else if (line.rfind("env: ", 0) == 0) current->Env.push_back(value("env: "));
      else if (line.rfind("file: ", 0) == 0) {
        // "file: NAME" makes an empty file, "file: NAME: TEXT" one holding TEXT and no line end.
        std::string entry = value("file: ");
        size_t colon = entry.find(": ");
        if (colon == std::string::npos) current->Files.emplace_back(entry, "");
        else current->Files.emplace_back(entry.substr(0, colon), entry.substr(colon + 2));
      } else if (line.rfind("cwd: ", 0) == 0) current->Cwd = value("cwd: ");
      else if (line.rfind("program: ", 0) == 0) current->Program = value("program: ");
      else if (line.rfind("stderr-contains: ", 0) == 0) current->StderrContains.push_back(value("stderr-contains: "));
      else if (line.rfind("stderr-lacks: ", 0) == 0) current->StderrLacks.push_back(value("stderr-lacks: "));
      else if (line.rfind("status: ", 0) == 0) current->Status = std::stoi(value("status: "));
      else if (line == "sim-only") current->SimOnly = true;
      else if (line == "catalogue") current->Catalogue = true;
      else if (line == "media") current->Media = true;
      else if (line == "echo") current->Echo = true;
      else if (line == "--- stdout") inStdout = true;
      else fail("cannot read '" + line + "'");
    }
    if (inStdout) fail("stdout not closed by '--- end'");
  }
  // The test name comes from the case's name, so a case keeps its name when others are added before it.
  std::vector<std::string> names;
  for (const TranscriptCase& c : cases) names.push_back(StableName(c));
  std::sort(names.begin(), names.end());
  auto twice = std::adjacent_find(names.begin(), names.end());
  if (twice != names.end()) throw std::runtime_error("two cases named " + *twice);
  return cases;
}

std::string WithoutArgumentEcho(const std::string& text) {
  std::istringstream in(text);
  std::string out, line;
  while (std::getline(in, line))
    if (line.rfind("LogMessage 14 20000 \"-", 0) != 0) out += line + "\n";
  return out;
}

const std::vector<TranscriptCase>& AllCases() {
  static const std::vector<TranscriptCase> cases = LoadCases();
  return cases;
}

class Transcript : public ::testing::TestWithParam<size_t> {};

TEST_P(Transcript, MatchesOutputAndStatus) {
  const TranscriptCase& c = AllCases()[GetParam()];
  const E2eTarget target = E2eTarget::Current();
  if (target.UnderLauncher() && c.SimOnly) GTEST_SKIP() << "speaks of the simulated machine";
  const std::string program = c.Program == "probe" ? target.Probe : target.Program;
  ASSERT_FALSE(program.empty()) << "no program for " << c.Program;

  std::string scratch = MakeScratchDirectory();
  auto makeFolders = [&](const std::string& path) {
    for (size_t slash = path.find('/'); slash != std::string::npos; slash = path.find('/', slash + 1))
      mkdir((scratch + "/" + path.substr(0, slash)).c_str(), 0755);
  };
  for (const auto& [name, content] : c.Files) {
    makeFolders(name);
    std::ofstream(scratch + "/" + name, std::ios::binary) << Substitute(content, "{scratch}", scratch);
  }
  if (!c.Cwd.empty()) makeFolders(c.Cwd + "/");
  const std::string workingDirectory = c.Cwd.empty() ? scratch : scratch + "/" + c.Cwd;
  if (c.Catalogue) {
    std::ifstream shipped(MESSAGES_FILE, std::ios::binary);
    ASSERT_TRUE(shipped) << MESSAGES_FILE;
    std::ofstream(workingDirectory + "/raster-scan.msg", std::ios::binary) << shipped.rdbuf();
  }
  if (c.Media) {
    ProcessOptions media;
    media.Argv = {MAKE_MEDIA, workingDirectory};
    ASSERT_EQ(RunProcess(media).Status, 0) << MAKE_MEDIA;
  }

  ProcessOptions options;
  options.Argv = target.Command(program);
  options.Argv.insert(options.Argv.end(), c.Args.begin(), c.Args.end());
  options.WorkingDirectory = workingDirectory;
  options.Environment = target.Environment();
  for (const std::string& entry : c.Env) {
    size_t eq = entry.find('=');
    options.Environment[entry.substr(0, eq)] =
        Substitute(Substitute(entry.substr(eq + 1), "{machines}", MACHINES_DIR), "{scratch}", scratch);
  }
  ProcessResult result = RunProcess(options);
  RemoveDirectory(scratch);

  std::string expected = Substitute(c.Stdout, "{exe}", target.ProgramName(program));
  std::string actual = target.Normalize(result.Stdout);
  if (!c.Echo) {
    expected = WithoutArgumentEcho(expected);
    actual = WithoutArgumentEcho(actual);
  }
  EXPECT_FALSE(result.TimedOut);
  EXPECT_EQ(target.WithoutRunTimes(actual), target.WithoutRunTimes(expected)) << c.File << ": " << c.Name << "\nstderr: " << result.Stderr;
  EXPECT_EQ(result.Status, c.Status) << c.File << ": " << c.Name;
  for (const std::string& text : c.StderrContains)
    EXPECT_NE(result.Stderr.find(text), std::string::npos) << "stderr lacks '" << text << "': " << result.Stderr;
  for (const std::string& text : c.StderrLacks)
    EXPECT_EQ(result.Stderr.find(text), std::string::npos) << "stderr has '" << text << "': " << result.Stderr;
  // The program's own lines on standard error say what they are, so that they can be counted; a
  // launcher adds lines of its own.
  if (!target.UnderLauncher() && c.Program != "probe") {
    std::istringstream lines(result.Stderr);
    for (std::string line; std::getline(lines, line);)
      EXPECT_TRUE(line.rfind("warning: ", 0) == 0 || line.rfind("error: ", 0) == 0) << c.Name << ": " << line;
  }
}

std::string CaseName(const ::testing::TestParamInfo<size_t>& info) {
  return StableName(AllCases()[info.param]);
}

std::vector<size_t> CaseIndexes() {
  std::vector<size_t> indexes(AllCases().size());
  for (size_t i = 0; i < indexes.size(); ++i) indexes[i] = i;
  return indexes;
}

INSTANTIATE_TEST_SUITE_P(Cases, Transcript, ::testing::ValuesIn(CaseIndexes()), CaseName);

}  // namespace
