#include "subtests/ExtendedVideoMemoryTest.h"

#include <cstdio>
#include <cstring>

#include "framework/ControlFiles.h"
#include "framework/ErrorLines.h"
#include "framework/KestArgument.h"
#include "framework/KestConstraint.h"
#include "framework/Kestout.h"
#include "hardware/SetupDI.h"
#include "platform/walltime.h"
#include "subtests/MemoryPatterns.h"
#include "text/TextHelpers.h"

namespace {

constexpr uint32_t BlockSize = 0x100000;
constexpr int32_t MaxMemorySizeMegabytes = 4095;

void Log(const std::string& text) { Kestout::LogMessage(CategoryDebug, 8, text); }

std::string Hex(uint32_t value) {
  char text[16];
  std::snprintf(text, sizeof text, "%x", value);
  return text;
}

std::string Decimal(int64_t value) { return std::to_string(value); }

// One byte: the eight patterns written and read back, the old content put back. After a
// mismatch the walk goes on from the second pattern, as long as retries are left.
inline bool TestByte(volatile uint8_t* byte, uint32_t offset, int32_t retries,
                     ExtendedVideoMemoryTest::MismatchSink sink, void* context) {
  const uint8_t saved = *byte;
  int32_t left = retries;
  for (int index = 0; index < 8;) {
    const uint8_t pattern = MemoryTestPatterns[index];
    *byte = pattern;
    const uint8_t read = *byte;
    if (read != pattern) {
      bool retrying = left > 0;
      sink(context, ExtendedVideoMemoryTest::Mismatch{offset, pattern, read}, retrying);
      if (!retrying) {
        *byte = saved;
        return false;
      }
      --left;
      index = 1;
      continue;
    }
    ++index;
  }
  *byte = saved;
  return true;
}

}  // namespace

ExtendedVideoMemoryTest::ExtendedVideoMemoryTest() {
  SetDescription("This Test tests the video memory via direct hardware access bypassing the operating system");
  AddArgument("-Controller", KestArgument::TypeString, "",
              "Controller to be tested. If blank, all controllers in the system will be tested");
  AddArgument("-TestType", KestArgument::TypeString, "SequentialWRC",
              "Test algorithm to used for testing",
              new KestConstraint("SequentialWRC,RandomWRC"));
  AddArgument("-StartAddr", KestArgument::TypeInteger, "0",
              "The beginning of the test span expressed in percentage",
              new KestConstraint(0, 100));
  AddArgument("-EndAddr", KestArgument::TypeInteger, "100",
              "The end of the test span expressed in percentage",
              new KestConstraint(0, 100));
  AddArgument("-Coverage", KestArgument::TypeInteger, "100",
              "Percent coverage of the test span",
              new KestConstraint(1, 100));
  AddArgument("-BAR", KestArgument::TypeInteger, "0",
              "The BAR to use for starting address. It should be used only if test fails to determine the address dynamically",
              new KestConstraint(0, 5), ArgumentFlag::GuiHidden);
  AddArgument("-MemorySize", KestArgument::TypeInteger, "0",
              "The size of the test span expressed in MB. It should be used only if test fails to determine the size dynamically",
              nullptr, ArgumentFlag::GuiHidden);
  AddArgument("-Timeout", KestArgument::TypeInteger, "0",
              "Number of seconds before test stops running regardless of any other condition",
              new KestConstraint(0, KestConstraint::EqualToOrGreaterThan));
  AddArgument("-Retries", KestArgument::TypeInteger, "3",
              "Number of retries on failure",
              new KestConstraint(0, 10));
}

ExtendedVideoMemoryTest::~ExtendedVideoMemoryTest() = default;

bool ExtendedVideoMemoryTest::SequentialWRC(volatile uint8_t* block, uint32_t length, uint32_t step, int32_t retryCount,
                                            MismatchSink sink, void* context) {
  for (uint32_t offset = 0; offset < length; offset += step)
    if (!TestByte(block + offset, offset, retryCount, sink, context)) return false;
  return true;
}

bool ExtendedVideoMemoryTest::RandomWRC(volatile uint8_t* block, uint32_t length, uint32_t step, int32_t retryCount,
                                        uint32_t& seed, MismatchSink sink, void* context) {
  for (uint64_t offset = 0; offset < length; offset += 1 + 2 * (NextRandom(seed) % step))
    if (!TestByte(block + offset, static_cast<uint32_t>(offset), retryCount, sink, context)) return false;
  return true;
}

void ExtendedVideoMemoryTest::OnMismatch(void* context, const Mismatch& mismatch, bool retrying) {
  auto* test = static_cast<ExtendedVideoMemoryTest*>(context);
  FailureRecord& failure = test->failure;
  failure.Address = test->blockAddress + mismatch.Offset;
  failure.Expected = mismatch.Expected;
  failure.Actual = mismatch.Actual;
  Log("Mismatched data at address: " + Hex(failure.Address));
  if (retrying) Log("Retrying...");
}

bool ExtendedVideoMemoryTest::ValidateArguments() {
  if (!KestDiag::ValidateArguments()) return false;
  // An empty span would pass without a byte tested.
  if (GetArgumentInt("-StartAddr", 0) >= GetArgumentInt("-EndAddr", 100)) {
    Kestout::LogMessage(CategoryInvalid, 20005, "-endaddr");
    return false;
  }
  // A size override is a count of megabytes inside the 32-bit address space: a negative count or
  // 4 GB and more describe no range that a map request can carry.
  const int32_t megabytes = GetArgumentInt("-MemorySize", 0);
  if (megabytes < 0 || megabytes > MaxMemorySizeMegabytes) {
    Kestout::LogMessage(CategoryInvalid, 20005, "-memorysize");
    return false;
  }
  return true;
}

bool ExtendedVideoMemoryTest::Run() {
  Kestout::UpdatePercentage(0);
  controllerArgument = GetArgumentString("-Controller", "");
  testType = GetArgumentString("-TestType", "SequentialWRC");
  startAddr = GetArgumentInt("-StartAddr", 0);
  endAddr = GetArgumentInt("-EndAddr", 100);
  coverage = GetArgumentInt("-Coverage", 100);
  bar = GetArgumentInt("-BAR", 0);
  memorySize = GetArgumentInt("-MemorySize", 0);
  timeout = GetArgumentInt("-Timeout", 0);
  retries = GetArgumentInt("-Retries", 3);
  // A coverage outside its range never passes validation; this keeps a direct call safe.
  if (coverage < 1) coverage = 1;

  highestPercent = 1;
  Kestout::UpdatePercentage(1);
  startTime = platform::Time();
  Kestout::LogMessage(CategorySubtests, 2, "");
  StopIfRequested();
  bool passed = TestControllers();
  StopIfRequested();
  Kestout::UpdatePercentage(99);
  if (passed) {
    Kestout::LogMessage(CategorySubtests, 3, "");
    Kestout::UpdatePercentage(100);
    return true;
  }
  Kestout::LogMessage(CategoryDeviceErrors, 33, "");
  Kestout::LogMessage(CategoryStatus, 4, "");
  Kestout::ReportFailure(ToText(failure.ErrorCode));
  return false;
}

void ExtendedVideoMemoryTest::EnumerateControllers() {
  controllers.clear();
  SetupDI displays;
  SetupDI pciDevices;
  SetupDI* list = &displays;
  bool more = displays.OpenDeviceList(nullptr, platform::DigcfPresent | platform::DigcfProfile,
                                      &platform::DisplayClassGuid) &&
              displays.NextDevice();
  if (!more) {
    // No display class (no driver installed): every PCI device, filtered by class below.
    list = &pciDevices;
    more = pciDevices.OpenDeviceList("PCI", platform::DigcfPresent | platform::DigcfAllClasses, nullptr) &&
           pciDevices.NextDevice();
  }
  for (; more; more = list->NextDevice()) {
    uint8_t buffer[1024];
    std::memset(buffer, 0, sizeof buffer);
    int32_t size = static_cast<int32_t>(list->GetProperty(platform::SpdrpHardwareId, buffer, sizeof buffer));
    uint32_t classCode = 0xFFFFFF;
    for (int32_t i = 0; i < size - 9; ++i) {
      if (std::memcmp(buffer + i, "CC_", 3) == 0) {
        char digits[7] = {};
        std::memcpy(digits, buffer + i + 3, 6);
        unsigned int value = 0;
        if (std::sscanf(digits, "%6x", &value) == 1) classCode = value;
        break;
      }
    }
    if (((classCode >> 16) & 0xFF) != 0x03) continue;

    VideoController controller;
    controller.HardwareId = reinterpret_cast<const char*>(buffer);
    controller.InstanceId = list->GetDeviceId();
    std::memset(buffer, 0, sizeof buffer);
    list->GetProperty(platform::SpdrpDeviceDesc, buffer, sizeof buffer - 1);
    controller.Description = reinterpret_cast<const char*>(buffer);
    Log("Detected: " + controller.Description);

    while (const void* data = list->NextResource(platform::ResTypeMem)) {
      platform::MemDes des;
      std::memcpy(&des, data, sizeof des);
      if ((des.Flags & 0x1) && !(des.Flags & 0x8)) {
        controller.MemorySpans.push_back(MemorySpan{des.AllocBase, des.AllocEnd, des.Flags});
        Log("\tMemory Span: " + Hex(static_cast<uint32_t>(des.AllocBase)) + " - " +
            Hex(static_cast<uint32_t>(des.AllocEnd)));
      }
    }
    list->ReleaseResources();
    controller.MemorySpanCount = static_cast<int32_t>(controller.MemorySpans.size());
    while (const void* data = list->NextResource(platform::ResTypeIo)) {
      platform::IoDes des;
      std::memcpy(&des, data, sizeof des);
      if (des.Flags & 0x1) {
        controller.IoSpans.push_back(MemorySpan{des.AllocBase, des.AllocEnd, des.Flags});
        Log("\tIO Span: " + Hex(static_cast<uint32_t>(des.AllocBase)) + " - " + Hex(static_cast<uint32_t>(des.AllocEnd)));
      }
    }
    list->ReleaseResources();
    controller.IoSpanCount = static_cast<int32_t>(controller.IoSpans.size());

    // "PCI bus 1, device 0, function 0"; a missing word leaves its number 0.
    std::memset(buffer, 0, sizeof buffer);
    list->GetProperty(platform::SpdrpLocationInformation, buffer, sizeof buffer - 1);
    const char* location = reinterpret_cast<const char*>(buffer);
    int busNumber = 0, deviceNumber = 0, functionNumber = 0;
    char word[16];
    if (const char* at = std::strstr(location, "bus")) std::sscanf(at, "%4s%3d", word, &busNumber);
    if (const char* at = std::strstr(location, "device")) std::sscanf(at, "%7s%3d", word, &deviceNumber);
    if (const char* at = std::strstr(location, "function")) std::sscanf(at, "%9s%3d", word, &functionNumber);
    controller.Address =
        static_cast<uint16_t>(((busNumber << 5) + (deviceNumber & 0x1F)) * 8 + (functionNumber & 0x7));
    controllers.push_back(controller);
  }
  controllerCount = static_cast<int32_t>(controllers.size());
}

void ExtendedVideoMemoryTest::SelectControllers(const std::string& controller) {
  for (size_t i = 0; i < controllers.size(); ++i) controllers[i].Name = "VIDEO" + std::to_string(i);
  if (!controller.empty()) {
    const std::string wanted = ToLower(controller);
    size_t index = 0;
    while (index < controllers.size()) {
      const VideoController& c = controllers[index];
      bool stays = wanted == ToLower(c.Description) || wanted == ToLower(c.Name);
      if (!stays && wanted == "activecontroller") {
        uint32_t command = 0;
        devio.PciReadDword(c.Address, 4, command);  // a failed read leaves 0
        stays = (command & 3) == 3;
      }
      if (stays) {
        ++index;
        continue;
      }
      Log("Controller Skipped: " + c.Description);
      controllers.erase(controllers.begin() + static_cast<std::ptrdiff_t>(index));
      index = 0;
    }
  }
  controllerCount = static_cast<int32_t>(controllers.size());
}

bool ExtendedVideoMemoryTest::TestControllers() {
  failure = FailureRecord{};
  EnumerateControllers();
  SelectControllers(controllerArgument);
  int32_t spansTested = 0;
  for (currentController = 0; currentController < controllerCount; ++currentController) {
    const VideoController& controller = controllers[currentController];
    Log("Testing: " + controller.Description);
    failure.Expected = 0xFFFFFFFF;
    failure.Actual = 0xFFFFFFFF;
    failure.Failed = false;
    failure.Adaptor = controller.Description;
    MemorySpan span;
    if (!ChooseTestSpan(controller, span)) {
      Log("Warning! Found no video memory to test!");
      continue;
    }
    ++spansTested;
    if (!TestSpan(controller, span)) break;
    StopIfRequested();
  }
  if (!failure.Failed) {
    if (spansTested == 0)
      WarnNothingTested(controllerCount == 0 ? "no display controller to test" : "no video memory to test");
    return true;
  }
  Log("Test failed!");
  Log("\tErr Code : " + ToText(failure.ErrorCode));
  Log("\tReason   : " + failure.Reason);
  Log("\tAdaptor  : " + failure.Adaptor);
  Log("\tAddress  : " + Hex(failure.Address));
  Log("\tExpected : " + Hex(failure.Expected));
  Log("\tActual   : " + Hex(failure.Actual));
  return false;
}

bool ExtendedVideoMemoryTest::ChooseTestSpan(const VideoController& controller, MemorySpan& span) {
  span = MemorySpan{};
  bool found = false;
  for (const MemorySpan& candidate : controller.MemorySpans) {
    uint64_t size = candidate.End - candidate.Start;
    // A span of exactly 1 MiB measures 0xFFFFF here and does not qualify.
    if (size >= 0x100000 && size > span.End - span.Start) {
      span = candidate;
      found = true;
    }
  }
  if (memorySize == 0) return found;
  uint32_t value = 0;
  if (devio.PciReadDword(controller.Address, static_cast<uint16_t>((bar + 4) * 4), value) != 0 || value == 0)
    return false;
  // The register as read: its flag bits stay in the start address.
  span.Start = value;
  span.End = uint64_t{value} + (static_cast<uint64_t>(static_cast<uint32_t>(memorySize)) << 20) - 1;
  span.Flags = 0;
  return true;
}

bool ExtendedVideoMemoryTest::IsTimedOut() {
  if (timeout == 0) return false;
  int64_t left = int64_t{timeout} - (platform::Time() - startTime);
  if (left < 0) left = 0;
  Log("Seconds left before timeout: " + Decimal(left));
  return left == 0;
}

bool ExtendedVideoMemoryTest::TestSpan(const VideoController& /*controller*/, const MemorySpan& span) {
  bool result = true;
  const uint32_t start = static_cast<uint32_t>(span.Start);
  const uint32_t end = static_cast<uint32_t>(span.End);
  const uint32_t total = end - start + 1;
  Log("Total memory available to test in MB: " + Decimal(total >> 20));
  const uint32_t first = start + static_cast<uint32_t>(uint64_t(static_cast<uint32_t>(startAddr)) * total / 100);
  const uint32_t last = start + static_cast<uint32_t>(uint64_t(static_cast<uint32_t>(endAddr)) * total / 100);
  // Modulo 2^32: memory that ends at 4 GB has its `last` at 0, and the difference is still the
  // size. The start percentage is below the end one (the arguments are refused otherwise).
  const uint32_t size = last - first;
  Log("Total testing size in MB: " + Decimal(size >> 20));
  const uint32_t step = static_cast<uint32_t>(100 / coverage);
  uint32_t seed = 0;
  uint32_t block = size < BlockSize ? size : BlockSize;
  Log("Testing Block Size: " + Hex(block));
  const uint32_t blocks = size >> 20;
  const uint32_t partial = size & 0xFFFFF;
  uint32_t index = 0;
  uint32_t address = first;
  for (;;) {
    if (IsTimedOut()) return result;
    if (index == blocks && blocks != 0) {
      if (partial == 0) return result;
      block = partial;
      address = address + partial - BlockSize;
      Log("Testing Partial Block Size: " + Hex(partial));
    }
    failure.Address = address;
    MapRequest record;
    uintptr_t mapped = devio.MapPhysicalMemory(address, block, &record);
    if (!mapped) {
      failure.Failed = true;
      failure.Reason = "Failed to map address: " + Hex(address);
      failure.ErrorCode = 990622;
      return false;
    }
    Log("Testing Block Address: " + Hex(address));
    blockAddress = address;
    volatile uint8_t* memory = reinterpret_cast<volatile uint8_t*>(mapped);
    if (testType == "SequentialWRC") result = SequentialWRC(memory, block, step, retries, OnMismatch, this);
    else if (testType == "RandomWRC") result = RandomWRC(memory, block, step, retries, seed, OnMismatch, this);
    if (!devio.UnmapPhysicalMemory(record)) {
      failure.Failed = true;
      failure.Reason = "Failed to unmap address: " + Hex(address);
      failure.ErrorCode = 990622;
      return false;
    }
    if (!result) {
      failure.Failed = true;
      failure.Reason = "Bad video memory found";
      failure.ErrorCode = 990620;
      return false;
    }
    if (blocks != 0) {
      const int32_t share = 96 / controllerCount;
      const int32_t percent =
          static_cast<int32_t>(int64_t{share} * index / blocks) + currentController * share + 2;
      if (percent > highestPercent) {
        highestPercent = percent;
        Kestout::UpdatePercentage(percent);
      }
    }
    ++index;
    address += BlockSize;
    if (index > blocks) return result;
  }
}
