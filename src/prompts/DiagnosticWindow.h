// The configured prompt: the prompts of KestWindow in the background colour of the resource file,
// with buttons it draws itself, and a watch every 5 seconds for a request to end the process.
#pragma once

#include <cstdint>
#include <string>

#include "config/DiagnosticConfiguration.h"
#include "platform/gdi.h"
#include "prompts/PromptLayout.h"

class DiagnosticWindow {
 public:
  explicit DiagnosticWindow(const std::string& path);
  virtual ~DiagnosticWindow() = default;

  // As KestWindow's; -1 when a termination request ended the prompt.
  PromptResult ImagePrompt(const std::wstring& text, const std::wstring& title, uint32_t style,
                           const std::wstring& imagePath);
  PromptResult Prompt(const std::wstring& text, const std::wstring& title, uint32_t style);

 private:
  friend struct DiagnosticWindowHandler;
  PromptResult result = PromptNoAnswer;
  uint8_t onTop = 0;
  std::wstring title;
  platform::HBrush backgroundBrush = 0;
  DiagnosticConfiguration configuration;
};
