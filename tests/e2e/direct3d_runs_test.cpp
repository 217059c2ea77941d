// DX93DRenderingTest against the media kit's d3dim9.dll on the simulated machine: calibration and
// field runs, the operator's answers, the file check, and the faults of the library and the
// machine's Direct3D.
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "screen_runs.h"

namespace {

using namespace screen_runs;

constexpr uint32_t kController = 0x102B0534;  // the built-in machine's
constexpr uint32_t kDirect3DTest = 0x400A;

const char kLaunchedUnattended[] =
    "UpdatePercentage 0\nUpdatePercentage 1\nLogMessage 3 2 \"\" \"\"\nUpdatePercentage 5\nUpdatePercentage 25\n"
    "UpdatePercentage 35\nUpdatePercentage 40\nUpdatePercentage 45\nUpdatePercentage 50\nUpdatePercentage 60\n";

// The built-in machine with a small display in 640x480x32: the scene is rendered in software,
// and fewer than half the pixels keep the runs short.
const char kSmallScreen[] = "[Display.1]\nModes=640x480x32,800x600x16\nCurrent=640x480x32\n";

class Direct3DRuns : public ScreenRuns {
 protected:
  void SetUp() override {
    ScreenRuns::SetUp();
    if (IsSkipped()) return;
    MakeMedia();
    Small = Machine("small.ini", kSmallScreen);
  }
  ProcessResult Run3D(std::vector<std::string> args, const std::string& machine = "",
                      const std::map<std::string, std::string>& environment = {}) {
    return Run("DX93DRenderingTest", std::move(args), machine.empty() ? Small : machine, environment);
  }
  ProcessResult Interactive(const std::string& script) {
    return Run3D({}, "", {{"RASTERSCAN_OPERATOR", script}});
  }
  std::string Direct3D(const std::string& name, const std::string& keys) {
    return Machine(name, std::string(kSmallScreen) + "[Direct3D]\n" + keys + "\n");
  }
  std::string Small;
};

TEST_F(Direct3DRuns, CalibrationStoresTheSumAndTheFieldRunComparesWithIt) {
  const ProcessResult calibration = Run3D({"-interactive=false", "-Calibrate=true"});
  ASSERT_EQ(calibration.Status, 0) << calibration.Stdout;
  const std::vector<Calibrated> stored = CalibratedModes(calibration.Stdout);
  ASSERT_EQ(stored.size(), 1u) << calibration.Stdout;
  EXPECT_EQ(stored[0].Mode, "640x480x32");
  EXPECT_NE(stored[0].Sum, 0u);
  char sums[80];
  std::snprintf(sums, sizeof sums, "LogMessage 14 207 \"%8x\" \"\"\nLogMessage 14 208 \"%8x\" \"\"\n", stored[0].Sum,
                stored[0].Sum);
  EXPECT_EQ(Protocol(calibration.Stdout),
            std::string(kLaunchedUnattended) + "LogMessage 14 206 \"640x480x32\" \"\"\nLogMessage 14 210 \"640x480x32\" \"\"\n" +
                sums + "UpdatePercentage 70\nUpdatePercentage 80\nUpdatePercentage 90\nLogMessage 3 3 \"\" \"\"\n"
                "LogMessage 3 201 \"\" \"\"\n");
  EXPECT_EQ(Read("ZR_VIDEO.DAT"), ExpectedRecords(stored, kController, kDirect3DTest));

  // The same scene on the same machine sums the same; the field run stores nothing.
  const ProcessResult field = Run3D({"-interactive=false"});
  EXPECT_EQ(field.Status, 0) << field.Stdout;
  EXPECT_EQ(Count(field.Stdout, "LogMessage 14 208 "), 1u) << field.Stdout;
  EXPECT_EQ(Count(field.Stdout, "LogMessage 14 206 "), 0u);
  EXPECT_NE(field.Stdout.find("UpdatePercentage 70\nUpdatePercentage 80\nUpdatePercentage 90\nLogMessage 3 3 \"\" \"\"\n"
                              "UpdatePercentage 100\n"),
            std::string::npos)
      << field.Stdout;
  EXPECT_EQ(Read("ZR_VIDEO.DAT"), ExpectedRecords(stored, kController, kDirect3DTest));

  // A controller that corrupts one pixel changes the sum: message 95 and 990408.
  const ProcessResult faulty =
      Run3D({"-interactive=false"}, Machine("stuck.ini", std::string(kSmallScreen) + "StuckPixel=300,200,0x5A\n"));
  EXPECT_EQ(faulty.Status, 1);
  EXPECT_NE(faulty.Stdout.find("LogMessage 8 209 \"\" \"\"\nUpdatePercentage 70\nLogMessage 8 95 \"\" \"\"\n"
                               "UpdatePercentage 80\nUpdatePercentage 90\nLogMessage 8 4 \"\" \"\"\nReportFailure 990408\n"),
            std::string::npos)
      << faulty.Stdout;

  // Without checksum verification the launch alone is the verdict, and no record is looked at.
  Write("ZR_VIDEO.DAT", {});
  const ProcessResult unverified = Run3D({"-interactive=false", "-VerifyChecksum=false"});
  EXPECT_EQ(unverified.Status, 0) << unverified.Stdout;
  EXPECT_EQ(Count(unverified.Stdout, " 207 "), 0u);
}

TEST_F(Direct3DRuns, AGenericCalibrationNeedsTheDriverButStoresForAnyController) {
  const ProcessResult generic = Run3D({"-interactive=false", "-Calibrate=true", "-CreateGenericCalibration=true"});
  ASSERT_EQ(generic.Status, 0) << generic.Stdout;
  EXPECT_EQ(Read("ZR_VIDEO.DAT"), ExpectedRecords(CalibratedModes(generic.Stdout), 0xFFFFFFFF, kDirect3DTest));

  const ProcessResult noDriver =
      Run3D({"-interactive=false", "-Calibrate=true"}, std::string(MACHINES_DIR) + "/no-driver.ini");
  EXPECT_EQ(noDriver.Status, 1);
  EXPECT_EQ(Protocol(noDriver.Stdout), "UpdatePercentage 0\nLogMessage 7 29 \"\" \"\"\nTestFailed 020472 \"\"\n")
      << noDriver.Stdout;
}

TEST_F(Direct3DRuns, TheOperatorsDigitPassesAndF1OrThreeWrongDigitsFail) {
  for (const char* script : {"digit", "keypad-digit", "wrong-digit; wrong-digit; digit"}) {
    const ProcessResult pass = Interactive(script);
    EXPECT_EQ(pass.Status, 0) << script << "\n" << pass.Stdout;
    // The verdict is the operator's: no checksum is read and no calibration file is needed.
    EXPECT_NE(pass.Stdout.find("UpdatePercentage 50\nUpdatePercentage 60\nUpdatePercentage 80\nUpdatePercentage 90\n"
                               "LogMessage 3 3 \"\" \"\"\nUpdatePercentage 100\n"),
              std::string::npos)
        << script << "\n" << pass.Stdout;
    EXPECT_EQ(Count(pass.Stdout, " 207 "), 0u);
  }
  for (const char* script : {"F1", "wrong-digit; wrong-digit; wrong-digit"}) {
    const ProcessResult fail = Interactive(script);
    EXPECT_EQ(fail.Status, 1) << script;
    EXPECT_NE(fail.Stdout.find("UpdatePercentage 60\nUpdatePercentage 80\nUpdatePercentage 90\nLogMessage 8 4 \"\" \"\"\n"
                               "ReportFailure 990373\n"),
              std::string::npos)
        << script << "\n" << fail.Stdout;
  }
  EXPECT_EQ(FilesLeft().count("ZR_VIDEO.DAT"), 0u);
}

TEST_F(Direct3DRuns, TheScreenshotShowsTheSceneAndTheDigitTheOperatorRead) {
  const ProcessResult run = Run3D({}, "", {{"RASTERSCAN_OPERATOR", "digit"}, {"RASTERSCAN_SCREENSHOTS", "shots"}});
  ASSERT_EQ(run.Status, 0) << run.Stdout;
  const std::vector<std::string> shots = Pictures("shots");
  ASSERT_EQ(shots.size(), 1u);
  EXPECT_NE(shots[0].find("Direct3D_9_rendering_test"), std::string::npos);
  EXPECT_GT(Read(shots[0]).size(), 20000u);  // a picture, not a blank screen
}

TEST_F(Direct3DRuns, EachMissingSupportFileIsNamed) {
  for (const char* name : {"D3DX9_24.dll", "D3DX9_25.dll", "D3DX9_26.dll", "d3dim9.dll", "COIN.BMP", "BW.BMP", "BLOCKS.BMP"}) {
    const std::string path = Folder + "/" + name;
    const std::string aside = Folder + "/aside";
    ASSERT_EQ(std::rename(path.c_str(), aside.c_str()), 0) << name;
    const ProcessResult run = Run3D({"-interactive=false", "-VerifyChecksum=false"});
    ASSERT_EQ(std::rename(aside.c_str(), path.c_str()), 0);
    EXPECT_EQ(run.Status, 1);
    const std::string named = std::string(name) == "d3dim9.dll" ? "D3DIM9.dll" : name;
    EXPECT_EQ(Protocol(run.Stdout), "UpdatePercentage 0\nUpdatePercentage 1\nLogMessage 7 30 \"" + named +
                                        "\" \"\"\nTestFailed 990618 \"\"\n")
        << run.Stdout;
  }
  // Names are matched without regard to case, by the check and by the loader alike.
  ASSERT_EQ(std::rename((Folder + "/d3dim9.dll").c_str(), (Folder + "/D3DIM9.DLL").c_str()), 0);
  EXPECT_EQ(Run3D({"-interactive=false", "-VerifyChecksum=false"}).Status, 0);
}

// Whatever fails, the library, a file it reads or the machine's Direct3D, the run ends with its code.
TEST_F(Direct3DRuns, EachFaultOfTheLibraryOrTheMachineHasItsCode) {
  const std::string lost = "UpdatePercentage 80\nUpdatePercentage 90\nLogMessage 8 4 \"\" \"\"\n";
  const struct {
    const char* File;  // a file of the kit spoiled with `Spoilt`; empty for none
    std::string Spoilt;
    const char* Keys;  // the machine's [Direct3D] keys; empty for the small machine
    std::string Tail;
  } cases[] = {
      // Present but no library: the load fails (8506, message 49).
      {"d3dim9.dll", "not a lib", "",
       "UpdatePercentage 5\nUpdatePercentage 25\nLogMessage 8 49 \"\" \"\"\nLogMessage 8 4 \"\" \"\"\nReportFailure 8506\n"},
      // A helper the library cannot load, a picture it cannot read and a machine without Direct3D 9
      // are a failed create: 990373, nothing launched.
      {"D3DX9_26.dll", "MZ", "", "UpdatePercentage 35\nUpdatePercentage 40\n" + lost + "ReportFailure 990373\n"},
      {"BW.BMP", std::string("BM\0\0", 4), "", "UpdatePercentage 40\n" + lost + "ReportFailure 990373\n"},
      {"", "", "Runtime=false", "UpdatePercentage 40\n" + lost + "ReportFailure 990373\n"},
      // Launch results -1, no device, and -2, textures refused, raise.
      {"", "", "Fails=CreateDevice", "UpdatePercentage 45\nLogMessage 8 218 \"\" \"\"\nTestFailed 990669 \"\"\n"},
      {"", "", "Fails=CreateTexture", "UpdatePercentage 45\nLogMessage 8 219 \"\" \"\"\nTestFailed 990670 \"\"\n"},
      // -3: the device lost; the sequence goes on to the delete.
      {"", "", "Fails=Present", "UpdatePercentage 45\nUpdatePercentage 50\n" + lost + "ReportFailure 990372\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(*c.File != 0 ? c.File : c.Keys);
    if (*c.File != 0) Write(c.File, Bytes(c.Spoilt.begin(), c.Spoilt.end()));
    const ProcessResult run =
        Run3D({"-interactive=false", "-VerifyChecksum=false"}, *c.Keys == 0 ? "" : Direct3D("faulty.ini", c.Keys));
    EXPECT_EQ(run.Status, 1);
    EXPECT_EQ(LastBytes(Protocol(run.Stdout), c.Tail.size()), c.Tail) << run.Stdout;
    if (*c.File != 0) MakeMedia();
  }
}

}  // namespace
