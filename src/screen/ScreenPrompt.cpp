#include "screen/ScreenPrompt.h"

#include "framework/Kestout.h"
#include "framework/TextHelpers.h"

int32_t ShowScreenPrompt(const std::wstring& text, const std::wstring& /*title*/, uint32_t /*style*/) {
  // Replace with the prompt window once it exists; callers already treat the answer as a button.
  Kestout::LogMessage(CategoryDebug, 8, Narrow(text));
  return PromptOk;
}
