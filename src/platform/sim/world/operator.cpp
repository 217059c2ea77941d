#include "platform/sim/world/operator.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <mutex>
#include <sstream>
#include <vector>

#include "platform/gdi.h"
#include "platform/sim/display/display_model.h"
#include "platform/sim/gdi/gdi_sim.h"
#include "platform/sim/machine.h"
#include "platform/sim/system/power_sim.h"
#include "platform/sim/screenshot.h"
#include "platform/sim/window/window_sim.h"
#include "platform/window.h"
#include "platform/sim/text_util.h"

namespace platform {
namespace sim {

namespace {

enum class Kind { Digit, Digits, KeypadDigit, WrongDigit, Key, Type, TypeSlowly, Answer, SayIfBlank, Close, Rotate, Connect, Nothing, Wait, GiveUp };

struct Step {
  Kind What = Kind::Nothing;
  uint32_t Number = 0;
  bool Alt = false;  // a key pressed with Alt held
  std::string Text;
  ConnectorConfig Port;  // Connect: the output the cable goes into
};

constexpr uint32_t DefaultGiveUp = 600000;
constexpr int ExtraBreaks = 3;
constexpr auto KillAfterReal = std::chrono::seconds(10);

struct Person {
  std::recursive_mutex Lock;
  bool Loaded = false;
  std::deque<Step> Steps;
  uint32_t GiveUpMs = DefaultGiveUp;
  bool Started = false;
  uint32_t IdleSince = 0;
  Hwnd LastFront = 0;
  bool WaitArmed = false;
  uint32_t WaitEnd = 0;
  Hwnd Ignoring = 0;  // the window a "nothing" step leaves alone
  size_t Typed = 0;   // keys of a slow "type" step pressed so far
  uint32_t NextKeyAt = 0;
  bool GaveUp = false;
  int Breaks = 0;
  std::chrono::steady_clock::time_point FirstBreak;
  std::function<bool()> Rotate;
  bool Turned = false;  // a turn to the machine's portrait mode is to be undone by the next
  ModeSize TurnedFrom;
  uint32_t DarkeningsSeen = 0;  // how often the monitor had gone dark at the last step done
};

Person& P() {
  static Person person;
  return person;
}

bool ParseNumber(const std::string& text, uint32_t& value) {
  if (text.empty()) return false;
  char* end = nullptr;
  unsigned long v = std::strtoul(text.c_str(), &end, 0);
  if (*end != 0 || v > 0xFFFFFFFFul) return false;
  value = static_cast<uint32_t>(v);
  return true;
}

bool ParseKey(const std::string& name, uint32_t& key) {
  const std::string lower = Lower(name);
  static const struct {
    const char* Name;
    uint32_t Key;
  } names[] = {{"escape", VkEscape}, {"esc", VkEscape}, {"return", VkReturn}, {"enter", VkReturn},
               {"space", VkSpace},   {"tab", VkTab},     {"back", VkBack},     {"backspace", VkBack},
               {"left", VkLeft},     {"right", VkRight}, {"up", VkUp},         {"down", VkDown},
               {"shift", VkShift}};
  for (const auto& entry : names)
    if (lower == entry.Name) {
      key = entry.Key;
      return true;
    }
  if (lower.size() >= 2 && lower[0] == 'f' && lower[1] != 'x') {
    uint32_t n = 0;
    if (ParseNumber(lower.substr(1), n) && n >= 1 && n <= 12) {
      key = VkF1 + n - 1;
      return true;
    }
  }
  if (name.size() == 1 && ((name[0] >= '0' && name[0] <= '9') || (name[0] >= 'a' && name[0] <= 'z') ||
                           (name[0] >= 'A' && name[0] <= 'Z'))) {
    key = static_cast<uint32_t>(name[0] >= 'a' ? name[0] - 'a' + 'A' : name[0]);
    return true;
  }
  return ParseNumber(name, key) && key > 0 && key < 0x100;
}

bool ParseScript(const std::string& script, std::deque<Step>& steps, std::string& error) {
  std::string normalised = script;
  std::replace(normalised.begin(), normalised.end(), ';', '\n');
  std::istringstream lines(normalised);
  std::string line;
  int number = 0;
  while (std::getline(lines, line)) {
    ++number;
    line = Strip(line.substr(0, line.find('#')));
    if (line.empty()) continue;
    const size_t space = line.find_first_of(" \t");
    const std::string word = Lower(line.substr(0, space));
    const std::string rest = space == std::string::npos ? "" : Strip(line.substr(space));
    Step step;
    bool ok = true;
    if (word == "digit") step.What = Kind::Digit;
    else if (word == "digits") step.What = Kind::Digits;
    else if (word == "keypad-digit") step.What = Kind::KeypadDigit;
    else if (word == "wrong-digit") step.What = Kind::WrongDigit;
    else if (word == "f1") {
      step.What = Kind::Key;
      step.Number = VkF1;
    } else if (word == "key") {
      step.What = Kind::Key;
      std::string key = rest;
      if (Lower(key.substr(0, 4)) == "alt+") {
        step.Alt = true;
        key = key.substr(4);
      }
      ok = ParseKey(key, step.Number);
    } else if (word == "type") {
      step.What = Kind::Type;
      step.Text = rest;
      ok = !rest.empty();
    } else if (word == "type-slowly") {
      // type-slowly <ms> <text>: one key every <ms> milliseconds.
      step.What = Kind::TypeSlowly;
      const size_t gap = rest.find_first_of(" \t");
      step.Text = gap == std::string::npos ? "" : Strip(rest.substr(gap));
      ok = gap != std::string::npos && ParseNumber(rest.substr(0, gap), step.Number) && !step.Text.empty();
    } else if (word == "answer") {
      step.What = Kind::Answer;
      step.Text = rest;
      ok = !rest.empty();
    } else if (word == "say-if-blank") step.What = Kind::SayIfBlank;
    else if (word == "close") step.What = Kind::Close;
    else if (word == "rotate") step.What = Kind::Rotate;
    else if (word == "connect") {
      step.What = Kind::Connect;
      ok = ParseConnector(rest, step.Port);
    }
    else if (word == "nothing") step.What = Kind::Nothing;
    else if (word == "wait") {
      step.What = Kind::Wait;
      ok = ParseNumber(rest, step.Number);
    } else if (word == "give-up") {
      step.What = Kind::GiveUp;
      ok = ParseNumber(rest, step.Number) && step.Number > 0;
    } else {
      error = "operator step " + std::to_string(number) + ": unknown step \"" + word + "\"";
      return false;
    }
    if (!ok) {
      error = "operator step " + std::to_string(number) + ": bad argument \"" + rest + "\"";
      return false;
    }
    steps.push_back(step);
  }
  return true;
}

void Start(std::deque<Step> steps) {
  Person& p = P();
  p.Steps = std::move(steps);
  p.Loaded = true;
  p.GiveUpMs = DefaultGiveUp;
  p.Started = false;
  p.LastFront = 0;
  p.WaitArmed = false;
  p.Ignoring = 0;
  p.Typed = 0;
  p.GaveUp = false;
  p.Breaks = 0;
  p.Turned = false;
  p.DarkeningsSeen = MonitorDarkenings();
}

void Tap(uint32_t key) {
  PressKey(key, true);
  PressKey(key, false);
}

// One character as a person types it: Shift for capitals; other characters are not on the keys.
void TypeCharacter(char c) {
  uint32_t key = 0;
  if (c >= 'a' && c <= 'z') key = static_cast<uint32_t>(c - 'a' + 'A');
  else if ((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == ' ') key = static_cast<uint32_t>(c);
  else return;
  const bool shift = c >= 'A' && c <= 'Z';
  if (shift) PressKey(VkShift, true);
  Tap(key);
  if (shift) PressKey(VkShift, false);
}

// The single digits drawn in the window, left to right: what a person reads off the screen.
std::vector<int> DigitsOnScreen(Hwnd front) {
  if (PrimaryMonitorsShowNothing()) return {};
  Rect area;
  GetWindowRect(front, &area);
  std::vector<TextRun> runs = TextRunsIn(ScreenSurface(), area);
  std::stable_sort(runs.begin(), runs.end(), [](const TextRun& a, const TextRun& b) { return a.Bounds.Left < b.Bounds.Left; });
  std::vector<int> digits;
  for (const TextRun& run : runs) {
    std::wstring text = run.Text;
    text.erase(0, text.find_first_not_of(L' '));
    text.erase(text.find_last_not_of(L' ') + 1);
    if (text.size() == 1 && text[0] >= L'0' && text[0] <= L'9') digits.push_back(text[0] - L'0');
  }
  return digits;
}

std::wstring Label(const std::wstring& text) {
  std::wstring out;
  for (wchar_t c : text)
    if (c != L'&') out.push_back(c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c - L'A' + L'a') : c);
  return out;
}

Hwnd FindButton(Hwnd window, const std::wstring& wanted) {
  for (Hwnd child : ChildWindows(window)) {
    std::wstring cls = WindowClassName(child);
    if (IsWindowVisible(child) && Label(cls) == L"button" && Label(WindowTitle(child)) == wanted) return child;
    if (Hwnd inner = FindButton(child, wanted)) return inner;
  }
  return 0;
}

// A quarter turn of the primary display as the machine's pivot takes it; false when nothing turns.
bool DefaultRotate() {
  DisplayModel& model = DisplayModel::Get();
  AdapterState& primary = model.Primary();
  if (!primary.OnDesktop()) return false;
  const RotationSettings& rotation = CurrentMachine().Rotation;
  Person& p = P();
  DisplaySettings next = primary.Current;
  switch (rotation.Turn) {
    case RotationSettings::Kind::None:
      return false;
    case RotationSettings::Kind::Swap:
      std::swap(next.Mode.Width, next.Mode.Height);
      break;
    case RotationSettings::Kind::Depth:
      next.Mode.Bits = next.Mode.Bits == 16 ? 32 : 16;
      break;
    case RotationSettings::Kind::Mode:
      if (p.Turned) {
        next.Mode = p.TurnedFrom;
      } else {
        p.TurnedFrom = next.Mode;
        next.Mode = rotation.Portrait;
      }
      p.Turned = !p.Turned;
      break;
  }
  model.Apply(primary, next);
  return true;
}

void Complain(const std::string& what) { std::fprintf(stderr, "warning: operator: %s\n", what.c_str()); }

// Does the step at the head of the script if it can be done now.
bool TryStep(Step& step, Hwnd front, uint32_t now, uint32_t& wakeAt, bool& done) {
  Person& p = P();
  done = false;
  switch (step.What) {
    case Kind::Wait:
      if (!p.WaitArmed) {
        p.WaitArmed = true;
        p.WaitEnd = now + step.Number;
      }
      if (static_cast<int32_t>(p.WaitEnd - now) > 0) {
        if (static_cast<int32_t>(p.WaitEnd - wakeAt) < 0) wakeAt = p.WaitEnd;
        return false;
      }
      p.WaitArmed = false;
      done = true;
      return false;
    case Kind::GiveUp:
      p.GiveUpMs = step.Number;
      done = true;
      return false;
    case Kind::Nothing:
      if (p.Ignoring == 0) p.Ignoring = front;
      if (p.Ignoring != 0 && IsWindow(p.Ignoring)) return false;
      p.Ignoring = 0;
      done = true;
      return false;
    case Kind::Rotate: {
      done = true;
      // The screen as the person saw it before the turn: a countdown shows its seconds left.
      SaveScreenshot(L"before turning");
      std::function<bool()> rotate = p.Rotate ? p.Rotate : DefaultRotate;
      if (!rotate()) Complain("the screen does not turn");
      return true;
    }
    default:
      break;
  }
  if (front == 0) return false;
  if (step.What == Kind::Connect) {
    // Asked for a cable, the person plugs a monitor into that output; the prompt stays up.
    done = true;
    if (!DisplayModel::Get().ConnectMonitor(step.Port)) Complain("there is no free output of that kind to connect");
    return false;
  }
  switch (step.What) {
    case Kind::Digit:
    case Kind::KeypadDigit:
    case Kind::WrongDigit:
    case Kind::Digits: {
      std::vector<int> digits = DigitsOnScreen(front);
      if (digits.empty()) return false;
      if (step.What == Kind::Digits) {
        for (int d : digits) Tap(static_cast<uint32_t>('0' + d));
      } else if (step.What == Kind::Digit) {
        Tap(static_cast<uint32_t>('0' + digits.front()));
      } else if (step.What == Kind::KeypadDigit) {
        Tap(VkNumpad0 + static_cast<uint32_t>(digits.front()));
      } else {
        int wrong = (digits.front() + 1) % 10;
        while (std::find(digits.begin(), digits.end(), wrong) != digits.end()) wrong = (wrong + 1) % 10;
        Tap(static_cast<uint32_t>('0' + wrong));
      }
      break;
    }
    case Kind::Key:
      if (step.Alt) PressKey(VkMenu, true);
      Tap(step.Number);
      if (step.Alt) PressKey(VkMenu, false);
      break;
    case Kind::Type:
      for (char c : step.Text) TypeCharacter(c);
      break;
    case Kind::TypeSlowly:
      if (p.Typed > 0 && static_cast<int32_t>(p.NextKeyAt - now) > 0) {
        if (static_cast<int32_t>(p.NextKeyAt - wakeAt) < 0) wakeAt = p.NextKeyAt;
        return false;
      }
      TypeCharacter(step.Text[p.Typed++]);
      p.NextKeyAt = now + step.Number;
      if (p.Typed < step.Text.size()) return true;
      p.Typed = 0;
      break;
    case Kind::Answer: {
      std::wstring wanted;
      for (char c : step.Text) wanted.push_back(static_cast<wchar_t>(static_cast<unsigned char>(c)));
      Hwnd button = FindButton(front, Label(wanted));
      if (button == 0) return false;
      PostMessageA(button, WmLButtonDown, 1, 0);
      PostMessageA(button, WmLButtonUp, 0, 0);
      break;
    }
    case Kind::SayIfBlank: {
      // What the person saw: whether the screen went dark since the step before.
      Hwnd yes = FindButton(front, L"yes");
      Hwnd no = FindButton(front, L"no");
      if (yes == 0 || no == 0) return false;
      Hwnd button = MonitorDarkenings() != p.DarkeningsSeen ? yes : no;
      PostMessageA(button, WmLButtonDown, 1, 0);
      PostMessageA(button, WmLButtonUp, 0, 0);
      break;
    }
    case Kind::Close:
      PostMessageA(front, WmClose, 0, 0);
      break;
    default:
      return false;
  }
  done = true;
  return true;
}

void SendBreak() {
  // The path a Ctrl-C takes: the signal reaches the console handlers on their own thread.
  std::raise(SIGINT);
}

}  // namespace

bool SetOperatorScript(const std::string& script, std::string& error) {
  std::deque<Step> steps;
  std::lock_guard<std::recursive_mutex> hold(P().Lock);
  if (!ParseScript(script, steps, error)) {
    Start({});
    return false;
  }
  Start(std::move(steps));
  return true;
}

bool OperatorAct(uint32_t now, uint32_t& wakeAt) {
  Person& p = P();
  std::lock_guard<std::recursive_mutex> hold(p.Lock);
  // Without a script (a unit test that set none) the operator does nothing but give up in time.
  if (!p.Loaded) Start({});
  if (!p.Started) {
    p.Started = true;
    p.IdleSince = now;
  }
  std::vector<Hwnd> windows = TopLevelWindows();
  const Hwnd front = windows.empty() ? 0 : windows.front();
  if (front != p.LastFront) {
    // Something new to look at: patience starts again.
    p.LastFront = front;
    p.IdleSince = now;
  }
  while (!p.Steps.empty()) {
    bool done = false;
    const bool acted = TryStep(p.Steps.front(), front, now, wakeAt, done);
    if (done) {
      p.DarkeningsSeen = MonitorDarkenings();
      p.Steps.pop_front();
      p.IdleSince = now;
      p.Breaks = 0;
      p.GaveUp = false;
    }
    if (acted) return true;
    if (!done) break;
  }
  const uint32_t patienceEnd = p.IdleSince + p.GiveUpMs;
  if (static_cast<int32_t>(now - patienceEnd) >= 0) {
    if (!p.GaveUp) {
      p.GaveUp = true;
      p.FirstBreak = std::chrono::steady_clock::now();
      Complain("nothing to do on the screen; giving up with a console break");
      SendBreak();
    } else if (++p.Breaks > ExtraBreaks && std::chrono::steady_clock::now() - p.FirstBreak >= KillAfterReal) {
      Complain("the program does not end after the break; ending the process");
      std::fflush(nullptr);
      std::_Exit(3);
    }
    p.IdleSince = now;
    return false;
  }
  if (static_cast<int32_t>(patienceEnd - wakeAt) < 0) wakeAt = patienceEnd;
  return false;
}

void SetRotateAction(std::function<bool()> rotate) {
  std::lock_guard<std::recursive_mutex> hold(P().Lock);
  P().Rotate = std::move(rotate);
}

size_t OperatorStepsLeft() {
  std::lock_guard<std::recursive_mutex> hold(P().Lock);
  return P().Steps.size();
}

bool OperatorGaveUp() {
  std::lock_guard<std::recursive_mutex> hold(P().Lock);
  return P().GaveUp;
}

}  // namespace sim
}  // namespace platform
