#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "framework/KestDiag.h"
#include "hardware/Devio.h"

class ExtendedVideoMemoryTest : public KestDiag {
 public:
  ExtendedVideoMemoryTest();
  ~ExtendedVideoMemoryTest() override;
  bool Run() override;
  // Also refuses a span that ends where or before it starts.
  bool ValidateArguments() override;

  // A byte that did not read back what was written, at an offset of the block.
  struct Mismatch {
    uint32_t Offset;
    uint8_t Expected;
    uint8_t Actual;
  };
  // Told of every mismatch, and whether the byte is tried again.
  using MismatchSink = void (*)(void* context, const Mismatch& mismatch, bool retrying);

  // The write-read-compare walks over one mapped block: every `step`-th byte, or random strides
  // with a mean of about `step`. False when a byte ran out of retries.
  static bool SequentialWRC(volatile uint8_t* block, uint32_t length, uint32_t step, int32_t retries,
                            MismatchSink sink, void* context);
  static bool RandomWRC(volatile uint8_t* block, uint32_t length, uint32_t step, int32_t retries, uint32_t& seed,
                        MismatchSink sink, void* context);

 private:
  struct MemorySpan {
    uint64_t Start = 0;
    uint64_t End = 0;  // inclusive
    uint32_t Flags = 0;
  };

  struct VideoController {
    uint16_t Address = 0;
    std::string InstanceId;
    std::string HardwareId;
    std::string Description;
    std::string Name;
    int32_t MemorySpanCount = 0;
    int32_t IoSpanCount = 0;
    std::vector<MemorySpan> MemorySpans;
    std::vector<MemorySpan> IoSpans;
  };

  struct FailureRecord {
    bool Failed = true;
    uint32_t Address = 0;
    uint32_t Expected = 0xFFFFFFFF;
    uint32_t Actual = 0xFFFFFFFF;
    uint32_t ErrorCode = 990628;
    std::string Reason = "No matching video controller found";
    std::string Adaptor;
  };

  bool TestControllers();
  void EnumerateControllers();
  void SelectControllers(const std::string& controller);
  bool ChooseTestSpan(const VideoController& controller, MemorySpan& span);
  bool TestSpan(const VideoController& controller, const MemorySpan& span);
  bool IsTimedOut();
  static void OnMismatch(void* context, const Mismatch& mismatch, bool retrying);

  CDevio devio;

  std::string controllerArgument;
  std::string testType;
  int32_t startAddr = 0;
  int32_t endAddr = 100;
  int32_t coverage = 100;
  int32_t bar = 0;
  int32_t memorySize = 0;
  int32_t timeout = 0;
  int32_t retries = 3;

  std::vector<VideoController> controllers;
  int32_t controllerCount = 0;
  int32_t currentController = 0;
  FailureRecord failure;
  int32_t highestPercent = 1;
  int64_t startTime = 0;
  uint32_t blockAddress = 0;
};
