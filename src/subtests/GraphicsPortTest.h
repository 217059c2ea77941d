#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "framework/KestDiag.h"
#include "platform/display_paths.h"
#include "platform/handles.h"
#include "platform/library.h"

// A video card of the management query, keyed in the test's map by its slot number.
struct VideoCard {
  int32_t Number = 0;
  std::string Description;
  std::string DeviceId;
};
using VideoCardMap = std::multimap<int32_t, VideoCard>;

// A port that videoport.ini says the machine has.
struct ExpectedPort {
  std::string PortType;
  int32_t MessageNumber = 0;
  int32_t ConnectorInstance = 0;
  std::string CardName;
  std::string CardDeviceId;
  bool AnyInstance = true;
};

// An output with a monitor, as the display configuration lists it.
struct DetectedPort {
  std::string PortType;
  int32_t PathIndex = 0;
  uint32_t ConnectorInstance = 0;
  std::string AdapterPath;
  std::string MonitorPath;
  uint32_t TargetId = 0;
};

// The connector name of an output technology; empty for one without a name.
std::string ConnectorName(int32_t outputTechnology);
// Whether a detected port is the expected one: type as a substring, the card's device id in the
// adapter path, and the connector instance unless any will do.
bool PortMatches(const ExpectedPort& expected, const DetectedPort& detected);
// Gives cards of the same description "#1", "#2"... in map order; cards numbered 0 keep theirs.
void NumberIdenticalCards(VideoCardMap& cards);
// Port type (upper case) and connector instance from the second field of a line.
void SetPortType(ExpectedPort& port, const std::string& field);
// The text of videoportdetail.log after its first line.
std::string PortLogBody(const VideoCardMap& cards, const std::vector<DetectedPort>& ports);

class GraphicsPortTest : public KestDiag {
 public:
  GraphicsPortTest();
  ~GraphicsPortTest() override;
  bool Run() override;

 private:
  bool ReadPortConfiguration();
  void WarnIfNoCardNamed() const;
  bool ReadCards();
  int32_t DiscoverPorts(uint32_t& pathCount);
  void WritePortLog();
  bool FindExpectedPorts(bool prompting);
  int32_t ApplyPortConfiguration(int32_t pathIndex, bool restore);
  // The walk chosen by -TestAllPorts, with the start configuration put back on every way out of it.
  bool WalkPorts(uint32_t& failureCode, bool& interrupted);
  int32_t RunRenderingOnPort(uint32_t& failureCode);
  bool StartTimerThread();
  void StopTimerThread(bool mustStop);
  static uint32_t PLATFORM_CALLBACK TimerThread(void* test);

  bool WalkAllPorts(uint32_t& failureCode, bool& interrupted);
  bool WalkPortsOneByOne(uint32_t& failureCode, bool& interrupted);
  void DiscoverOrRaise();
  void DropScan();
  const DetectedPort* FindDetected(const ExpectedPort& port) const;
  void AskForPort(const ExpectedPort& port);
  void ReportPortFailure(const ExpectedPort& port);
  void* User32Export(const char* name) const;

  std::string IniFile;
  int32_t Retries = 3;
  int32_t TimeOut = 15;
  bool TestAllPorts = false;
  std::string Section;
  std::string Title;

  platform::HModule User32 = 0;
  VideoCardMap Cards;
  std::vector<ExpectedPort> Expected;
  std::vector<DetectedPort> Detected;
  std::vector<platform::DisplayConfigPathInfo> Paths;
  std::vector<platform::DisplayConfigModeInfo> Modes;
  uint32_t PathCount = 0;
  std::vector<platform::DisplayConfigPathInfo> SavedPaths;
  std::vector<platform::DisplayConfigModeInfo> SavedModes;
  uint32_t SavedPathCount = 0;
  bool HaveSaved = false;
  // The note that puts the start configuration back if the run is ended from outside.
  int ConfigurationPutBack = 0;

  std::atomic<bool> TimerExpired{false};
  platform::Handle TimerThreadHandle = 0;
  uint32_t TimerThreadId = 0;
};
