// The prompts that subtests show: a DiagnosticWindow when the resource file is there, else a
// KestWindow. The title is the subtest's name; an empty one shows the program's path.
#pragma once

#include <cstdint>
#include <string>

#include "prompts/PromptLayout.h"

PromptResult ShowPrompt(const std::wstring& text, const std::string& title, uint32_t style);
PromptResult ShowImagePrompt(const std::wstring& text, const std::wstring& title, uint32_t style,
                             const std::wstring& imagePath);
