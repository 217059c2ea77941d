// What the prompt of KestWindow and the configured one of DiagnosticWindow share: the state block,
// the building of the window and its controls, the handling of the messages both treat alike, and
// the message loop. Each kind keeps a block of its own and says where its answer goes.
#pragma once

#include <cstdint>
#include <string>

#include "platform/gdiplus.h"
#include "platform/window.h"
#include "prompts/PromptLayout.h"

struct PromptState {
  platform::Hwnd window = 0;
  platform::Hwnd textControl = 0;
  platform::Hwnd imageControl = 0;
  platform::Hwnd horizontalBar = 0;
  platform::Hwnd verticalBar = 0;
  platform::HFont labelFont = 0;
  platform::Hdc imageDC = 0;
  bool onTop = false;
  bool hasImage = false;
  bool hasText = false;
  bool imageFailed = false;
  PromptResult result = PromptNoAnswer;
  std::wstring imagePath;
  int32_t imageWidth = 0;
  int32_t imageHeight = 0;
  int32_t clientWidth = 0;
  int32_t clientHeight = 0;
  int32_t viewWidth = 0;
  int32_t viewHeight = 0;
  int32_t buttonCount = 0;
  int32_t buttonWidth = 0;
  int32_t horizontalPosition = 0;
  int32_t verticalPosition = 0;
  std::wstring title;
  // Not fields of the window's own but of this run: its set and whether the prompt has a picture
  // area, so that a close request and the resize know what they deal with.
  uint32_t buttonSet = 0;
};

// How one prompt is built.
struct PromptKind {
  const char* className = nullptr;
  platform::WndProc handler = nullptr;
  platform::HBrush background = 0;
  void* createParam = nullptr;
  bool ownerDrawnButtons = false;
};

// The two prompt shapes, built and run on `state` until `*result` is set or the queue ends.
PromptResult RunPlainPrompt(PromptState& state, const PromptKind& kind, PromptResult* result,
                            const std::wstring& text, const std::wstring& title, uint32_t style);
PromptResult RunImagePrompt(PromptState& state, const PromptKind& kind, PromptResult* result,
                            const std::wstring& text, const std::wstring& title, uint32_t style,
                            const std::wstring& imagePath);

// The messages both handlers treat alike; `handled` says whether the message was one of them.
platform::LResult HandlePromptMessage(PromptState& state, PromptResult& result, platform::Hwnd window,
                                      uint32_t message, platform::WParam wParam, platform::LParam lParam,
                                      bool& handled);
// The foreground reclaim of an on-top prompt: another window in front, with another title, loses
// the foreground to this one.
void ReclaimForeground(const PromptState& state, const std::wstring& title);

// The executable's path when the title is empty.
std::wstring TitleOrProgramPath(const std::wstring& title);
// The label font: the default GUI font, 18 pixels high, weight 600.
platform::HFont MakeLabelFont();
// The store for the create parameter: four bytes on the 32-bit product, a pointer on a 64-bit build.
constexpr int32_t PromptWindowExtra = static_cast<int32_t>(sizeof(void*));
