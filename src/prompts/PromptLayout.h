// The shapes of the operator windows: which buttons a style shows, how wide they are, and where
// every control of a prompt stands for a given client area. Pure arithmetic, no windows.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/gdi.h"

// A prompt's answer. Buttons count in the alphabetical order of their English names; a button's
// control id is 1000 plus its result. 0: no answer yet; -1: a termination request ended it.
using PromptResult = int32_t;
constexpr PromptResult PromptNoAnswer = 0;
constexpr PromptResult PromptAbort = 1;
constexpr PromptResult PromptCancel = 2;
constexpr PromptResult PromptIgnore = 3;
constexpr PromptResult PromptNo = 4;
constexpr PromptResult PromptOk = 5;
constexpr PromptResult PromptRetry = 6;
constexpr PromptResult PromptYes = 7;
constexpr PromptResult PromptTerminated = -1;

// Style bit for a top-most prompt that keeps the foreground; the rest of the word picks the set.
constexpr uint32_t PromptOnTop = 0x1000;

constexpr int32_t ButtonIdBase = 1000;
constexpr int32_t FirstButtonId = 1001;
constexpr int32_t LastButtonId = 1007;
constexpr int32_t TextControlId = 1000;
constexpr int32_t ImageControlId = 1008;

// The buttons of a set, in their order on the screen, and the one that is default and focused.
struct ButtonSet {
  std::vector<PromptResult> Buttons;
  PromptResult Default = PromptOk;
};
// Sets 0 to 5; any other value is set 0 (a lone OK).
ButtonSet ButtonSetOf(uint32_t style);

// The label's catalogue number and English default.
uint32_t ButtonLabelNumber(PromptResult button);
const wchar_t* ButtonDefaultLabel(PromptResult button);

// Pixels a label character is given: `base` (10 for a plain prompt, 30 for an image prompt),
// or 18 in the locales of wide characters.
int32_t LabelRate(const std::string& locale, int32_t base);
// The widest label of the set in characters (the '&' counts) times the rate, at least 80.
int32_t ButtonWidth(const std::vector<std::wstring>& labels, int32_t rate);

// A row of `count` buttons along the lower edge of the client area, gaps equal. A row wider than
// the window keeps gaps of RowMinimumGap and shares out the rest: the label font needs about 11
// pixels a character, so even three buttons in the narrowest window (540) have 160 pixels each.
constexpr int32_t RowMinimumGap = 4;
std::vector<platform::Rect> ButtonRow(int32_t clientWidth, int32_t clientHeight, int32_t count, int32_t buttonWidth);
// The column of a plain prompt, cut at the right edge of the client area if it must be.
std::vector<platform::Rect> ButtonColumn(int32_t clientWidth, int32_t count, int32_t buttonWidth);

// Where the controls of an image prompt stand; rectangles as (left, top, right, bottom).
struct ImagePromptLayout {
  platform::Rect Text;
  platform::Rect Image;
  platform::Rect HorizontalBar;
  platform::Rect VerticalBar;
};
ImagePromptLayout LayOutImagePrompt(int32_t clientWidth, int32_t clientHeight, bool hasText, bool withImage);

// The outer size of an image prompt's window for a picture, cut to the screen.
platform::Size ImagePromptWindowSize(int32_t imageWidth, int32_t imageHeight, int32_t screenWidth, int32_t screenHeight);
