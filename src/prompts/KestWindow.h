// The message box of this system: a blocking prompt with a text, optionally a picture, and a set
// of buttons, run on the caller's thread; a text entry with an idle wipe; and a countdown that
// hands every message to the caller's hook. The windows keep their state in one process-wide
// block, so one of them runs at a time.
#pragma once

#include <cstdint>
#include <string>

#include "platform/window.h"
#include "prompts/PromptLayout.h"

// 0: the message is consumed; anything else lets the countdown go on with it.
using CountdownHook = int32_t (*)(platform::Hwnd window, uint32_t message, platform::WParam wParam,
                                  platform::LParam lParam);

// What a countdown ends with.
constexpr int32_t CountdownRunning = 1;   // also a window ended by the hook
constexpr int32_t CountdownTimeUp = 0;
constexpr int32_t CountdownClosed = 2;

class KestWindow {
 public:
  virtual ~KestWindow() = default;

  static PromptResult Prompt(const std::wstring& text, const std::wstring& title, uint32_t style);
  static PromptResult ImagePrompt(const std::wstring& text, const std::wstring& title, uint32_t style,
                                  const std::wstring& imagePath);
  // 5 for OK; 0 when the release of Enter ended it first. `answer` is what the field held.
  static PromptResult TextPrompt(const std::wstring& text, const std::wstring& title, std::string& answer,
                                 uint32_t idleInterval);
  static int32_t Countdown(const std::wstring& text, const std::wstring& title, int32_t seconds, CountdownHook hook);
};
