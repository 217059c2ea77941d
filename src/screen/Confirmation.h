// Operator confirmation: the digits drawn on a test screen, their font and place, and the judging
// of the keys the operator presses.
#pragma once

#include <cstdint>
#include <string>

#include "platform/gdi.h"
#include "platform/window.h"

// What the last test window decided; written by its procedure, read after its message loop.
constexpr int32_t KeyUndecided = 0;
constexpr int32_t KeyConfirmed = 1;
constexpr int32_t KeyChecksumMismatch = -1;
constexpr int32_t KeyWrongKeyGoesOn = -2;
constexpr int32_t KeyRejected = 998;       // F1
constexpr int32_t KeyTooManyWrong = 999;

extern int32_t KeyOutcome;

// New, pairwise different green, red and blue digits.
void ChooseConfirmationDigits();
int32_t GetGreenDigit();
int32_t GetRedDigit();
int32_t GetBlueDigit();

// A bold font `deciPointHeight` tenths of a point high on `dc`; the caller deletes it.
platform::HFont CreateScaledFont(platform::Hdc dc, const char* faceName, int32_t deciPointHeight);

// Where the green digit stands on a screen of that size.
platform::Point ConfirmationDigitPlace(int32_t width, int32_t height);

// The green digit at its place for the current mode, and the prompt text `promptNumber` (none if 0).
void DrawConfirmationDigit(platform::Hdc dc, uint32_t promptNumber);
// The same for a screen of `width`.
void DrawConfirmationDigitForWidth(platform::Hdc dc, int32_t width, uint32_t promptNumber);
// Red, green and blue digits, read left to right, and the prompt.
void DrawConfirmationDigits(platform::Hdc dc, uint32_t promptNumber);

// Keys.
constexpr uint32_t KeyF1 = platform::VkF1;
bool IsTopRowDigitKey(uint32_t key);
bool IsKeypadDigitKey(uint32_t key);
// The digit of a top-row or keypad key, -1 for any other key.
int32_t KeyDigit(uint32_t key);

// The screen results one triplet subtest gives to the keys that end its window.
struct TestKeyCodes {
  int32_t WrongDigit;
  int32_t WrongKeypad;
  int32_t OtherKey;
  int32_t F1;
  // true: wrong keys are used up when their count equals -Retries; false: when it reaches it.
  bool UsedUpOnEqual;
};

// HandleTestKey of ModeTest, BltTest and LineTest: one key on the single-digit screen.
// `wrongKeys` is the subtest's counter; `title` titles the prompt after a wrong key.
void HandleSingleDigitKey(uint32_t key, platform::Hwnd window, const TestKeyCodes& codes, int32_t retries,
                          int32_t& wrongKeys, const std::string& title);

// HandleTestKey of the three-digit screen: red, green, blue in this order, no second chance for a
// wrong digit.
void HandleThreeDigitKey(uint32_t key, platform::Hwnd window, int32_t retries, int32_t& wrongKeys,
                         uint8_t& redConfirmed, uint8_t& greenConfirmed, const std::string& title);
