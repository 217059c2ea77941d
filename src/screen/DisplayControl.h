// Display modes, secondary displays and DirectDraw devices: what every screen subtest needs of
// the display before it draws.
#pragma once

#include <cstdint>
#include <string>

#include "platform/setupapi.h"  // Guid
#include "screen/DirectDrawSession.h"

struct DisplayDeviceEntry {
  char DeviceString[256] = {};
  char DeviceName[256] = {};
  uint8_t Attached = 0;
  uint8_t Primary = 0;  // 1: never attached or detached (the primary, and slots not in use)
  uint8_t Pseudo = 0;   // 1: mirroring or remote device, and slots not in use
};

constexpr int DisplayDeviceCapacity = 16;

struct DisplayDeviceTableType {
  DisplayDeviceEntry Entries[DisplayDeviceCapacity];
  uint32_t Count = 0;
};
// Rebuilt by AttachSecondaryDisplays, read again by DetachSecondaryDisplays.
extern DisplayDeviceTableType DisplayDeviceTable;

struct DirectDrawDeviceEntry {
  platform::Guid Guid;  // all zero for the default device
  char Description[256] = {};
  char DriverName[64] = {};
};

constexpr int DirectDrawDeviceCapacity = 16;

struct DirectDrawDeviceTableType {
  DirectDrawDeviceEntry Entries[DirectDrawDeviceCapacity];
  uint32_t Count = 0;
};
extern DirectDrawDeviceTableType DirectDrawDeviceTable;

// Result codes.
constexpr int32_t AttachDisplaysFailed = 990361;
constexpr int32_t DetachDisplaysFailed = 990375;

// Sets the desktop's mode, first at 60 Hz and then at the driver's rate: 0, or the result of
// ChangeDisplaySettingsA. Takes one second.
// The primary display's present mode is noted, before the first change of the run, as the one to
// put back if the run is ended from outside (a closed console). Call it before any mode change.
void NoteStartModeToPutBack();
int32_t SetDisplayMode(int32_t width, int32_t height, int32_t bitsPerPixel);

// Whether the display settings list of the default device has the mode, at any rate.
bool IsModeInDriverList(int32_t width, int32_t height, int32_t bitsPerPixel);

// Attaches (at the right of the desktop) or detaches one display device.
bool SetDisplayAttached(const char* deviceName, bool attach);

// 1, or AttachDisplaysFailed when an attach failed.
int32_t AttachSecondaryDisplays();
// 1, or DetachDisplaysFailed when a detach failed.
int32_t DetachSecondaryDisplays();

// True on machines where the mode is set through IDirectDraw without a refresh rate.
bool UseLegacyModeCall();
// The rule behind it: `cpu` the "Cpu" variable, `architecture` the processor's management value.
bool IsLegacyModePlatform(const std::string& cpu, const std::string& architecture);
// Architecture of processor CPU0 as management text (ROOT\CIMV2), "" when there is none.
std::string QueryProcessorArchitecture();

// Fills DirectDrawDeviceTable with the devices that DirectDraw can be made on and copies it into
// a subtest's own array.
void LoadDirectDrawDevices(DirectDrawDeviceEntry (&devices)[DirectDrawDeviceCapacity], uint32_t& count);

// A subtest's ModeAvailable: in the session's first `modeCount` modes (or ModeFound), else in the
// driver's display settings; logs the verdict with the mode text.
bool ModeAvailable(const DirectDrawSession& session, int32_t modeCount, int32_t width, int32_t height,
                   int32_t bitsPerPixel);

// The high mode rule for one row of the mode table: `highMode` becomes the row when the row is
// in the session's modes and exceeds it in width, height or depth.
void NoteHighMode(const DirectDrawSession& session, int32_t modeCount, int32_t width, int32_t height,
                  int32_t bitsPerPixel, DisplayModeEntry& highMode);
// The rule over all 64 rows of the mode table, in order.
void NoteHighModes(const DirectDrawSession& session, int32_t modeCount, DisplayModeEntry& highMode);

// How a pass goes over the displays, from -Display, -ActiveDisplay and -TestAll.
enum class DisplayPlan { BadDisplay, EveryDevice, Once };
DisplayPlan PlanDisplays(uint32_t deviceCount, int32_t display, bool activeDisplay, bool testAll);
// With fewer than 3 devices a run uses the default device and names no GUID.
bool UseDeviceGuid(uint32_t deviceCount);
