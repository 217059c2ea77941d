#include "framework/Kestout.h"

#include <cstdio>
#include <iostream>

#include "framework/CmdLineParser.h"
#include "framework/MessageCatalog.h"
#include "text/TextHelpers.h"

namespace {

const char* const kCategoryNames[] = {
    "Unknown",  "Other",      "Results",     "Subtests",  "Actions",
    "Warnings", "Status",     "DeviceErrors", "ServiceErrors", "SettingData",
    "Statistics", "HardwareConfiguration", "SoftwareConfiguration", "References", "Debug",
    "Invalid",
};

void WriteLine(const std::string& line) {
  std::cout << line << '\n';
  std::cout.flush();
}

}  // namespace

Kestout::~Kestout() = default;

const char* Kestout::CategoryName(int32_t category) {
  return category >= 0 && category <= 15 ? kCategoryNames[category] : "";
}

void Kestout::LogMessage(int32_t category, uint32_t number, const std::string& text) {
  std::string flat = text;
  ReplaceAll(flat, "\r\n", " ");
  ReplaceAll(flat, "\n", " ");
  ReplaceAll(flat, "\r", " ");
  if (ToLower(CmdLineParser::Instance().Get("-debug", "false")) == "true") {
    // For a person reading along: the category's name and the catalogue's text. Category 0 has a
    // name too, but shows as its number.
    const std::string word = category > 0 && category < 16 ? CategoryName(category) : std::to_string(category);
    WriteLine("LogMessage " + word + " " + GetMessageText(number, flat) + " \"\"");
    return;
  }
  WriteLine("LogMessage " + std::to_string(category) + " " + std::to_string(number) + " \"" + flat + "\" \"\"");
}

void Kestout::LogMessage(int32_t category, uint32_t number, int32_t value) {
  LogMessage(category, number, std::to_string(value));
}

void Kestout::LogMessage(int32_t category, uint32_t number, const char* text) {
  LogMessage(category, number, std::string(text ? text : ""));
}

void Kestout::UpdatePercentage(int32_t percent) {
  if (percent > 100) percent = 100;
  if (percent < 0) percent = 0;
  WriteLine("UpdatePercentage " + std::to_string(percent));
}

void Kestout::ReportFailure(const std::string& text) { WriteLine("ReportFailure " + text); }

void Kestout::TestFailed(const std::string& text) { WriteLine("TestFailed " + text); }

void Kestout::TestFailed(uint32_t code, const std::string& text) {
  char digits[16];
  std::snprintf(digits, sizeof digits, "%06u", code);
  WriteLine(std::string("TestFailed ") + digits + " \"" + text + "\"");
}

void Kestout::EndOfTest() {
  std::cout << "EndOfTest\n";
  std::cout.flush();
  std::fflush(stdout);
}

void Kestout::Print(const std::string& text) { WriteLine(text); }
