// The output protocol: one line per call on standard output, flushed as it is written.
#pragma once

#include <cstdint>
#include <string>

// Message categories of LogMessage.
enum MessageCategory {
  CategoryUnknown = 0,
  CategoryOther = 1,
  CategoryResults = 2,
  CategorySubtests = 3,
  CategoryActions = 4,
  CategoryWarnings = 5,
  CategoryStatus = 6,
  CategoryDeviceErrors = 7,
  CategoryServiceErrors = 8,
  CategorySettingData = 9,
  CategoryStatistics = 10,
  CategoryHardwareConfiguration = 11,
  CategorySoftwareConfiguration = 12,
  CategoryReferences = 13,
  CategoryDebug = 14,
  CategoryInvalid = 15,
};

class Kestout {
 public:
  virtual ~Kestout();

  static void LogMessage(int32_t category, uint32_t number, const std::string& text);
  static void LogMessage(int32_t category, uint32_t number, int32_t value);
  static void LogMessage(int32_t category, uint32_t number, const char* text);
  static void UpdatePercentage(int32_t percent);
  static void ReportFailure(const std::string& text);
  static void TestFailed(const std::string& text);
  static void TestFailed(uint32_t code, const std::string& text);

  // The name of a category, as the debug form shows it; "" outside 0..15.
  static const char* CategoryName(int32_t category);

  // Writes "EndOfTest" and flushes both output streams: the last line of a run.
  static void EndOfTest();

  // Writes `text` and a newline, then flushes: the informational answers.
  static void Print(const std::string& text);
};
