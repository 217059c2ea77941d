// The screen subtests run unattended in one scratch folder: calibration runs and the field runs
// after them, with the files they leave checked byte for byte.
#pragma once

#include <dirent.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "e2e_config.h"
#include "process.h"

namespace screen_runs {

using Bytes = std::vector<unsigned char>;

class ScreenRuns : public ::testing::Test {
 protected:
  void SetUp() override {
    if (E2eTarget::Current().UnderLauncher()) GTEST_SKIP() << "speaks of the simulated machine";
    Folder = MakeScratchDirectory();
  }
  void TearDown() override {
    if (!Folder.empty()) RemoveDirectory(Folder);
  }

  // The program in the folder; `machine` is a machine file's path, empty for the built-in one;
  // `environment` is added to the test's own.
  ProcessOptions Options(const std::string& subtest, const std::vector<std::string>& args,
                         const std::string& machine = "",
                         const std::map<std::string, std::string>& environment = {}) const {
    const E2eTarget target = E2eTarget::Current();
    ProcessOptions options;
    options.Argv = target.Command(target.Program);
    options.Argv.push_back("-subtest=" + subtest);
    options.Argv.insert(options.Argv.end(), args.begin(), args.end());
    options.WorkingDirectory = Folder;
    options.Environment = target.Environment();
    if (!machine.empty()) options.Environment["RASTERSCAN_MACHINE"] = machine;
    for (const auto& [name, value] : environment) options.Environment[name] = value;
    return options;
  }
  ProcessResult Run(const std::string& subtest, const std::vector<std::string>& args, const std::string& machine = "",
                    const std::map<std::string, std::string>& environment = {}) {
    return RunProcess(Options(subtest, args, machine, environment));
  }

  // The media kit's files in the folder.
  void MakeMedia() {
    ProcessOptions media;
    media.Argv = {MAKE_MEDIA, Folder};
    ASSERT_EQ(RunProcess(media).Status, 0);
  }

  // A machine file in the folder: the built-in machine with `extra` sections behind it.
  std::string Machine(const std::string& name, const std::string& extra) const {
    const std::string path = Folder + "/" + name;
    std::ofstream(path, std::ios::binary) << TextOf(std::string(MACHINES_DIR) + "/default.ini") << "\n" << extra;
    return path;
  }
  static std::string TextOf(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  // A file copied into the folder as `name`.
  void CopyIn(const std::string& from, const std::string& name) const {
    std::ifstream in(from, std::ios::binary);
    std::ofstream(Folder + "/" + name, std::ios::binary) << in.rdbuf();
  }

  Bytes Read(const std::string& name) const {
    std::ifstream in(Folder + "/" + name, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  std::string ReadText(const std::string& name) const {
    const Bytes bytes = Read(name);
    return std::string(bytes.begin(), bytes.end());
  }
  void Write(const std::string& name, const Bytes& bytes) const {
    std::ofstream(Folder + "/" + name, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  }
  // The pictures a run left in a folder, in order.
  std::vector<std::string> Pictures(const std::string& folder) const {
    std::vector<std::string> names;
    if (DIR* dir = opendir((Folder + "/" + folder).c_str())) {
      while (dirent* entry = readdir(dir))
        if (entry->d_name[0] != '.') names.push_back(folder + "/" + entry->d_name);
      closedir(dir);
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  std::set<std::string> FilesLeft() const {
    std::set<std::string> names;
    if (DIR* dir = opendir(Folder.c_str())) {
      while (dirent* entry = readdir(dir))
        if (entry->d_name[0] != '.') names.insert(entry->d_name);
      closedir(dir);
    }
    return names;
  }

  std::string Folder;
};

inline void PutWord(Bytes& out, uint32_t value) {
  for (int shift = 0; shift < 32; shift += 8) out.push_back(static_cast<unsigned char>(value >> shift));
}

inline uint32_t WordAt(const Bytes& bytes, size_t at) {
  return static_cast<uint32_t>(bytes[at]) | static_cast<uint32_t>(bytes[at + 1]) << 8 |
         static_cast<uint32_t>(bytes[at + 2]) << 16 | static_cast<uint32_t>(bytes[at + 3]) << 24;
}

// One 32-byte record of ZR_VIDEO.DAT.
inline Bytes Record(uint32_t controller, uint32_t test, uint32_t width, uint32_t height, uint32_t bits,
                    uint32_t checksum) {
  Bytes out;
  PutWord(out, controller);
  PutWord(out, test);
  PutWord(out, bits);
  PutWord(out, width);
  PutWord(out, height);
  PutWord(out, checksum);
  out.resize(32, 0);
  return out;
}

// Every mode a calibration stored, with the sum it logged ("%8x") for it, in the order of the run.
struct Calibrated {
  std::string Mode;
  uint32_t Sum;
};
inline std::vector<Calibrated> CalibratedModes(const std::string& out) {
  std::vector<Calibrated> modes;
  const std::regex block("LogMessage 14 206 \"(\\d+x\\d+x\\d+)\" \"\"\n"
                         "LogMessage 14 210 \"\\1\" \"\"\n"
                         "LogMessage 14 207 \" *([0-9a-f]+)\" \"\"\n"
                         "LogMessage 14 208 \" *\\2\" \"\"\n");
  for (std::sregex_iterator it(out.begin(), out.end(), block), end; it != end; ++it)
    modes.push_back({(*it)[1], static_cast<uint32_t>(std::stoul((*it)[2], nullptr, 16))});
  return modes;
}

// The records that a calibration's log says it stored, under one controller and test.
inline Bytes ExpectedRecords(const std::vector<Calibrated>& modes, uint32_t controller, uint32_t test) {
  Bytes expected;
  for (const Calibrated& mode : modes) {
    unsigned width = 0, height = 0, bits = 0;
    EXPECT_EQ(std::sscanf(mode.Mode.c_str(), "%ux%ux%u", &width, &height, &bits), 3);
    const Bytes record = Record(controller, test, width, height, bits, mode.Sum);
    expected.insert(expected.end(), record.begin(), record.end());
  }
  return expected;
}

// What a run writes after its argument lines, up to the manager's closing lines.
inline std::string Protocol(const std::string& out) {
  const size_t start = out.find("UpdatePercentage 0\n");
  size_t end = out.find("LogMessage 14 20000 \"Test execution time");
  if (end == std::string::npos) end = out.find("EndOfTest\n");
  return start == std::string::npos ? out : out.substr(start, end == std::string::npos ? std::string::npos : end - start);
}

}  // namespace screen_runs
