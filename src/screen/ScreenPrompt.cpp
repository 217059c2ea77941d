#include "screen/ScreenPrompt.h"

#include "platform/debug_output.h"
#include "text/TextHelpers.h"

int32_t ShowScreenPrompt(const std::wstring& text, const std::wstring& title, uint32_t /*style*/) {
  // Replace with the prompt window once it exists; callers already treat the answer as a button.
  platform::OutputDebugStringA(("Prompt " + Narrow(title) + ": " + Narrow(text)).c_str());
  return PromptOk;
}
