// The prompt a screen subtest shows over its test window.
#pragma once

#include <cstdint>
#include <string>

// Style bit that asks for an on-top window; the rest picks the buttons.
constexpr uint32_t PromptOnTop = 0x1000;
constexpr int32_t PromptOk = 5;

// Shows `text` and waits for a button. The operator windows are not in this build yet: until they
// are, the answer is OK, as a person would press it, and the text goes to the debugger channel
// only, since a prompt writes nothing to the protocol.
int32_t ShowScreenPrompt(const std::wstring& text, const std::wstring& title, uint32_t style);
