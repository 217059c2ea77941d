// The calibration store: ZR_VIDEO.DAT in the working directory holds, per display controller,
// subtest and screen mode, the sum of a screen drawn on a machine known to be good. In the field
// the same screen is drawn again and its sum compared.
#pragma once

#include <cstdint>

// One 32-byte record of ZR_VIDEO.DAT without its reserved tail; key and result of a search.
struct CalibrationRecord {
  uint32_t Controller = 0;  // 0xFFFFFFFF in a generic record, which matches any controller
  uint32_t Test = 0;
  uint32_t BPP = 0;
  uint32_t Width = 0;
  uint32_t Height = 0;
  uint32_t Checksum = 0;
};

constexpr uint32_t GenericController = 0xFFFFFFFF;

// Subtest ids of the records.
constexpr uint32_t ModeTestId = 0x4003;
constexpr uint32_t BltTestId = 0x20;
constexpr uint32_t LineTestId = 0x40;
constexpr uint32_t PaletteTestId = 0x1000;
constexpr uint32_t OpenGLTestId = 0x4007;
constexpr uint32_t Direct3DTestId = 0x400A;

extern uint8_t Calibrating;
extern uint8_t UseControllerId;
extern int32_t ScreenResult;

void SetCalibrating(bool flag);
int32_t GetScreenResult();
void SetScreenResult(int32_t value);

// 1 when `checksum` matches the record of the screen's current mode, else 0; stores the record
// first while calibrating.
int32_t VerifyScreenChecksum(uint32_t testId, uint32_t checksum, bool calibrateNow);

// Sum of the 0x00BBGGRR words of every pixel of the display, through GDI.
uint32_t SumScreenPixels();

// Vendor and device of the first VGA-compatible controller, with the marks of three boards.
uint32_t ComputeControllerId();

// Fills the record's Checksum from the first match in file order; raises when there is none.
bool ReadCalibrationRecord(CalibrationRecord& record);

// Writes the record with `checksum` in place of an exact match or behind the last record; true if
// a match was there.
bool StoreCalibrationRecord(const CalibrationRecord& record, uint32_t checksum);

// Writes zr_video.txt, one line per record.
void ConvertCalibrationFile();
