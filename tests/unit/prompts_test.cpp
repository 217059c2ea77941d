// The operator windows on the simulated screen: their layout as the window system has it while
// they are up, the answers the operator's buttons and keys give, the configured look and the
// termination watch, the text entry's idle wipe and the countdown's ticks.
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "framework/ControlFiles.h"
#include "framework/KestDiag.h"
#include "platform/files.h"
#include "platform/gdi.h"
#include "platform/sim/gdi/gdi_sim.h"
#include "prompts/DiagnosticWindow.h"
#include "prompts/KestWindow.h"
#include "prompts/PromptWindow.h"
#include "prompts/Prompts.h"
#include "screen/ScreenCapture.h"
#include "text/TextHelpers.h"
#include "window_fixture.h"

namespace {

using namespace platform;
using namespace window_test;

struct Control {
  std::wstring Class;
  std::wstring Text;
  int32_t Id = 0;
  uint32_t Style = 0;
  bool Visible = false;
  Rect Place;  // in the prompt's client area
};

// What the screen showed while a prompt was up.
struct Snapshot {
  bool Taken = false;
  std::wstring Class;
  std::wstring Title;
  Rect Bounds;
  bool TopMost = false;
  int32_t FocusId = 0;
  std::vector<Control> Controls;
  MinMaxInfo Limits;
};

Snapshot& Shot() {
  static Snapshot shot;
  return shot;
}

// Picks the front window that is not the countdown's frame.
Hwnd FrontPrompt() {
  for (Hwnd top : sim::TopLevelWindows())
    if (sim::WindowClassName(top) != L"STATIC") return top;
  return 0;
}

void PLATFORM_CALLBACK TakeSnapshot(Hwnd, uint32_t, uintptr_t id, uint32_t) {
  KillTimer(0, id);
  Snapshot& s = Shot();
  Hwnd w = FrontPrompt();
  if (w == 0) return;
  s.Taken = true;
  s.Class = sim::WindowClassName(w);
  s.Title = sim::WindowTitle(w);
  GetWindowRect(w, &s.Bounds);
  s.TopMost = (GetWindowLongA(w, GwlExStyle) & WsExTopmost) != 0;
  s.FocusId = GetDlgCtrlID(GetFocus());
  for (Hwnd c : sim::ChildWindows(w)) {
    Control control;
    control.Class = sim::WindowClassName(c);
    control.Text = sim::WindowTitle(c);
    control.Id = GetDlgCtrlID(c);
    control.Style = static_cast<uint32_t>(GetWindowLongA(c, GwlStyle));
    control.Visible = IsWindowVisible(c);
    Rect r;
    GetWindowRect(c, &r);
    control.Place = Rect{r.Left - s.Bounds.Left, r.Top - s.Bounds.Top, r.Right - s.Bounds.Left, r.Bottom - s.Bounds.Top};
    s.Controls.push_back(control);
  }
  SendMessageA(w, WmGetMinMaxInfo, 0, reinterpret_cast<LParam>(&s.Limits));
}

const Control* FindControl(const Snapshot& s, int32_t id, const wchar_t* cls = nullptr) {
  for (const Control& c : s.Controls)
    if (c.Id == id && (cls == nullptr || c.Class == cls)) return &c;
  return nullptr;
}

std::vector<const Control*> Bars(const Snapshot& s) {
  std::vector<const Control*> bars;
  for (const Control& c : s.Controls)
    if (c.Class == L"SCROLLBAR") bars.push_back(&c);
  return bars;
}

// A picture saved by the program's own writer: blue 0x40 everywhere, the pixel (30, 20) marked.
void WriteBmp(const std::string& path, int32_t width, int32_t height) {
  Hdc screen = GetDC(0);
  Hdc dc = CreateCompatibleDC(screen);
  HBitmap bitmap = CreateCompatibleBitmap(screen, width, height);
  HGdiObj old = SelectObject(dc, bitmap);
  HBrush blue = CreateSolidBrush(Rgb(0, 0, 0x40));
  const Rect all{0, 0, width, height};
  FillRect(dc, &all, blue);
  SetPixelV(dc, 30, 20, Rgb(30, 20, 0x40));
  SelectObject(dc, old);
  SaveBitmapFile(path, bitmap);
  DeleteObject(blue);
  DeleteObject(bitmap);
  DeleteDC(dc);
  ReleaseDC(0, screen);
}

class Prompts : public WindowFixture {
 protected:
  Prompts() {
    Shot() = Snapshot{};
    DiagnosticConfigurationPath = ".\\no-diagconf-here.ini";
  }
  ~Prompts() override {
    for (const std::string& f : files_) std::remove(f.c_str());
    DiagnosticConfigurationPath = ".\\diagconf.ini";
  }

  // The operator's script; a snapshot is taken 10 ms into the prompt, before anyone answers.
  void Operator(const std::string& script, bool snapshot = true) {
    std::string error;
    ASSERT_TRUE(sim::SetOperatorScript(script, error)) << error;
    if (snapshot) SetTimer(0, 0, 10, TakeSnapshot);
  }

  std::string File(const std::string& name) {
    files_.push_back(name);
    return name;
  }

  std::vector<std::string> files_;
};

TEST_F(Prompts, EveryButtonGivesItsResultAndKeysPressTheDefault) {
  const struct {
    uint32_t Style;
    const char* Script;
    PromptResult Expected;
  } cases[] = {
      {0x1004, "wait 50; answer no", PromptNo},        {0x1004, "wait 50; answer yes", PromptYes},
      {0, "wait 50; answer ok", PromptOk},             {1, "wait 50; answer cancel", PromptCancel},
      {2, "wait 50; answer abort", PromptAbort},       {2, "wait 50; answer retry", PromptRetry},
      {2, "wait 50; key return", PromptIgnore},        {3, "wait 50; key alt+c", PromptCancel},
      {5, "wait 50; key tab; key return", PromptCancel}, {9, "wait 50; answer ok", PromptOk},
  };
  for (const auto& c : cases) {
    Shot() = Snapshot{};
    Operator(c.Script);
    EXPECT_EQ(KestWindow::Prompt(L"Is the picture right?", L"ModeTest", c.Style), c.Expected) << c.Script;
    EXPECT_EQ(sim::OperatorStepsLeft(), 0u) << c.Script;
    // The class lasts one prompt.
    EXPECT_TRUE(sim::TopLevelWindows().empty());
  }
  // Style 9 is no set of the table: a lone OK, focused.
  ASSERT_TRUE(Shot().Taken);
  std::vector<int32_t> buttons;
  for (const Control& c : Shot().Controls)
    if (c.Class == L"BUTTON") buttons.push_back(c.Id);
  EXPECT_EQ(buttons, std::vector<int32_t>{1005});
  EXPECT_EQ(Shot().FocusId, 1005);
}

TEST_F(Prompts, APlainPromptStandsInTheMiddleWithItsButtonsInAColumn) {
  Operator("wait 50; answer yes");
  ASSERT_EQ(KestWindow::Prompt(L"Connect the cable.", L"", 0x1004), PromptYes);
  const Snapshot& s = Shot();
  ASSERT_TRUE(s.Taken);
  EXPECT_EQ(s.Class, L"PromptWindowClassName");
  // An empty title shows the program's path.
  EXPECT_EQ(s.Title, Widen(GetModulePath()));
  EXPECT_TRUE(s.TopMost);
  EXPECT_EQ(s.Bounds.Left, 640 / 2 - 270);
  EXPECT_EQ(s.Bounds.Top, 480 / 2 - 145);
  EXPECT_EQ(s.Bounds.Right - s.Bounds.Left, 540);
  EXPECT_EQ(s.Bounds.Bottom - s.Bounds.Top, 290);
  const Control* yes = FindControl(s, 1007);
  const Control* no = FindControl(s, 1004);
  const Control* text = FindControl(s, 1000);
  ASSERT_TRUE(yes && no && text);
  EXPECT_EQ(yes->Style, 0x50010301u);
  EXPECT_EQ(no->Style, 0x50010300u);
  EXPECT_EQ(s.FocusId, 1007);
  EXPECT_EQ(yes->Place.Left, 365);
  EXPECT_EQ(yes->Place.Top, 10);
  EXPECT_EQ(no->Place.Top, 40);
  EXPECT_EQ(yes->Place.Bottom - yes->Place.Top, 25);
  EXPECT_EQ(yes->Place.Right - yes->Place.Left, 80);  // "&Yes" at 10 a character is less than 80
  EXPECT_EQ(text->Style, 0x50802000u);
  EXPECT_EQ(text->Text, L"Connect the cable.");
  EXPECT_EQ(text->Place.Left, 10);
  EXPECT_EQ(text->Place.Right - text->Place.Left, 340);
  EXPECT_EQ(text->Place.Bottom - text->Place.Top, 270);
}

TEST_F(Prompts, AnImagePromptFitsItsPictureAndScrollsOnlyWhatIsLargerThanTheView) {
  // A picture that fits: window = picture + (50, 140), no bars, and the picture on the screen.
  WriteBmp(File("small.bmp"), 520, 200);
  Operator("wait 50; answer ok");
  ASSERT_EQ(KestWindow::ImagePrompt(L"This picture.", L"Port", 0x1000, L"SMALL.BMP"), PromptOk);
  Snapshot s = Shot();
  ASSERT_TRUE(s.Taken);
  EXPECT_EQ(s.Bounds.Right - s.Bounds.Left, 570);
  EXPECT_EQ(s.Bounds.Bottom - s.Bounds.Top, 340);
  EXPECT_EQ(s.Bounds.Left, 320 - 285);
  const Control* image = FindControl(s, 1008);
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->Style, 0x5000000Eu);
  EXPECT_EQ(image->Place.Left, 10);
  EXPECT_EQ(image->Place.Right - image->Place.Left, 570 - 40);
  EXPECT_EQ(image->Place.Bottom - image->Place.Top, 340 - 130);
  for (const Control* bar : Bars(s)) EXPECT_FALSE(bar->Visible);
  const Control* text = FindControl(s, 1000);
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(text->Place.Top, 340 - 90);
  EXPECT_EQ(text->Place.Bottom - text->Place.Top, 60);
  // The minimum tracking size, and the maximum the screen.
  EXPECT_EQ(s.Limits.MinTrackSize.X, 540);
  EXPECT_EQ(s.Limits.MinTrackSize.Y, 300);
  EXPECT_EQ(s.Limits.MaxTrackSize.X, 640);

  // A tiny picture asks for 150 by 220; the sizable frame is made no smaller than its minimum
  // tracking size, as user32 makes it, and the picture stays in the upper left corner.
  WriteBmp(File("tiny.bmp"), 100, 80);
  Shot() = Snapshot{};
  Operator("wait 50; answer ok");
  ASSERT_EQ(KestWindow::ImagePrompt(L"This picture.", L"Port", 0, L"tiny.bmp"), PromptOk);
  s = Shot();
  ASSERT_TRUE(s.Taken);
  EXPECT_EQ(s.Bounds.Left, 320 - 75);
  EXPECT_EQ(s.Bounds.Right - s.Bounds.Left, 540);
  EXPECT_EQ(s.Bounds.Bottom - s.Bounds.Top, 300);
  for (const Control* bar : Bars(s)) EXPECT_FALSE(bar->Visible);

  // A picture larger than the screen: the window is the screen's size and both bars show.
  WriteBmp(File("large.bmp"), 2000, 1500);
  Shot() = Snapshot{};
  Operator("wait 50; answer ok");
  ASSERT_EQ(KestWindow::ImagePrompt(L"", L"Port", 0, L"large.bmp"), PromptOk);
  s = Shot();
  ASSERT_TRUE(s.Taken);
  EXPECT_EQ(s.Bounds.Right - s.Bounds.Left, 640);
  EXPECT_EQ(s.Bounds.Bottom - s.Bounds.Top, 480);
  EXPECT_EQ(FindControl(s, 1000), nullptr);  // no text, no text control
  image = FindControl(s, 1008);
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->Place.Bottom - image->Place.Top, 480 - 50);
  ASSERT_EQ(Bars(s).size(), 2u);
  for (const Control* bar : Bars(s)) EXPECT_TRUE(bar->Visible);

  // A picture that does not load: 540 by 300, the path in a bordered box, a debug line, no bars.
  Shot() = Snapshot{};
  Operator("wait 50; answer ok");
  testing::internal::CaptureStdout();
  ASSERT_EQ(KestWindow::ImagePrompt(L"Look.", L"Port", 0, L"C:\\Missing\\Port.BMP"), PromptOk);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "LogMessage 14 8 \"Error Loading Image File.\" \"\"\n");
  s = Shot();
  ASSERT_TRUE(s.Taken);
  EXPECT_EQ(s.Bounds.Right - s.Bounds.Left, 540);
  EXPECT_EQ(s.Bounds.Bottom - s.Bounds.Top, 300);
  image = FindControl(s, 1008);
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->Style, 0x50800000u);
  EXPECT_EQ(image->Text, L"C:\\Missing\\Port.BMP");
  for (const Control* bar : Bars(s)) EXPECT_FALSE(bar->Visible);
}

// While the large picture is up: its first pixel at the image control's corner, then after a
// scroll to (30, 20) the picture's pixel (30, 20) there; a resize puts it back to its corner.
ColorRef seenCorner[3];
void PLATFORM_CALLBACK ScrollAndLook(Hwnd, uint32_t, uintptr_t id, uint32_t) {
  KillTimer(0, id);
  Hwnd w = FrontPrompt();
  Hwnd image = GetDlgItem(w, 1008);
  Hwnd hbar = 0;
  Hwnd vbar = 0;
  for (Hwnd c : sim::ChildWindows(w))
    if (sim::WindowClassName(c) == L"SCROLLBAR") (GetWindowLongA(c, GwlStyle) & 1 ? vbar : hbar) = c;
  Rect r;
  GetWindowRect(image, &r);
  Hdc screen = GetDC(0);
  UpdateWindow(w);
  seenCorner[0] = GetPixel(screen, r.Left, r.Top);
  SendMessageA(w, WmHScroll, MakeWParam(SbThumbPosition, 30), static_cast<LParam>(hbar));
  SendMessageA(w, WmVScroll, MakeWParam(SbThumbTrack, 20), static_cast<LParam>(vbar));
  UpdateWindow(w);
  seenCorner[1] = GetPixel(screen, r.Left, r.Top);
  SendMessageA(w, WmSize, 0, MakeLParam(600, 440));
  UpdateWindow(w);
  seenCorner[2] = GetPixel(screen, r.Left, r.Top);
  ReleaseDC(0, screen);
}

TEST_F(Prompts, ThePictureIsDrawnAtItsScrollOffset) {
  WriteBmp(File("scroll.bmp"), 1000, 900);
  std::string error;
  ASSERT_TRUE(sim::SetOperatorScript("wait 50; answer ok", error));
  SetTimer(0, 0, 10, ScrollAndLook);
  ASSERT_EQ(KestWindow::ImagePrompt(L"Scroll me.", L"Port", 0, L"scroll.bmp"), PromptOk);
  EXPECT_EQ(seenCorner[0], Rgb(0, 0, 0x40));
  EXPECT_EQ(seenCorner[1], Rgb(30, 20, 0x40));
  EXPECT_EQ(seenCorner[2], Rgb(0, 0, 0x40));
}

TEST_F(Prompts, ACloseRequestIsCancelOrOkOrRefused) {
  Operator("wait 50; close");
  EXPECT_EQ(KestWindow::Prompt(L"Close me.", L"T", 1), PromptCancel);
  Operator("wait 50; close");
  EXPECT_EQ(KestWindow::ImagePrompt(L"Close me.", L"T", 0, L""), PromptOk);
  // Yes/No cannot be closed: the window stays for the answer.
  Operator("wait 50; close; wait 50; answer no");
  EXPECT_EQ(KestWindow::Prompt(L"Close me.", L"T", 4), PromptNo);
}

TEST_F(Prompts, ARowThatDoesNotFitKeepsEveryLabelReadable) {
  // At 30 pixels a character three seven-letter labels ask for 630 pixels of a 540 window.
  Operator("wait 50; answer ignore");
  ASSERT_EQ(KestWindow::ImagePrompt(L"Three buttons.", L"T", 2, L""), PromptIgnore);
  const Snapshot& s = Shot();
  ASSERT_TRUE(s.Taken);
  EXPECT_EQ(s.FocusId, 1003);
  std::vector<Rect> row;
  for (int32_t id : {1001, 1006, 1003}) {
    const Control* b = FindControl(s, id);
    ASSERT_NE(b, nullptr);
    row.push_back(b->Place);
    EXPECT_EQ(b->Place.Bottom, 300);
  }
  EXPECT_GE(row[0].Left, 0);
  EXPECT_LE(row[2].Right, 540);
  EXPECT_LE(row[0].Right, row[1].Left);
  EXPECT_LE(row[1].Right, row[2].Left);
  if (sim::TextRenderingAvailable()) {
    // The label font's widest label of any catalogue language fits its button.
    Hdc dc = GetDC(0);
    HFont font = MakeLabelFont();
    HGdiObj old = SelectObject(dc, font);
    for (const wchar_t* label : {L"Abbrechen", L"Wiederholen", L"Ignorieren", L"Cancel", L"Ignore"}) {
      Size size;
      GetTextExtentPoint32W(dc, label, -1, &size);
      EXPECT_LT(size.Cx, row[0].Right - row[0].Left) << Narrow(label);
    }
    SelectObject(dc, old);
    DeleteObject(font);
    ReleaseDC(0, dc);
  }
  // Rows that fit: equal gaps.
  const std::vector<Rect> two = ButtonRow(530, 290, 2, 210);
  EXPECT_EQ(two[0].Left, (530 - 420) / 3);
  EXPECT_EQ(two[1].Left - two[0].Right, two[0].Left);
  EXPECT_EQ(LabelRate("ja_JP", 30), 18);
  EXPECT_EQ(LabelRate("ja_JP", 10), 18);
  EXPECT_EQ(LabelRate("de_DE", 30), 30);
  EXPECT_EQ(ButtonWidth({L"&OK"}, 18), 80);
  EXPECT_EQ(ButtonWidth({L"&Yes", L"&Cancel"}, 18), 126);
}

// The configured look: labels and owner-drawn buttons in the background colour, black frames.
ColorRef seenText = 0;
ColorRef seenButtonInside = 0;
ColorRef seenButtonEdge = 0;
void PLATFORM_CALLBACK LookAtColours(Hwnd, uint32_t, uintptr_t id, uint32_t) {
  KillTimer(0, id);
  Hwnd w = FrontPrompt();
  UpdateWindow(w);
  Hdc screen = GetDC(0);
  Rect r;
  GetWindowRect(GetDlgItem(w, 1000), &r);
  seenText = GetPixel(screen, r.Right - 3, r.Bottom - 3);
  GetWindowRect(GetDlgItem(w, 1007), &r);
  seenButtonInside = GetPixel(screen, r.Left + 3, r.Top + 3);
  seenButtonEdge = GetPixel(screen, r.Left, r.Top);
  ReleaseDC(0, screen);
}

TEST_F(Prompts, TheConfiguredWindowPaintsItsColourAndWatchesForTermination) {
  const std::string conf = File("diagconf-test.ini");
  std::ofstream(conf) << "[WindowSettings]\nBackgroundColor=0x00FF0000\n";
  DiagnosticConfigurationPath = ".\\" + conf;
  std::string error;
  ASSERT_TRUE(sim::SetOperatorScript("wait 50; answer yes", error));
  SetTimer(0, 0, 10, LookAtColours);
  EXPECT_EQ(ShowPrompt(L"Blue?", "ModeTest", 0x1004), PromptYes);
  EXPECT_EQ(seenText, Rgb(0, 0, 255));
  EXPECT_EQ(seenButtonInside, Rgb(0, 0, 255));
  EXPECT_EQ(seenButtonEdge, Rgb(0, 0, 0));
  Operator("wait 50; answer yes");
  ASSERT_EQ(ShowPrompt(L"Blue?", "ModeTest", 0x1004), PromptYes);
  EXPECT_EQ(Shot().Class, L"MessageWindowClassName");
  EXPECT_EQ(FindControl(Shot(), 1007)->Style, 0x5001030Bu);

  // A kill file while the prompt waits: -1 within two periods, and the line on standard output.
  const std::string kill = File("kill.ctl");
  std::ofstream(kill) << "";
  ASSERT_TRUE(IsTerminationRequested());
  ASSERT_TRUE(sim::SetOperatorScript("nothing", error));
  const uint32_t start = GetTickCount();
  testing::internal::CaptureStdout();
  EXPECT_EQ(ShowPrompt(L"Waiting.", "ModeTest", 0x1004), PromptTerminated);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Process received request to terminate. Exiting windows message handler.\n");
  EXPECT_LE(GetTickCount() - start, 10000u);

  // Without the configuration file the same request leaves the prompt to its operator.
  DiagnosticConfigurationPath = ".\\no-diagconf-here.ini";
  ASSERT_TRUE(sim::SetOperatorScript("wait 12000; answer no", error));
  const uint32_t plainStart = GetTickCount();
  EXPECT_EQ(ShowPrompt(L"Waiting.", "ModeTest", 0x1004), PromptNo);
  EXPECT_GE(GetTickCount() - plainStart, 12000u);
}

TEST_F(Prompts, TheTextEntryIsWipedWhenIdleAndEndsOnEnter) {
  std::string answer;
  // Typing every 300 ms beats a 1000 ms wipe; Enter's release ends it with 0.
  Operator("type-slowly 300 Abc12; key return", false);
  EXPECT_EQ(KestWindow::TextPrompt(L"Serial number?", L"T", answer, 1000), PromptNoAnswer);
  EXPECT_EQ(answer, "Abc12");
  // Silence for one period wipes the field; OK gives 5.
  Operator("type abc; wait 1500; type de; answer ok", false);
  EXPECT_EQ(KestWindow::TextPrompt(L"Serial number?", L"T", answer, 1000), PromptOk);
  EXPECT_EQ(answer, "de");
  // At most 255 characters come back.
  Operator("type " + std::string(300, 'x') + "; key return", false);
  KestWindow::TextPrompt(L"Serial number?", L"T", answer, 100000);
  EXPECT_EQ(answer, std::string(255, 'x'));
}

int32_t createSeen = 0;
int32_t keysSeen = 0;
int32_t CountKeys(Hwnd, uint32_t message, WParam, LParam) {
  if (message == WmKeyDown || message == WmSysKeyDown) ++keysSeen;
  return 1;
}
int32_t EatCreate(Hwnd, uint32_t message, WParam, LParam) {
  if (message != WmCreate) return 1;
  ++createSeen;
  return 0;
}

TEST_F(Prompts, TheCountdownEndsByTimeByCloseOrNever) {
  // 3 seconds end at the 31st tick of 100 ms. Keys reach the hook and do nothing of their own.
  Operator("wait 500; key escape; key alt+f4; key return", false);
  uint32_t start = GetTickCount();
  EXPECT_EQ(KestWindow::Countdown(L"Turn the screen.", L"RotationTest", 3, CountKeys), CountdownTimeUp);
  EXPECT_EQ(GetTickCount() - start, 3100u);
  EXPECT_EQ(keysSeen, 4);  // Alt itself is a key too
  EXPECT_TRUE(sim::TopLevelWindows().empty());

  // 0 seconds: only a close ends it.
  Operator("wait 60000; close", false);
  start = GetTickCount();
  EXPECT_EQ(KestWindow::Countdown(L"Wait.", L"RotationTest", 0, nullptr), CountdownClosed);
  EXPECT_EQ(GetTickCount() - start, 60000u);

  // A hook that eats the create message: no timer starts, so 3 seconds are no limit.
  Operator("wait 10000; close", false);
  start = GetTickCount();
  EXPECT_EQ(KestWindow::Countdown(L"Wait.", L"RotationTest", 3, EatCreate), CountdownClosed);
  EXPECT_EQ(GetTickCount() - start, 10000u);
  EXPECT_EQ(createSeen, 1);
}

}  // namespace
