#include "prompts/Prompts.h"

#include "framework/KestDiag.h"
#include "prompts/DiagnosticWindow.h"
#include "prompts/KestWindow.h"
#include "text/TextHelpers.h"

PromptResult ShowPrompt(const std::wstring& text, const std::string& title, uint32_t style) {
  if (FileExists(DiagnosticConfigurationPath)) {
    DiagnosticWindow window(DiagnosticConfigurationPath);
    return window.Prompt(text, Widen(title), style);
  }
  return KestWindow::Prompt(text, Widen(title), style);
}

PromptResult ShowImagePrompt(const std::wstring& text, const std::wstring& title, uint32_t style,
                             const std::wstring& imagePath) {
  if (FileExists(DiagnosticConfigurationPath)) {
    DiagnosticWindow window(DiagnosticConfigurationPath);
    return window.ImagePrompt(text, title, style, imagePath);
  }
  return KestWindow::ImagePrompt(text, title, style, imagePath);
}
