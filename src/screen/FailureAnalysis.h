// Failure analysis: a good screen saved byte for byte into a .CAL file under calibration, a failing
// one into a .FAL file in the field, and the two compared pixel by pixel into a .LOG file, for
// ModeTest and BltTest. The dumps themselves are walks of DirectDrawSession.
#pragma once

#include <cstdint>
#include <string>

#include "platform/gdi.h"
#include "screen/DirectDrawSession.h"

// Set from -AnalyzeLogFile when a run starts: without it the .LOG is made but stays empty.
extern uint8_t AnalysisLogEnabled;

enum class AnalysisSubtest { ModeTest, BltTest };

// The names of the .CAL, .FAL and .LOG files of a screen mode, from the real screen's values.
// A mode without a number gets three empty names and the result false: the walks then write no
// file and ComparePixelDumps does nothing.
bool GetDumpFileNames(AnalysisSubtest subtest, int32_t width, int32_t height, int32_t bitsPerPixel,
                      std::string& calName, std::string& falName, std::string& logName);

// Compares the two dumps pixel by pixel at the display's depth and writes one .LOG record for each
// differing pixel and the total, drawing a progress mark every 10000 pixels. Offsets come from
// the session's pitch. Where the .CAL has ended, the expected pixel counts as 0.
void ComparePixelDumps(const std::string& calName, const std::string& falName, const std::string& logName,
                       const DirectDrawSession& session);

// "Analyzing Failure" in red on black at the top left of `dc`, a context on the display.
void WriteAnalyzingFailure(platform::Hdc dc);

// What a mismatch outside calibration does under -AnalyzeEnable: the .FAL (unless -AnalyzeAlways
// made it with the sum), the notice on the wiped screen, the compare.
void AnalyzeFailedScreen(DirectDrawSession& session, platform::Hdc dc, bool analyzeAlways, const std::string& calName,
                         const std::string& falName, const std::string& logName);
