#include "subtests/OpenGL3DRenderingTest.h"

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "framework/ControlFiles.h"
#include "framework/ErrorLines.h"
#include "framework/KestArgument.h"
#include "framework/KestConstraint.h"
#include "framework/KestException.h"
#include "framework/Kestout.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/opengl.h"
#include "screen/CalibrationStore.h"
#include "screen/Confirmation.h"
#include "screen/DisplayControl.h"
#include "screen/MissingFiles.h"
#include "screen/ScreenCapture.h"
#include "screen/ScreenFlow.h"
#include "text/TextHelpers.h"

// The drawing is plain OpenGL 1.1 on every platform.
#ifdef _WIN32
#ifndef NOMINMAX
#define NOMINMAX
#endif
#define WIN32_LEAN_AND_MEAN
#endif
#include <GL/gl.h>

namespace {

const char kWindowName[] = "OpenGL 3D Texture Test";
const char kTextureName[] = "texture3.bmp";
const uint32_t kVerifyMessage = platform::WmUser + 1;
const int32_t kFrames = 200;
const float kHalfEdge = 35.0f;
const uint32_t kNoMode = 990514;
const uint32_t kMissingTexture = 990618;
const uint32_t kBadDisplay = 990368;

// The window, GL context and texture list of the one window that is up at a time.
platform::Hdc WindowDc = 0;
platform::HGlrc GlContext = 0;
uint32_t TextureList = 0;

[[noreturn]] void Raise(uint32_t code, int32_t category, uint32_t number, const std::string& text) {
  KestException* failure = new KestException(code);
  failure->AddMessage(category, number, text);
  throw failure;
}

uint32_t LittleWord(const uint8_t* bytes, size_t size) {
  uint32_t value = 0;
  for (size_t i = 0; i < size; ++i) value |= static_cast<uint32_t>(bytes[i]) << (8 * i);
  return value;
}

// Reads a BMP file and gives its texture rows to GL; a file that does not read leaves no texture.
void LoadTexture(const char* name) {
  std::FILE* file = platform::OpenFile(name, "rb");
  if (file == nullptr) return;
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> closer(file, std::fclose);
  uint8_t header[14];
  if (std::fread(header, 1, sizeof header, file) != sizeof header) return;
  const uint32_t pixelsAt = LittleWord(header + 10, 4);
  if (pixelsAt < 14 + 40) return;
  std::vector<uint8_t> info(pixelsAt - 14);
  if (std::fread(info.data(), 1, info.size(), file) != info.size()) return;
  const int32_t width = static_cast<int32_t>(LittleWord(&info[4], 4));
  const int32_t height = static_cast<int32_t>(LittleWord(&info[8], 4));
  const uint16_t bitCount = static_cast<uint16_t>(LittleWord(&info[14], 2));
  const uint32_t compression = LittleWord(&info[16], 4);
  const int64_t rows = height < 0 ? -static_cast<int64_t>(height) : height;
  // A header that promises more than 64 MB of rows is no texture of ours: nothing is loaded.
  if (width <= 0 || rows == 0 || width > 0x10000 || rows > 0x10000 ||
      static_cast<int64_t>(OpenGL3DRenderingTest::TextureStride(width)) * rows > (int64_t{64} << 20))
    return;
  size_t size = LittleWord(&info[20], 4);
  if (size == 0) size = static_cast<size_t>(rows * ((int64_t{bitCount} * width + 7) / 8));
  std::vector<uint8_t> pixels(size);
  pixels.resize(std::fread(pixels.data(), 1, size, file));

  const std::vector<uint8_t> texture =
      OpenGL3DRenderingTest::ConvertTextureRows(pixels.data(), pixels.size(), width, height, bitCount, compression);
  glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
  glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
  glPixelStorei(GL_UNPACK_SKIP_ROWS, 0);
  glPixelStorei(GL_UNPACK_SKIP_PIXELS, 0);
  if (height == 1 || width == 1)
    glTexImage1D(GL_TEXTURE_1D, 0, 3, width, 0, GL_RGB, GL_UNSIGNED_BYTE, texture.data());
  else
    glTexImage2D(GL_TEXTURE_2D, 0, 3, width, static_cast<GLsizei>(rows), 0, GL_RGB, GL_UNSIGNED_BYTE,
                 texture.data());
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
}

// The six faces, four corners each, as signs of the half edge.
const int8_t kFaces[6][4][3] = {
    {{-1, 1, 1}, {-1, -1, 1}, {1, -1, 1}, {1, 1, 1}},      {{1, 1, 1}, {1, -1, 1}, {1, -1, -1}, {1, 1, -1}},
    {{1, 1, -1}, {1, -1, -1}, {-1, -1, -1}, {-1, 1, -1}},  {{-1, 1, -1}, {-1, -1, -1}, {-1, -1, 1}, {-1, 1, 1}},
    {{-1, -1, 1}, {-1, -1, -1}, {1, -1, -1}, {1, -1, 1}},  {{-1, 1, -1}, {-1, 1, 1}, {1, 1, 1}, {1, 1, -1}},
};
const float kCornerTexture[4][2] = {{1, 0}, {1, 1}, {0, 1}, {0, 0}};

// The viewport and the box of a client area, turned by the two angles.
void Project(int32_t width, int32_t height, float firstAngle, float secondAngle) {
  if (height == 0) height = 1;
  const OpenGL3DRenderingTest::OrthoBox box = OpenGL3DRenderingTest::ProjectionBox(width, height);
  glViewport(0, 0, width, height);
  glLoadIdentity();
  glOrtho(box.Left, box.Right, box.Bottom, box.Top, 100.0, -100.0);
  glRotatef(firstAngle, 1.0f, 0.0f, 0.0f);
  glRotatef(secondAngle, 0.0f, 1.0f, 0.0f);
}

}  // namespace

OpenGL3DRenderingTest::OpenGL3DRenderingTest() {
  SetDescription("Tests OpenGL 3D capability of the video driver");
  AddArgument("-interactive", KestArgument::TypeBoolean, "true", kInteractiveDescription,
              nullptr, ArgumentFlag::GuiHidden);
  AddArgument("-Display", KestArgument::TypeInteger, "0", kDisplayDescription,
              new KestConstraint(0, KestConstraint::EqualToOrGreaterThan));
  AddArgument("-Retries", KestArgument::TypeInteger, "1", kRetriesDescription,
              new KestConstraint(0, 10));
  AddArgument("-ConvertVideo", KestArgument::TypeBoolean, "false",
              " This option is for converting the video dat file\n\tin to txt file format.");
  AddArgument("-PrimaryDisp", KestArgument::TypeBoolean, "false",
              "This option will select the primary display for test.");
  AddArgument("-ActiveDisplay", KestArgument::TypeBoolean, "false", kActiveDisplayDescription);
  AddArgument("-TestAll", KestArgument::TypeBoolean, "false", kTestAllDescription, nullptr, ArgumentFlag::GuiHidden);
  AddArgument("-Calibrate", KestArgument::TypeBoolean, "false", kCalibrateDescription,
              nullptr, ArgumentFlag::GuiHidden);
  AddArgument("-Prompt", KestArgument::TypeInteger, "0", kPromptDescription,
              new KestConstraint(0, KestConstraint::EqualToOrGreaterThan));
  AddArgument("-CaptureScreen", KestArgument::TypeBoolean, "false", kCaptureScreenDescription,
              nullptr, ArgumentFlag::GuiHidden);
  AddArgument("-ScreenshotDir", KestArgument::TypeString, "", kScreenshotDirDescription,
              nullptr, ArgumentFlag::GuiHidden);
  AddArgument("-VerifyChecksum", KestArgument::TypeBoolean, "true", kVerifyChecksumDescription,
              nullptr, ArgumentFlag::GuiHidden);
  AddArgument("-CreateGenericCalibration", KestArgument::TypeBoolean, "false", kGenericCalibrationDescription);
  AddModeArguments(*this);
}

OpenGL3DRenderingTest::~OpenGL3DRenderingTest() = default;

size_t OpenGL3DRenderingTest::TextureStride(int32_t width) {
  return (static_cast<size_t>(width + 1) * 3) & ~size_t{3};
}

std::vector<uint8_t> OpenGL3DRenderingTest::ConvertTextureRows(const uint8_t* pixels, size_t size, int32_t width,
                                                               int32_t height, uint16_t bitCount,
                                                               uint32_t compression) {
  if (width <= 0 || height == 0) return {};
  const size_t stride = TextureStride(width);
  const size_t rows = static_cast<size_t>(height < 0 ? -static_cast<int64_t>(height) : height);
  std::vector<uint8_t> out(stride * rows, 0);
  if (bitCount != 24 || compression != platform::BiRgb || height < 0 || pixels == nullptr) return out;
  // The file's rows are padded to four bytes as well, and come bottom first, as GL wants them.
  for (size_t y = 0; y < rows; ++y) {
    const size_t row = y * stride;
    for (size_t x = 0; x < static_cast<size_t>(width); ++x) {
      const size_t at = row + 3 * x;
      if (at + 3 > size) return out;
      out[at] = pixels[at + 2];
      out[at + 1] = pixels[at + 1];
      out[at + 2] = pixels[at];
    }
  }
  return out;
}

OpenGL3DRenderingTest::OrthoBox OpenGL3DRenderingTest::ProjectionBox(int32_t width, int32_t height) {
  if (height == 0) height = 1;
  const double w = width, h = height;
  if (width <= height) return OrthoBox{-100.0, 100.0, 100.0 * h / w, -100.0 * h / w};
  return OrthoBox{-100.0 * w / h, 100.0 * w / h, 100.0, -100.0};
}

float OpenGL3DRenderingTest::WrapAngle(float angle) { return angle < 0.0f ? angle + 360.0f : angle; }

bool OpenGL3DRenderingTest::Run() {
  Kestout::UpdatePercentage(0);
  Calibrate = GetArgumentBool("-Calibrate", false);
  PrepareCalibration(Calibrate, GetArgumentBool("-CreateGenericCalibration", false));
  StopIfRequested();
  Retries = GetArgumentInt("-Retries", 1);
  Interactive = GetArgumentBool("-interactive", true);
  VerifyChecksum = GetArgumentBool("-VerifyChecksum", true);
  RequireCalibrationFile(Calibrate, Interactive, VerifyChecksum);
  Display = GetArgumentInt("-Display", 0);
  ConvertVideo = GetArgumentBool("-ConvertVideo", false);
  PrimaryDisp = GetArgumentBool("-PrimaryDisp", false);
  ActiveDisplay = GetArgumentBool("-ActiveDisplay", false);
  TestAll = GetArgumentBool("-TestAll", false);
  Prompt = GetArgumentInt("-Prompt", 0);
  CaptureScreen = GetArgumentBool("-CaptureScreen", false);
  // Read and kept; a capture is written to the working directory.
  ScreenshotDir = GetArgumentString("-ScreenshotDir", "");
  Kestout::UpdatePercentage(1);
  if (!Interactive) SetCalibrating(Calibrate);
  WindowPassed = Interactive;
  Kestout::LogMessage(CategorySubtests, 2, "");
  Kestout::UpdatePercentage(5);

  const DisplayModeEntry start = ReadScreenMode();
  const std::string missing = FindMissingFiles({"Texture3.bmp"});
  if (!missing.empty()) Raise(kMissingTexture, CategoryDeviceErrors, 30, missing);

  bool pass = true;
  int32_t code = 0;
  bool attached = true;
  if (ActiveDisplay) {
    const int32_t result = AttachSecondaryDisplays();
    if (result != 1) {
      pass = false;
      code = result;
      attached = false;
    }
  }
  Kestout::UpdatePercentage(10);

  if (attached) {
    if (!BuildModeList()) {
      Kestout::LogMessage(CategoryServiceErrors, 97, "");
      pass = false;
      code = static_cast<int32_t>(kNoMode);
    }
    const int32_t count = static_cast<int32_t>(Modes.size());
    for (int32_t i = 0; i < count; ++i) {
      const ScreenMode& mode = Modes[static_cast<size_t>(i)];
      ChooseConfirmationDigits();
      SetDisplayMode(mode.Width, mode.Height, mode.Bits);
      const int32_t result = RunOnDisplays();
      if (result != 1) {
        pass = false;
        code = result;
      }
      if (ActiveDisplay) {
        const int32_t detached = DetachSecondaryDisplays();
        if (result == 1 && detached != 1) {
          pass = false;
          code = detached;
        }
      }
      if (result == -73) {
        // F1 ends the walk over the modes, but the desktop still gets its mode back.
        SetDisplayMode(start.Width, start.Height, start.BitsPerPixel);
        break;
      }
      SetDisplayMode(start.Width, start.Height, start.BitsPerPixel);
      Kestout::UpdatePercentage(80 * (i + 1) / count + 10);
    }
  }

  if (code == 68) Raise(990356, CategoryDeviceErrors, 68, "");
  StopIfRequested();
  if (pass) {
    Kestout::LogMessage(CategorySubtests, 3, "");
    if (Calibrate) Kestout::LogMessage(CategorySubtests, 201, "");
    else Kestout::UpdatePercentage(100);
    return true;
  }
  const int64_t magnitude = std::llabs(static_cast<int64_t>(code));
  if (magnitude == 73) Raise(990358, CategoryDeviceErrors, 73, "");
  if (magnitude == 68) Raise(990356, CategoryDeviceErrors, 68, "");
  if (magnitude != 0) Kestout::ReportFailure(ToText(magnitude));
  return false;
}

bool OpenGL3DRenderingTest::BuildModeList() {
  Modes.clear();
  for (int row = 0; row < ScreenModeCount; ++row)
    if (GetArgumentBool(ModeArgumentName(GetScreenMode(row)), false)) Modes.push_back(GetScreenMode(row));
  return !Modes.empty();
}

void OpenGL3DRenderingTest::EnumerateMonitors() {
  Monitors.clear();
  platform::EnumDisplayMonitors([this](platform::MonitorHandle handle, const platform::DisplayRect&) {
    platform::MonitorInfo info;
    if (!platform::GetMonitorInfoA(handle, info)) return true;
    MonitorRecord record;
    record.Monitor = info.Monitor;
    record.Work = info.Work;
    record.Flags = info.Flags;
    record.DeviceHeight = platform::GetDisplayDeviceCaps(info.DeviceName, platform::CapsVertRes);
    record.DeviceWidth = platform::GetDisplayDeviceCaps(info.DeviceName, platform::CapsHorzRes);
    Monitors.push_back(record);
    return true;
  });
}

int32_t OpenGL3DRenderingTest::SingleDisplayResult() const {
  if (KeyOutcome == KeyTooManyWrong) return WrongKeysCode;
  if (KeyOutcome == KeyRejected) return RejectedCode;
  return GetScreenResult();
}

int32_t OpenGL3DRenderingTest::RunOnDisplays() {
  EnumerateMonitors();
  SetScreenResult(1);
  const int32_t count = static_cast<int32_t>(Monitors.size());
  if (TestAll && ActiveDisplay) {
    static bool told = false;  // once for the run, not for each mode
    if (count == 0 && !told) WarnNothingTested("no display monitor to draw on");
    told = told || count == 0;
    // The first monitor that fails decides; a later one that passes does not hide it.
    int32_t kept = 1;
    for (int32_t index = 0; index < count; ++index) {
      DisplayUnderTest = index;
      RunOneDisplay();
      const int32_t result = SingleDisplayResult();
      if (kept == 1 && result != 1) kept = result;
    }
    return kept != 1 ? kept : GetScreenResult();
  }
  // -TestAll without -ActiveDisplay runs the first display.
  DisplayUnderTest = TestAll ? 0 : Display;
  if (DisplayUnderTest >= count) return static_cast<int32_t>(kBadDisplay);
  RunOneDisplay();
  return SingleDisplayResult();
}

void OpenGL3DRenderingTest::RunOneDisplay() {
  RetriesLeft = Retries;
  for (;;) {
    ChooseConfirmationDigits();
    WrongKeys = 0;
    RunTestWindow();
    if (PendingFailure) {
      const std::exception_ptr failure = PendingFailure;
      PendingFailure = nullptr;
      std::rethrow_exception(failure);
    }
    if (Interactive || WindowPassed || RetriesLeft < 1) return;
    Kestout::LogMessage(CategoryServiceErrors, 20000, "Retrying due to Checksum failure...");
    --RetriesLeft;
  }
}

void OpenGL3DRenderingTest::RunTestWindow() {
  for (const MonitorRecord& monitor : Monitors)
    if (monitor.Flags == platform::MonitorInfoPrimary) {
      PrimaryWidth = monitor.DeviceWidth;
      PrimaryHeight = monitor.DeviceHeight;
    }
  // Every window starts the cube from the same place, so that a mode's last frame does not depend
  // on the windows before it (other modes, displays, retries) and its calibration verifies.
  FirstAngle = 0.0f;
  SecondAngle = 0.0f;

  platform::WndClassA windowClass;
  windowClass.Style = platform::CsVRedraw | platform::CsHRedraw;
  windowClass.Proc = &OpenGLWindowProc;
  windowClass.WindowExtra = static_cast<int32_t>(sizeof(void*));
  windowClass.Cursor = platform::LoadCursorA(0, platform::IdcArrow);
  windowClass.ClassName = kWindowName;
  platform::RegisterClassA(&windowClass);

  const uint32_t style = 0x06000000;  // WS_CLIPSIBLINGS | WS_CLIPCHILDREN
  const MonitorRecord& monitor = Monitors[static_cast<size_t>(DisplayUnderTest)];
  platform::Hwnd window = 0;
  if (PrimaryDisp || monitor.Flags == platform::MonitorInfoPrimary) {
    window = platform::CreateWindowExA(0, kWindowName, kWindowName, style, platform::CwUseDefault,
                                       platform::CwUseDefault, platform::GetSystemMetrics(platform::SmCxScreen),
                                       platform::GetSystemMetrics(platform::SmCyScreen), 0, 0, 0, this);
  } else {
    window = platform::CreateWindowExA(0, kWindowName, kWindowName, style, monitor.Monitor.Left, monitor.Monitor.Top,
                                       monitor.DeviceWidth, monitor.DeviceHeight, 0, 0, 0, this);
  }
  platform::ShowWindow(window, platform::SwShow);
  platform::UpdateWindow(window);
  platform::SetFocus(window);
  platform::SetForegroundWindow(window);
  RunMessageLoop();
  platform::UnregisterClassA(kWindowName, 0);
  platform::DestroyWindow(window);
}

platform::LResult PLATFORM_CALLBACK OpenGL3DRenderingTest::OpenGLWindowProc(platform::Hwnd window, uint32_t message,
                                                                           platform::WParam wParam,
                                                                           platform::LParam lParam) {
  auto* test = reinterpret_cast<OpenGL3DRenderingTest*>(platform::GetWindowLongPtrA(window, 0));
  if (message == platform::WmCreate) {
    const auto* create = reinterpret_cast<const platform::CreateStructA*>(lParam);
    test = static_cast<OpenGL3DRenderingTest*>(create->CreateParams);
    platform::SetWindowLongPtrA(window, 0, reinterpret_cast<intptr_t>(test));
    if (test != nullptr) test->OnCreate(window);
    return 0;
  }
  if (test == nullptr) return platform::DefWindowProcA(window, message, wParam, lParam);
  switch (message) {
    case platform::WmSize:
      test->SetProjection(platform::LoWord(static_cast<uintptr_t>(lParam)),
                          platform::HiWord(static_cast<uintptr_t>(lParam)));
      return 0;
    case platform::WmPaint:
      test->OnPaint(window);
      return 0;
    case platform::WmKeyDown:
      if (test->Interactive) test->HandleTestKey(static_cast<uint32_t>(wParam), window);
      return 0;
    case platform::WmQueryNewPalette:
      if (test->Palette != 0) {
        platform::SelectPalette(WindowDc, test->Palette, false);
        const uint32_t changed = platform::RealizePalette(WindowDc);
        platform::InvalidateRect(window, nullptr, false);
        return static_cast<platform::LResult>(changed);
      }
      return 0;
    case platform::WmPaletteChanged:
      return 0;
    case kVerifyMessage:
      test->OnVerify(window);
      return 0;
    case platform::WmDestroy:
      test->OnDestroy(window);
      platform::DestroyWindow(window);
      return 0;
    default:
      return platform::DefWindowProcA(window, message, wParam, lParam);
  }
}

void OpenGL3DRenderingTest::OnCreate(platform::Hwnd window) {
  WindowDc = platform::GetDC(window);
  platform::Sleep(800);
  platform::PixelFormatDescriptor request;
  request.Version = 1;
  request.Flags = platform::PfdDrawToWindow | platform::PfdSupportOpenGL | platform::PfdDoubleBuffer;
  request.PixelType = platform::PfdTypeRgba;
  request.ColorBits = 24;
  request.DepthBits = 32;
  const int32_t format = platform::ChoosePixelFormat(WindowDc, &request);
  const bool formatSet = platform::SetPixelFormat(WindowDc, format, &request);
  GlContext = platform::wglCreateContext(WindowDc);
  const bool current = platform::wglMakeCurrent(WindowDc, GlContext);
  ContextReady = current && formatSet && GlContext != 0;
  // The window then ends without a verdict, which the protocol tells as F1: the person is told
  // that the driver, not the picture, was at fault. Once for the run, not for each window.
  static bool told = false;
  if (!ContextReady && !told) {
    told = true;
    WriteErrorLine(std::string("no OpenGL context: ") +
                   (format == 0      ? "the driver offers no OpenGL pixel format"
                    : !formatSet     ? "the driver refused the pixel format"
                    : GlContext == 0 ? "the driver made no context"
                                     : "the context could not be made current"));
  }

  TextureList = BuildTextureList(kTextureName);

  BuildPalette();
  SetScreenResult(0);
  // A window that ends without a verdict counts as F1.
  KeyOutcome = KeyRejected;
}

void OpenGL3DRenderingTest::BuildPalette() {
  Palette = 0;
  platform::PixelFormatDescriptor format;
  const int32_t index = platform::GetPixelFormat(WindowDc);
  if (index == 0 ||
      platform::DescribePixelFormat(WindowDc, index, static_cast<uint32_t>(sizeof format), &format) == 0 ||
      (format.Flags & platform::PfdNeedPalette) == 0)
    return;
  const uint32_t entries = 1u << format.ColorBits;
  std::vector<uint8_t> block(sizeof(platform::LogPalette) + entries * sizeof(platform::PaletteEntry));
  auto* palette = reinterpret_cast<platform::LogPalette*>(block.data());
  palette->Version = 0x300;
  palette->NumEntries = static_cast<uint16_t>(entries);
  auto level = [](uint32_t i, uint8_t shift, uint8_t bits) {
    const uint32_t mask = (1u << bits) - 1;
    return static_cast<uint8_t>(((i >> shift) & mask) * 255 / mask);
  };
  for (uint32_t i = 0; i < entries; ++i) {
    platform::PaletteEntry& e = palette->PalEntry[i];
    e.Red = level(i, format.RedShift, format.RedBits);
    e.Green = level(i, format.GreenShift, format.GreenBits);
    e.Blue = level(i, format.BlueShift, format.BlueBits);
    e.Flags = 0;
  }
  Palette = platform::CreatePalette(palette);
  platform::SelectPalette(WindowDc, Palette, false);
  platform::RealizePalette(WindowDc);
}

void OpenGL3DRenderingTest::OnPaint(platform::Hwnd window) {
  if (!ContextReady) {
    // An adapter without OpenGL gives no picture to judge: the window ends without a verdict,
    // which counts as F1.
    platform::ValidateRect(window, nullptr);
    platform::DestroyWindow(window);
    return;
  }
  platform::Sleep(10);
  for (int32_t frame = 0; frame < kFrames; ++frame) {
    DrawCube();
    platform::SwapBuffers(WindowDc);
    FirstAngle = WrapAngle(FirstAngle);
    SecondAngle = WrapAngle(SecondAngle - 5.0f);
    platform::ValidateRect(window, nullptr);
  }
  platform::Sleep(100);
  if (Interactive) {
    const int32_t width = PrimaryDisp ? PrimaryWidth : Monitors[static_cast<size_t>(DisplayUnderTest)].DeviceWidth;
    DrawConfirmationDigitForWidth(WindowDc, width, static_cast<uint32_t>(Prompt));
  } else {
    platform::SendMessageA(window, kVerifyMessage, 0, 0);
  }
  if (ConvertVideo) ConvertCalibrationFile();
}

void OpenGL3DRenderingTest::OnVerify(platform::Hwnd window) {
  const DisplayModeEntry screen = ReadScreenMode();
  KeyOutcome = KeyUndecided;
  SetScreenResult(0);
  if (!VerifyChecksum) {
    WindowPassed = true;
    KeyOutcome = KeyConfirmed;
    SetScreenResult(1);
    platform::DestroyWindow(window);
    return;
  }
  int32_t verdict = 0;
  try {
    verdict = VerifyScreenChecksum(OpenGLTestId, SumScreenPixels(), false);
  } catch (...) {
    // Not through the system's dispatch frames: raised again behind the message loop.
    PendingFailure = std::current_exception();
    platform::DestroyWindow(window);
    return;
  }
  if (verdict < 0) Kestout::LogMessage(CategoryServiceErrors, 95, "");
  if (verdict == 1) {
    KeyOutcome = KeyConfirmed;
    WindowPassed = true;
    SetScreenResult(1);
    if (CaptureScreen && Calibrate) CaptureFrame(screen.Width, screen.Height, screen.BitsPerPixel);
  } else {
    SetScreenResult(ChecksumMismatchCode);
    KeyOutcome = KeyChecksumMismatch;
    WindowPassed = false;
    if (CaptureScreen) CaptureFrame(screen.Width, screen.Height, screen.BitsPerPixel);
  }
  platform::DestroyWindow(window);
}

void OpenGL3DRenderingTest::OnDestroy(platform::Hwnd window) {
  platform::wglMakeCurrent(0, 0);
  if (GlContext != 0) platform::wglDeleteContext(GlContext);
  GlContext = 0;
  TextureList = 0;
  ContextReady = false;
  platform::ReleaseDC(window, WindowDc);
  WindowDc = 0;
  if (Palette != 0) platform::DeleteObject(Palette);
  Palette = 0;
  platform::PostQuitMessage(0);
}

void OpenGL3DRenderingTest::HandleTestKey(uint32_t key, platform::Hwnd window) {
  // The screen results of a window that the wrong keys used up: -10 after a digit, -100 after a
  // keypad digit, 0 after any other key; F1 leaves 0.
  const TestKeyCodes codes{-10, -100, 0, 0, true};
  HandleSingleDigitKey(key, window, codes, Retries, WrongKeys, GetSubtestName());
  if (KeyOutcome == KeyConfirmed) SetScreenResult(1);
}

uint32_t OpenGL3DRenderingTest::BuildTextureList(const char* name) {
  const GLuint list = glGenLists(1);
  glNewList(list, GL_COMPILE);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_REPEAT);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_REPEAT);
  LoadTexture(name);
  glEndList();
  return list;
}

void OpenGL3DRenderingTest::DrawCubeFrame(uint32_t textureList, int32_t width, int32_t height, float firstAngle,
                                          float secondAngle) {
  glEnable(GL_DEPTH_TEST);
  glShadeModel(GL_SMOOTH);
  glEnable(GL_TEXTURE_2D);
  glTexEnvf(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_DECAL);
  glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
  Project(width, height, firstAngle, secondAngle);
  glMatrixMode(GL_MODELVIEW);
  glPushMatrix();
  glRotatef(-10.0f, 10.0f, 0.0f, 0.0f);
  for (const auto& face : kFaces) {
    glCallList(textureList);
    glBegin(GL_POLYGON);
    for (int corner = 0; corner < 4; ++corner) {
      glTexCoord2f(kCornerTexture[corner][0], kCornerTexture[corner][1]);
      glVertex3f(face[corner][0] * kHalfEdge, face[corner][1] * kHalfEdge, face[corner][2] * kHalfEdge);
    }
    glEnd();
  }
  glPopMatrix();
  glFlush();
}

void OpenGL3DRenderingTest::DrawCube() {
  DrawCubeFrame(TextureList, ClientWidth, ClientHeight, FirstAngle, SecondAngle);
}

void OpenGL3DRenderingTest::SetProjection(int32_t width, int32_t height) {
  if (height == 0) height = 1;
  ClientWidth = width;
  ClientHeight = height;
  Project(width, height, FirstAngle, SecondAngle);
}

void OpenGL3DRenderingTest::CaptureFrame(int32_t width, int32_t height, int32_t bits) {
  const std::string name = CaptureFileName("OpenGL", width, height, bits, Retries - RetriesLeft);
  auto fail = [](const char* text) { Kestout::LogMessage(CategoryServiceErrors, 8, text); };
  const platform::Hdc display = platform::CreateDCA("DISPLAY", nullptr, nullptr, nullptr);
  if (display == 0) return fail("Can not create display DC");
  const platform::Hdc memory = platform::CreateCompatibleDC(display);
  if (memory == 0) {
    platform::DeleteDC(display);
    return fail("Can not create compatible DC");
  }
  const platform::HBitmap bitmap = platform::CreateCompatibleBitmap(display, width, height);
  bool made = bitmap != 0;
  if (!made) fail("Can not create compatible bitmap");
  platform::HGdiObj old = 0;
  if (made && (old = platform::SelectObject(memory, bitmap)) == 0) made = false, fail("Can not select old object");
  if (made && !platform::BitBlt(memory, 0, 0, width, height, display, 0, 0, platform::SrcCopy))
    made = false, fail("Can not read screen memory");
  if (old != 0 && platform::SelectObject(memory, old) == 0) made = false, fail("Can not select object");
  platform::DeleteDC(memory);
  platform::DeleteDC(display);
  if (made) SaveBitmapFile(name, bitmap);
  if (bitmap != 0) platform::DeleteObject(bitmap);
}
