#include "subtests/VideoMemoryTest.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>

#include "framework/ControlFiles.h"
#include "framework/ErrorLines.h"
#include "framework/KestArgument.h"
#include "framework/KestConstraint.h"
#include "framework/Kestout.h"
#include "framework/MessageCatalog.h"
#include "platform/clock.h"
#include "platform/display.h"
#include "platform/gdi.h"
#include "platform/syscolor_brush.h"
#include "platform/walltime.h"
#include "screen/ScreenArguments.h"
#include "screen/ScreenFlow.h"
#include "subtests/MemoryPatterns.h"
#include "text/TextHelpers.h"

namespace {

constexpr int32_t CreateFailed = 990362;
constexpr int32_t CooperativeLevelFailed = 990363;
constexpr int32_t DisplayModeFailed = 990364;
constexpr int32_t SurfaceFailed = 990365;
constexpr int32_t UnlockFailed = 990366;
constexpr int32_t LockFailed = 990367;

constexpr uint32_t WindowTitleMessage = 47;
constexpr uint32_t TimerId = 1;

struct TestMode {
  int32_t Width;
  int32_t Height;
  int32_t Bits;
  int32_t Percent;  // reported after the mode is tried
};

// In the order they are tried; the first one DirectDraw offers is tested.
constexpr TestMode Modes[] = {{1600, 1200, 24, 15}, {1024, 768, 24, 20}, {1024, 768, 16, 25}, {1024, 768, 32, 30},
                              {1024, 768, 8, 35},   {640, 480, 8, 40},   {640, 480, 16, 45}};

uint8_t* RowOf(uint8_t* surface, int32_t pitch, uint32_t y) {
  return surface + static_cast<std::ptrdiff_t>(y) * pitch;
}

// The first byte of the row that is not `pattern`, or `length`. Each byte is read exactly once,
// since a byte may read wrong only this once; between the unaligned ends the reads are naturally
// aligned machine words, which never span two pages, and a word read reads each of its bytes.
uint32_t FirstMismatch(const volatile uint8_t* row, uint32_t length, uint8_t pattern) {
  using Word = uintptr_t;
  constexpr uint32_t Size = sizeof(Word);
  const Word expected = static_cast<Word>(~Word{0} / 0xFF * pattern);
  // The byte of `word` at `at` that is not the pattern, without reading the memory again.
  auto within = [pattern](uint32_t at, Word word) {
    uint8_t bytes[Size];
    std::memcpy(bytes, &word, Size);
    uint32_t i = 0;
    while (bytes[i] == pattern) ++i;
    return at + i;
  };
  auto load = [row](uint32_t at) { return *reinterpret_cast<const volatile Word*>(row + at); };
  uint32_t at = 0;
  for (; at < length && reinterpret_cast<uintptr_t>(row + at) % Size != 0; ++at)
    if (row[at] != pattern) return at;
  // Four words a turn, each checked before the next is read.
  for (; length - at >= 4 * Size; at += 4 * Size) {
    Word word = load(at);
    if (word != expected) return within(at, word);
    if ((word = load(at + Size)) != expected) return within(at + Size, word);
    if ((word = load(at + 2 * Size)) != expected) return within(at + 2 * Size, word);
    if ((word = load(at + 3 * Size)) != expected) return within(at + 3 * Size, word);
  }
  for (; length - at >= Size; at += Size) {
    const Word word = load(at);
    if (word != expected) return within(at, word);
  }
  for (; at < length; ++at)
    if (row[at] != pattern) return at;
  return length;
}

}  // namespace

VideoMemoryTest::VideoMemoryTest() {
  SetDescription("This Test Tests the video memory");
  AddArgument("-Retries", KestArgument::TypeInteger, "1", kRetriesDescription,
              new KestConstraint(0, 10));
}

VideoMemoryTest::~VideoMemoryTest() { ReleaseDirectDraw(); }

void VideoMemoryTest::FillRandom(uint8_t* surface, int32_t pitch, uint32_t rowBytes, uint32_t rows, uint32_t& seed) {
  for (uint32_t y = 0; y < rows; ++y) {
    uint8_t* row = RowOf(surface, pitch, y);
    for (uint32_t x = 0; x < rowBytes; ++x) row[x] = static_cast<uint8_t>(NextRandom(seed) % 255);
  }
}

void VideoMemoryTest::FillPattern(uint8_t* surface, int32_t pitch, uint32_t rowBytes, uint32_t rows, uint8_t pattern) {
  // memset writes a row in the widest stores the machine has: the double words, then the bytes
  // left, come out the same.
  for (uint32_t y = 0; y < rows; ++y) std::memset(RowOf(surface, pitch, y), pattern, rowBytes);
}

namespace {
// Where the last failed compare found a wrong byte: the protocol has no line for it.
std::string badByte;

std::string Hex(uint32_t value) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%02X", value);
  return text;
}
}  // namespace

bool VideoMemoryTest::ComparePattern(uint8_t* surface, int32_t pitch, uint32_t rowBytes, uint32_t rows,
                                     uint8_t pattern) {
  for (uint32_t y = 0; y < rows; ++y) {
    volatile uint8_t* row = RowOf(surface, pitch, y);
    const uint32_t at = FirstMismatch(row, rowBytes, pattern);
    if (at != rowBytes) {
      // Only where: reading the byte again would be one more access to a faulty cell.
      badByte = "byte " + ToText(at) + " of row " + ToText(y) + " did not read back as the " + Hex(pattern) +
                " written there";
      row[at] = pattern;
      return false;
    }
  }
  return true;
}

bool VideoMemoryTest::Run() {
  Kestout::UpdatePercentage(0);
  const int32_t retries = GetArgumentInt("-Retries", 1);
  Kestout::UpdatePercentage(1);
  StopIfRequested();
  Kestout::LogMessage(CategorySubtests, 2, "");
  Kestout::UpdatePercentage(10);

  int32_t result = TestSurfaceMemory();
  if (result != SurfacePassed && retries != 0) {
    // The tries again decide: a failure that does not come back was an intermittent one.
    int32_t again = SurfacePassed;
    for (int32_t attempt = 0; attempt < retries && again == SurfacePassed; ++attempt) again = TestSurfaceMemory();
    if (again == SurfacePassed) Kestout::LogMessage(CategoryWarnings, 36, "");
    result = again;
  }

  StopIfRequested();
  if (result == SurfacePassed) {
    Kestout::LogMessage(CategorySubtests, 3, "");
    Kestout::UpdatePercentage(100);
    return true;
  }
  // A bad byte has no failure line: standard error says where it was.
  if (result != BadByte) Kestout::ReportFailure(ToText(result));
  else WriteErrorLine("the primary surface did not hold what was written: " + badByte);
  return false;
}

int32_t VideoMemoryTest::TestSurfaceMemory() {
  const std::wstring name = GetWideMessageText(WindowTitleMessage, L"");
  platform::Hdc display = platform::CreateDCA("Display", nullptr, nullptr, nullptr);
  // Every way out gives the context back.
  struct DisplayContext {
    platform::Hdc& Dc;
    ~DisplayContext() {
      if (Dc != 0) platform::DeleteDC(Dc);
    }
  } holdDisplay{display};

  TestMode mode{0, 0, 0, 0};
  for (const TestMode& candidate : Modes) {
    session.HasMode(candidate.Width, candidate.Height, candidate.Bits);
    Kestout::UpdatePercentage(candidate.Percent);
    if (session.ModeFound != 0) {
      mode = candidate;
      Kestout::UpdatePercentage(45);
      break;
    }
  }
  // Without any of the modes none is chosen, and the mode call below refuses the empty one.

  platform::Sleep(150);
  platform::WndClassW windowClass;
  windowClass.Style = platform::CsVRedraw | platform::CsHRedraw;
  windowClass.Proc = &VideoMemoryTest::WindowProc;
  windowClass.WindowExtra = static_cast<int32_t>(sizeof(VideoMemoryTest*));
  windowClass.Cursor = platform::LoadCursorA(0, platform::IdcArrow);
  windowClass.Background = platform::GetSysColorBrush(platform::ColorBtnFace);
  windowClass.ClassName = name.c_str();
  platform::RegisterClassW(&windowClass);  // a second registration fails without harm
  const platform::Hwnd window = platform::CreateWindowExW(
      platform::WsExTopmost, name.c_str(), name.c_str(), platform::WsPopup | platform::WsVisible, 0, 0,
      platform::GetSystemMetrics(platform::SmCxScreen), platform::GetSystemMetrics(platform::SmCyScreen), 0, 0, 0,
      this);
  platform::ShowWindow(window, platform::SwShowMaximized);
  platform::SetFocus(window);
  platform::Sleep(200);
  Kestout::UpdatePercentage(55);
  platform::Sleep(1000);

  const platform::HResult created = platform::DirectDrawCreate(nullptr, directDraw);
  Kestout::UpdatePercentage(60);
  if (created != platform::DdOk) return Abandon(window, CreateFailed);
  platform::Sleep(1000);

  const platform::HResult cooperating =
      directDraw->SetCooperativeLevel(window, platform::DdsclExclusive | platform::DdsclFullscreen);
  Kestout::UpdatePercentage(65);
  if (cooperating != platform::DdOk) return Abandon(window, CooperativeLevelFailed);
  platform::Sleep(1000);

  NoteStartModeToPutBack();
  const platform::HResult modeSet = directDraw->SetDisplayMode(
      static_cast<uint32_t>(mode.Width), static_cast<uint32_t>(mode.Height), static_cast<uint32_t>(mode.Bits));
  Kestout::UpdatePercentage(70);
  if (modeSet != platform::DdOk) return Abandon(window, DisplayModeFailed);

  platform::ShowWindow(window, platform::SwShowMaximized);
  platform::SetFocus(window);
  platform::Sleep(1000);
  platform::SurfaceDesc request;
  request.Size = 108;
  request.Flags = platform::DdsdCaps;
  request.Caps = platform::DdsCapsPrimarySurface;
  const platform::HResult surfaceMade = directDraw->CreateSurface(request, primarySurface);
  Kestout::UpdatePercentage(80);
  if (surfaceMade != platform::DdOk) return Abandon(window, SurfaceFailed);

  const int32_t bits = platform::GetDeviceCaps(display, platform::CapsBitsPixel);
  const int32_t width = platform::GetDeviceCaps(display, platform::CapsHorzRes);
  const int32_t height = platform::GetDeviceCaps(display, platform::CapsVertRes);
  platform::DeleteDC(display);
  display = 0;
  const int32_t rowLength = width * bits / 8;

  platform::Sleep(200);
  platform::Sleep(1000);
  platform::SurfaceDesc desc;
  desc.Size = 108;
  const platform::HResult locked = primarySurface->Lock(nullptr, desc, platform::DdlockWait);
  Kestout::UpdatePercentage(85);
  if (locked != platform::DdOk) return Abandon(window, LockFailed);
  Kestout::LogMessage(CategoryStatus, 42, ToText(desc.Pitch));
  Kestout::LogMessage(CategoryStatus, 43, ToText(rowLength));

  // The walks stay inside the surface that the lock gave, should the screen's own figures say
  // more; a surface with nothing to walk tests nothing and so cannot pass.
  const uint32_t rowBytes = static_cast<uint32_t>(std::max(0, std::min(rowLength, desc.Pitch)));
  const uint32_t rows = std::min(static_cast<uint32_t>(std::max(0, height)), desc.Height);

  uint32_t seed = static_cast<uint32_t>(platform::Time());
  platform::Sleep(200);
  FillRandom(desc.Surface, desc.Pitch, rowBytes, rows, seed);
  const platform::HResult unlocked = primarySurface->Unlock(desc.Surface);
  Kestout::UpdatePercentage(86);
  if (unlocked != platform::DdOk) return Abandon(window, UnlockFailed);

  Kestout::LogMessage(CategoryStatus, 45, "");
  bool pass = rowBytes != 0 && rows != 0;
  badByte = pass ? "" : "the surface had no bytes to test";
  int32_t done = 0;
  for (uint8_t pattern : MemoryTestPatterns) {
    if (!pass) break;
    if (primarySurface->Lock(nullptr, desc, platform::DdlockWait) != platform::DdOk)
      return Abandon(window, LockFailed);
    FillPattern(desc.Surface, desc.Pitch, rowBytes, rows, pattern);
    pass = ComparePattern(desc.Surface, desc.Pitch, rowBytes, rows, pattern);
    if (primarySurface->Unlock(desc.Surface) != platform::DdOk) return Abandon(window, UnlockFailed);
    Kestout::UpdatePercentage(87 + ++done);
  }

  Kestout::UpdatePercentage(95);
  RunMessageLoop();
  ReleaseDirectDraw();  // the window did; this is for a window that went some other way
  return pass ? SurfacePassed : BadByte;
}

int32_t VideoMemoryTest::Abandon(platform::Hwnd window, int32_t code) {
  if (platform::IsWindow(window) && platform::DestroyWindow(window)) RunMessageLoop();
  else ReleaseDirectDraw();  // no window ever came, so nothing else gives them up
  return code;
}

void VideoMemoryTest::ReleaseDirectDraw() {
  if (primarySurface != nullptr) primarySurface->Release();
  if (directDraw != nullptr) directDraw->Release();
  primarySurface = nullptr;
  directDraw = nullptr;
}

platform::LResult PLATFORM_CALLBACK VideoMemoryTest::WindowProc(platform::Hwnd window, uint32_t message,
                                                                platform::WParam wParam, platform::LParam lParam) {
  auto* test = reinterpret_cast<VideoMemoryTest*>(platform::GetWindowLongPtrA(window, 0));
  switch (message) {
    case platform::WmCreate: {
      const auto* create = reinterpret_cast<const platform::CreateStructW*>(lParam);
      test = static_cast<VideoMemoryTest*>(create->CreateParams);
      platform::SetWindowLongPtrA(window, 0, reinterpret_cast<intptr_t>(test));
      platform::SetTimer(window, TimerId, 10, nullptr);
      return 0;
    }
    case platform::WmTimer:
      // The window has stood while the patterns were shown; the first tick ends it.
      platform::KillTimer(window, TimerId);
      platform::DestroyWindow(window);
      return 0;
    case platform::WmDestroy:
      if (test != nullptr) test->ReleaseDirectDraw();
      platform::PostQuitMessage(0);
      return 0;
    default:
      return platform::DefWindowProcA(window, message, wParam, lParam);
  }
}
