#include "screen/FailureAnalysis.h"

#include <cstdio>
#include <cstring>
#include <vector>

#include "platform/files.h"
#include "text/WholeFile.h"

uint8_t AnalysisLogEnabled = 0;

namespace {

struct ResolutionNumber {
  int32_t Width;
  int32_t Height;
};

// Resolution n is at place n - 1. 1920x1200 and anything else have no number.
const ResolutionNumber kResolutions[] = {
    {640, 480},   {720, 480},   {800, 600},   {1024, 768},  {1152, 864},  {1280, 768},  {1280, 1024}, {1400, 1050},
    {1600, 1200}, {1792, 1344}, {1800, 1440}, {1800, 1880}, {1920, 1080}, {1920, 1440}, {2048, 1536},
};

const char kRecord[] =
    "*******************\n Record Number : %d\n X offset  : %d\n Y offset  : %d\n Expected      : %x\n Actual "
    "       : %x\n ********************\n";
// The 32-bit form joins the record number and the X offset with an "n"; readers of old logs rely on it.
const char kRecord32[] =
    "*******************\n Record Number : %d n X offset  : %d\n Y offset  : %d\n Expected      : %x\n Actual "
    "       : %x\n ********************\n";
const char kTotal[] = "*******************\n FINAL ANALYSIS\n Total Pixel Errors : %x\n ********************\n";

const uint32_t kPixelsPerMark = 10000;
const platform::ColorRef kYellow = 0x00FFFF;

// Read and write, created if absent, written over from the start and never cut short.
std::FILE* OpenAlways(const std::string& name) {
  std::FILE* file = platform::OpenFile(name, "r+b");
  return file != nullptr ? file : platform::OpenFile(name, "w+b");
}

uint32_t PixelAt(const uint8_t* bytes, uint32_t bytesPerPixel) {
  uint32_t value = 0;
  for (uint32_t i = 0; i < bytesPerPixel; ++i) value |= uint32_t{bytes[i]} << (8 * i);
  return value;
}

// The first byte at or after `from` where the two blocks differ, or `end`; equal stretches are
// passed by memcmp rather than pixel by pixel.
size_t FirstDifference(const uint8_t* a, const uint8_t* b, size_t from, size_t end) {
  const size_t kStretch = 256;
  while (end - from >= kStretch && std::memcmp(a + from, b + from, kStretch) == 0) from += kStretch;
  while (from < end && a[from] == b[from]) ++from;
  return from;
}

void DrawMark(platform::Hdc dc, int32_t x) {
  platform::SetBkColor(dc, kYellow);
  platform::SetTextColor(dc, kYellow);
  platform::TextOutA(dc, x, 55, " ", 1);
}

// Walks both dumps a mark's worth of pixels at a time, visiting only the pixels that differ.
uint32_t CompareDumps(std::FILE* cal, std::FILE* fal, std::FILE* log, platform::Hdc dc, int32_t bits,
                      int64_t pixelsPerLine) {
  const uint32_t bytesPerPixel = static_cast<uint32_t>(bits) / 8;
  const size_t blockBytes = size_t{kPixelsPerMark} * bytesPerPixel;
  std::vector<uint8_t> expected(blockBytes), actual(blockBytes);
  const char* format = bits == 32 ? kRecord32 : kRecord;
  uint32_t errors = 0;
  int32_t markX = 5;
  for (uint32_t first = 0;; first += kPixelsPerMark) {
    const size_t actualBytes = std::fread(actual.data(), 1, blockBytes, fal);
    if (actualBytes == 0) break;
    const size_t expectedBytes = std::fread(expected.data(), 1, blockBytes, cal);
    const uint32_t pixels = static_cast<uint32_t>((actualBytes + bytesPerPixel - 1) / bytesPerPixel);
    const size_t used = size_t{pixels} * bytesPerPixel;
    // A pixel cut short by the end of a file keeps zeros in its missing bytes.
    std::memset(actual.data() + actualBytes, 0, used - actualBytes);
    if (expectedBytes < used) std::memset(expected.data() + expectedBytes, 0, used - expectedBytes);
    if (first != 0) {
      DrawMark(dc, markX);
      markX += 5;
    }
    for (size_t at = FirstDifference(expected.data(), actual.data(), 0, used); at < used;
         at = FirstDifference(expected.data(), actual.data(), size_t{at / bytesPerPixel + 1} * bytesPerPixel, used)) {
      const uint32_t i = static_cast<uint32_t>(at / bytesPerPixel);
      const uint32_t want = PixelAt(expected.data() + size_t{i} * bytesPerPixel, bytesPerPixel);
      const uint32_t got = PixelAt(actual.data() + size_t{i} * bytesPerPixel, bytesPerPixel);
      if (want == got) continue;
      ++errors;
      if (AnalysisLogEnabled == 0 || log == nullptr) continue;
      const int64_t index = int64_t{first} + i;
      // Without a pitch there are no rows to speak of.
      const int64_t x = pixelsPerLine > 0 ? index % pixelsPerLine : index;
      const int64_t y = pixelsPerLine > 0 ? index / pixelsPerLine : 0;
      std::fprintf(log, format, static_cast<int>(errors), static_cast<int>(x), static_cast<int>(y), want, got);
    }
  }
  return errors;
}

}  // namespace

bool GetDumpFileNames(AnalysisSubtest subtest, int32_t width, int32_t height, int32_t bitsPerPixel,
                      std::string& calName, std::string& falName, std::string& logName) {
  calName.clear();
  falName.clear();
  logName.clear();
  int32_t resolution = 0;
  for (int32_t i = 0; i < static_cast<int32_t>(sizeof kResolutions / sizeof kResolutions[0]); ++i)
    if (kResolutions[i].Width == width && kResolutions[i].Height == height) resolution = i + 1;
  int32_t depth = 0;
  switch (bitsPerPixel) {
    case 8:
      depth = 1;
      break;
    case 16:
      depth = 2;
      break;
    case 24:
      depth = 3;
      break;
    case 32:
      depth = 4;
      break;
    default:
      break;
  }
  if (resolution == 0 || depth == 0) return false;
  // ModeTest has always counted the depths of 1400x1050 downwards.
  if (subtest == AnalysisSubtest::ModeTest && resolution == 8) depth = 5 - depth;
  char stem[32];
  std::snprintf(stem, sizeof stem, "%s%d%02d", subtest == AnalysisSubtest::ModeTest ? "MODE" : "BLT", resolution,
                depth);
  calName = std::string(stem) + ".CAL";
  falName = std::string(stem) + ".FAL";
  logName = std::string(stem) + ".LOG";
  return true;
}

void ComparePixelDumps(const std::string& calName, const std::string& falName, const std::string& logName,
                       const DirectDrawSession& session) {
  const platform::Hdc dc = platform::CreateDCA("Display", nullptr, nullptr, nullptr);
  const int32_t bits = platform::GetDeviceCaps(dc, platform::BitsPixel);
  const int64_t pixelsPerLine = bits > 0 ? int64_t{session.SurfaceDesc.Pitch} * 8 / bits : 0;
  std::FILE* cal = OpenAlways(calName);
  std::FILE* fal = OpenAlways(falName);
  WholeFile logFile(logName, true);
  std::FILE* log = logFile.File();
  if (log != nullptr) std::setvbuf(log, nullptr, _IOFBF, 1 << 16);

  uint32_t errors = 0;
  if (cal != nullptr && fal != nullptr && (bits == 8 || bits == 16 || bits == 24 || bits == 32))
    errors = CompareDumps(cal, fal, log, dc, bits, pixelsPerLine);
  if (AnalysisLogEnabled != 0 && log != nullptr) std::fprintf(log, kTotal, errors);

  platform::DeleteDC(dc);
  logFile.Commit();
  if (fal != nullptr) std::fclose(fal);
  if (cal != nullptr) std::fclose(cal);
}

void WriteAnalyzingFailure(platform::Hdc dc) {
  platform::SetBkColor(dc, 0);
  platform::SetTextColor(dc, 0x0000FF);
  platform::TextOutA(dc, 5, 35, "Analyzing Failure", 17);
}

void AnalyzeFailedScreen(DirectDrawSession& session, platform::Hdc dc, bool analyzeAlways, const std::string& calName,
                         const std::string& falName, const std::string& logName) {
  if (!analyzeAlways) session.DumpSurfaceBlack(falName);
  WriteAnalyzingFailure(dc);
  ComparePixelDumps(calName, falName, logName, session);
}
