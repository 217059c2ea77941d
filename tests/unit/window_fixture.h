// A screen for the window tests: a 640x480 display on the virtual clock, an empty window system,
// an operator with nothing to do, and a window procedure that writes down what it is sent.
#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "display_fixture.h"
#include "platform/sim/gdi/gdi_sim.h"
#include "platform/sim/world/operator.h"
#include "platform/sim/window/window_sim.h"
#include "platform/window.h"

namespace window_test {

struct Seen {
  platform::Hwnd Window;
  uint32_t Message;
  platform::WParam W;
  uint32_t Tick;
};

inline std::vector<Seen>& Log() {
  static std::vector<Seen> log;
  return log;
}

inline platform::sim::DisplayConfig Screen(int32_t bits) {
  platform::sim::DisplayConfig config = display_test::OneAdapter();
  config.Adapters[0].Current = {640, 480, bits};
  return config;
}

class WindowFixture : public ::testing::Test {
 protected:
  explicit WindowFixture(int32_t bits = 32) : display_(Screen(bits)) {
    platform::sim::ResetWindowSystem();
    // The display keeps its frame buffer's address across tests: what earlier tests wrote is gone.
    platform::sim::ForgetAllTextRuns(platform::sim::ScreenSurface());
    std::string error;
    platform::sim::SetOperatorScript("", error);
    Log().clear();
  }
  ~WindowFixture() override { platform::sim::ResetWindowSystem(); }

  // Registers `name` with the procedure and `extra` window bytes; fails the test if refused.
  static void Register(const char* name, platform::WndProc proc, int32_t extra = 4) {
    platform::WndClassA c;
    c.Style = platform::CsHRedraw | platform::CsVRedraw;
    c.Proc = proc;
    c.WindowExtra = extra;
    c.ClassName = name;
    ASSERT_NE(platform::RegisterClassA(&c), 0);
  }

  // Runs the loop until WM_QUIT; returns the quit code.
  static int32_t RunLoop() {
    platform::Msg msg;
    int32_t got;
    while ((got = platform::GetMessageA(&msg, 0, 0, 0)) > 0) {
      platform::TranslateMessage(&msg);
      platform::DispatchMessageA(&msg);
    }
    EXPECT_EQ(got, 0);
    return static_cast<int32_t>(msg.Wparam);
  }

  static std::vector<uint32_t> MessagesOf(platform::Hwnd window) {
    std::vector<uint32_t> out;
    for (const Seen& s : Log())
      if (s.Window == window) out.push_back(s.Message);
    return out;
  }

  display_test::DisplayScope display_;
};

}  // namespace window_test
