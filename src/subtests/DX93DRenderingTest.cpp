#include "subtests/DX93DRenderingTest.h"

#include <cstdint>
#include <string>

#include "framework/ControlFiles.h"
#include "framework/KestArgument.h"
#include "framework/KestException.h"
#include "framework/Kestout.h"
#include "platform/library.h"
#include "screen/CalibrationStore.h"
#include "screen/ScreenArguments.h"
#include "screen/ScreenFlow.h"
#include "subtests/RenderingLibrary.h"
#include "text/TextHelpers.h"

namespace {

[[noreturn]] void Raise(uint32_t code, int32_t category, uint32_t number, const std::string& text) {
  KestException* failure = new KestException(code);
  if (number != 0) failure->AddMessage(category, number, text);
  throw failure;
}

}  // namespace

DX93DRenderingTest::DX93DRenderingTest() {
  SetDescription("Tests Direct3D hardware on controller");
  AddArgument("-interactive", KestArgument::TypeBoolean, "true", kInteractiveDescription);
  AddArgument("-Calibrate", KestArgument::TypeBoolean, "false",
              "This parameter specifies whether the test should\n\tcalibrate the video card and store the checksum values\n\tin the zr_video.dat file");
  AddArgument("-CreateGenericCalibration", KestArgument::TypeBoolean, "false", kGenericCalibrationDescription);
  AddArgument("-VerifyChecksum", KestArgument::TypeBoolean, "true", kVerifyChecksumDescription,
              nullptr, ArgumentFlag::GuiHidden);
}

DX93DRenderingTest::~DX93DRenderingTest() = default;

// Load, create, set the mode, launch, judge, delete, free: the library's whole life in one run.
// An unattended field run that verifies (no -Calibrate) compares the checksum with the mode's
// calibration record, without storing: the run required ZR_VIDEO.DAT for that, and a diagnostic
// that fetched the sum and ignored it would pass a picture that differs from the good machine's.
// A verdict other than a match is the negative one (message 95).
int32_t DX93DRenderingTest::RunRenderingSequence() {
  LoadedLibrary library;
  library.Module = platform::LoadLibraryA(kRenderingLibrary);
  Kestout::UpdatePercentage(25);
  if (library.Module == 0) {
    Kestout::LogMessage(CategoryServiceErrors, 49, "");
    return -1;
  }
  const auto create = LibraryExport<LibraryCall>(library.Module, "CreateD3DIM9Test");
  const auto setMode = LibraryExport<LibraryCallWith>(library.Module, "SetTestMode");
  const auto launch = LibraryExport<LibraryCall>(library.Module, "LaunchD3DIM9Test");
  const auto status = LibraryExport<LibraryCall>(library.Module, "GetPublicStatus");
  const auto checksum = LibraryExport<LibraryCall>(library.Module, "GetPublicChecksum");
  const auto destroy = LibraryExport<LibraryCall>(library.Module, "DeleteD3DIM9Test");
  Kestout::UpdatePercentage(35);

  int32_t outcome = create != nullptr ? LowByte(create()) : 0;
  Kestout::UpdatePercentage(40);
  if (outcome != 0) {
    if (setMode != nullptr) setMode(Interactive ? 1 : 2);
    else outcome = 0;
    Kestout::UpdatePercentage(45);
  }
  if (outcome == 1) {
    if (launch == nullptr) {
      outcome = 0;
    } else {
      outcome = LaunchOutcome(launch());
    }
    Kestout::UpdatePercentage(50);
  }
  if (outcome == 1) {
    if (Interactive) {
      if (status == nullptr) return 0;  // at once, without the delete
      outcome = LowByte(status());
      Kestout::UpdatePercentage(60);
    } else if (VerifyChecksum) {
      if (checksum == nullptr) {
        outcome = 0;
      } else {
        const auto sum = static_cast<uint32_t>(checksum());
        Kestout::UpdatePercentage(60);
        outcome = VerifyScreenChecksum(Direct3DTestId, sum, Calibrate);
        Kestout::UpdatePercentage(70);
        if (outcome <= 0) {
          Kestout::LogMessage(CategoryServiceErrors, 95, "");
          outcome = -3;
        }
      }
    }
  }
  Kestout::UpdatePercentage(80);
  if (destroy != nullptr) destroy();
  else outcome = 0;
  platform::FreeLibrary(library.Module);
  library.Module = 0;
  Kestout::UpdatePercentage(90);
  return outcome;
}

bool DX93DRenderingTest::Run() {
  Kestout::UpdatePercentage(0);
  Calibrate = GetArgumentBool("-Calibrate", false);
  const bool createGeneric = GetArgumentBool("-CreateGenericCalibration", false);
  PrepareCalibration(Calibrate, createGeneric);
  StopIfRequested();
  Interactive = GetArgumentBool("-interactive", true);
  VerifyChecksum = GetArgumentBool("-VerifyChecksum", true);
  RequireCalibrationFile(Calibrate, Interactive, VerifyChecksum);
  Kestout::UpdatePercentage(1);
  if (Calibrate) SetCalibrating(true);
  const std::string missing = MissingRenderingFiles();
  if (!missing.empty()) Raise(990618, CategoryDeviceErrors, 30, missing);
  Kestout::LogMessage(CategorySubtests, 2, "");
  Kestout::UpdatePercentage(5);

  const int32_t outcome = RunRenderingSequence();
  uint32_t code = 0;
  switch (outcome) {
    case 1: break;
    case -1: code = 8506; break;
    case -2: code = 990372; break;
    case -3: code = 990408; break;
    default: code = 990373; break;
  }
  StopIfRequested();
  if (outcome == 1) {
    Kestout::LogMessage(CategorySubtests, 3, "");
    if (Calibrate) Kestout::LogMessage(CategorySubtests, 201, "");
    else Kestout::UpdatePercentage(100);
    return true;
  }
  Kestout::LogMessage(CategoryServiceErrors, 4, "");
  if (outcome == 14) Raise(990357, CategoryDeviceErrors, 14, "");
  Kestout::ReportFailure(ToText(code));
  return false;
}
