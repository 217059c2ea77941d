#include "subtests/RotationTest.h"

#include <cstdio>

#include "framework/ControlFiles.h"
#include "framework/ErrorLines.h"
#include "framework/KestArgument.h"
#include "framework/KestConstraint.h"
#include "framework/Kestout.h"
#include "framework/MessageCatalog.h"
#include "platform/display.h"
#include "prompts/KestWindow.h"
#include "prompts/Prompts.h"
#include "screen/DisplayControl.h"
#include "text/TextHelpers.h"

namespace {

constexpr const char* RotationTimedOut = "990379";
constexpr uint32_t TimedOutMessage = 99;
constexpr uint32_t EndedMessage = 24;
constexpr uint32_t DebugText = 8;
constexpr uint32_t FieldsWithFrequency = 0x5C0000;
constexpr uint32_t FieldsWithoutFrequency = 0x1C0000;

// The countdown's hook has no context: it reaches the test through this.
RotationTest* Running = nullptr;

}  // namespace

std::string ResolutionText(int32_t width, int32_t height, int32_t bitsPerPixel) {
  return ToText(width) + "x" + ToText(height) + "x" + ToText(bitsPerPixel);
}

bool KeepsOrientation(int32_t width, int32_t height, bool landscape) {
  return (height < width && landscape) || (height > width && !landscape);
}

RotationTest::RotationTest() {
  SetDescription("Verifies screen can rotate on demand");
  AddArgument("-InitialResolution", KestArgument::TypeString, "",
              "The initial resolution, given as WidthxHeightxBPP, at the start of the test before the screen is rotated. If not given, the current resolution will be used");
  AddArgument("-ExpectedResolution", KestArgument::TypeString, "",
              "The Resolution that is expected after the screen has rotated given as WidthxHeightxBPP. If not given, the fail or pass condition will be determined automatically");
  AddArgument("-NumberOfRotations", KestArgument::TypeInteger, "4",
              "Number of times that resolution must switch before test passes",
              new KestConstraint(1, 10));
  AddArgument("-Timeout", KestArgument::TypeInteger, "30",
              "Number of seconds before test times out due to operator inactivity",
              new KestConstraint(1, 60));
  AddArgument("-Prompt", KestArgument::TypeInteger, "90",
              "The message number for the test prompt");
  AddArgument("-RetryPrompt", KestArgument::TypeInteger, "91",
              "Test retry prompt number",
              nullptr, ArgumentFlag::GuiHidden);
  AddArgument("-Retries", KestArgument::TypeInteger, "1",
              "Maximum number of retries in case of test failure",
              new KestConstraint(1, 5));
}

RotationTest::~RotationTest() {
  if (Running == this) Running = nullptr;
}

bool RotationTest::Run() {
  Kestout::UpdatePercentage(0);
  InitialResolution = ToLower(GetArgumentString("-InitialResolution", ""));
  ExpectedResolution = ToLower(GetArgumentString("-ExpectedResolution", ""));
  NumberOfRotations = GetArgumentInt("-NumberOfRotations", 4);
  const int32_t timeout = GetArgumentInt("-Timeout", 30);
  const int32_t prompt = GetArgumentInt("-Prompt", 90);
  const int32_t retryPrompt = GetArgumentInt("-RetryPrompt", 91);
  const int32_t retries = GetArgumentInt("-Retries", 1);
  Kestout::UpdatePercentage(1);
  Kestout::LogMessage(CategorySubtests, 2, "");

  Landscape = platform::GetSystemMetrics(platform::SmCxScreen) > platform::GetSystemMetrics(platform::SmCyScreen);
  // The resolution is set for this program only: the stored mode is put back when the test ends,
  // as Windows does when the program ends.
  struct StoredModeBack {
    bool Changed = false;
    ~StoredModeBack() {
      if (Changed) platform::ChangeDisplaySettingsA(nullptr, 0);
    }
  } storedMode;
  storedMode.Changed = SetResolution(InitialResolution);

  const std::wstring text = GetWideMessageText(static_cast<uint32_t>(prompt), Widen(ToText(NumberOfRotations)));
  std::wstring media;
  const std::wstring retryText =
      GetWideMessageWithMedia(static_cast<uint32_t>(retryPrompt), L"", Widen(ToText(retryPrompt)), media);
  const std::wstring title = Widen(GetSubtestName());

  Running = this;
  std::string failure;
  for (int32_t attempt = 0; attempt <= retries; ++attempt) {
    if (IsTerminationRequested()) {
      Kestout::LogMessage(CategoryServiceErrors, EndedMessage, "");
      return false;
    }
    Rotations = 0;
    const int32_t answer = KestWindow::Countdown(text, title, timeout, OnDisplayChange);
    if (answer == CountdownTimeUp) {
      Kestout::LogMessage(CategoryDebug, TimedOutMessage, "");
      failure = RotationTimedOut;
      if (attempt < retries) ShowImagePrompt(retryText, title, PromptOnTop, media);
    } else if (answer == CountdownClosed) {
      // The protocol has no code for it: say why the run failed.
      WriteErrorLine("the countdown window was closed after " + ToText(Rotations) + " of " +
                     ToText(NumberOfRotations) + " rotations: the screen was not seen to turn");
      Kestout::LogMessage(CategoryDebug, EndedMessage, "");
      Kestout::LogMessage(CategoryServiceErrors, EndedMessage, "");
      return false;
    } else if (Rotations == static_cast<uint32_t>(NumberOfRotations)) {
      Kestout::LogMessage(CategorySubtests, 3, "");
      Kestout::UpdatePercentage(100);
      return true;
    }
  }
  if (!failure.empty()) Kestout::ReportFailure(failure);
  return false;
}

bool RotationTest::SetResolution(const std::string& text) {
  if (text.empty()) return false;
  int width = 0;
  int height = 0;
  int bits = 0;
  platform::DevMode mode;
  NoteStartModeToPutBack();
  // A text that is no resolution is one the driver cannot set.
  if (std::sscanf(text.c_str(), "%dx%dx%d", &width, &height, &bits) == 3) {
    mode.BitsPerPel = static_cast<uint32_t>(bits);
    mode.PelsWidth = static_cast<uint32_t>(width);
    mode.PelsHeight = static_cast<uint32_t>(height);
    mode.DisplayFrequency = 60;
    mode.Fields = FieldsWithFrequency;
    if (platform::ChangeDisplaySettingsA(&mode, platform::CdsFullscreen) == platform::DispChangeSuccessful) return true;
    mode.Fields = FieldsWithoutFrequency;
    if (platform::ChangeDisplaySettingsA(&mode, platform::CdsFullscreen) == platform::DispChangeSuccessful) return true;
  }
  Kestout::LogMessage(CategoryDebug, DebugText, "Failed to set resolution to " + text);
  return false;
}

int32_t RotationTest::OnDisplayChange(platform::Hwnd window, uint32_t message, platform::WParam wParam,
                                      platform::LParam lParam) {
  if (message != platform::WmDisplayChange || Running == nullptr) return -1;
  RotationTest& test = *Running;
  const int32_t bits = static_cast<int32_t>(wParam);
  const int32_t width = static_cast<int32_t>(lParam & 0xFFFF);
  const int32_t height = static_cast<int32_t>((lParam >> 16) & 0xFFFF);
  const std::string current = ResolutionText(width, height, bits);
  Kestout::LogMessage(CategoryDebug, DebugText, "Current Resolution: " + current);
  bool good = true;
  // The first turn goes away from the initial state, the next back to it.
  const std::string& wanted = test.Rotations % 2 == 0 ? test.ExpectedResolution : test.InitialResolution;
  if (!wanted.empty() && wanted != current) {
    good = false;
    Kestout::LogMessage(CategoryDebug, DebugText, "Resolution should be: " + wanted);
  }
  if (KeepsOrientation(width, height, test.Landscape)) {
    good = false;
    Kestout::LogMessage(CategoryDebug, DebugText, "Width-Height relationship incorrect!");
  }
  test.Landscape = height < width;
  if (good) ++test.Rotations;
  Kestout::LogMessage(CategoryDebug, DebugText, "Number of successful rotations so far: " + ToText(test.Rotations));
  if (test.Rotations == static_cast<uint32_t>(test.NumberOfRotations)) platform::DestroyWindow(window);
  return -1;
}
