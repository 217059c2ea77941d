// The walks over the primary surface: the sum that the calibration store compares, and the dumps
// that failure analysis compares, which wipe the picture as they save it.
#include <cstddef>
#include <cstdio>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "platform/files.h"
#include "screen/DirectDrawSession.h"
#include "text/WholeFile.h"

namespace {

// Row length in bytes and rows of the surface, read under a first lock that is given back at
// once; the second lock holds the surface for the walk. False leaves the surface unlocked.
bool LockForWalk(DirectDrawSession& session, uint32_t& rowBytes, uint32_t& rows) {
  platform::DirectDrawSurface* surface = session.PrimarySurface2;
  session.LastResult = surface->Lock(nullptr, session.SurfaceDesc, platform::DdlockWait);
  const uint32_t bits = session.SurfaceDesc.PixelFormat.RGBBitCount;
  const uint32_t width = session.SurfaceDesc.Width;
  rows = session.SurfaceDesc.Height;
  surface->Unlock(session.SurfaceDesc.Surface);
  session.LastResult = surface->Lock(nullptr, session.SurfaceDesc, platform::DdlockWait);
  if (session.LastResult != 0) return false;
  rowBytes = width * bits >> 3;
  return true;
}

#if defined(__SSE2__)
// psadbw adds eight bytes at a time into 64-bit lanes; four sums in flight keep the loads coming,
// so the walk runs at the memory's speed. The low 32 bits are the wrapping byte-by-byte total.
uint32_t SumBytes(const uint8_t* bytes, uint32_t count) {
  const __m128i zero = _mm_setzero_si128();
  __m128i a = zero, b = zero, c = zero, d = zero;
  uint32_t i = 0;
  for (; count - i >= 64; i += 64) {
    a = _mm_add_epi64(a, _mm_sad_epu8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + i)), zero));
    b = _mm_add_epi64(b, _mm_sad_epu8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + i + 16)), zero));
    c = _mm_add_epi64(c, _mm_sad_epu8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + i + 32)), zero));
    d = _mm_add_epi64(d, _mm_sad_epu8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + i + 48)), zero));
  }
  const __m128i all = _mm_add_epi64(_mm_add_epi64(a, b), _mm_add_epi64(c, d));
  uint32_t sum = static_cast<uint32_t>(_mm_cvtsi128_si32(all)) +
                 static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_unpackhi_epi64(all, all)));
  for (; i < count; ++i) sum += bytes[i];
  return sum;
}
#else
// Summed in stretches of fixed length so that the compiler adds many bytes at once: 256 bytes come
// to at most 65280, so a 16-bit part is exact, and the wrapping total is the same as byte by byte.
uint32_t SumBytes(const uint8_t* bytes, uint32_t count) {
  constexpr size_t kStretch = 256;
  uint32_t sum = 0;
  const uint8_t* const end = bytes + count;
  for (; static_cast<size_t>(end - bytes) >= kStretch; bytes += kStretch) {
    uint16_t part = 0;
    for (size_t i = 0; i < kStretch; ++i) part = static_cast<uint16_t>(part + bytes[i]);
    sum += part;
  }
  for (; bytes != end; ++bytes) sum += *bytes;
  return sum;
}
#endif

// Each row goes to the file, is summed if asked, then overwritten with `fill`. A file that cannot
// be made does not spare the screen.
DirectDrawSession* DumpAndFill(DirectDrawSession& session, const std::string& fileName, uint8_t fill, bool sum) {
  if (session.PrimarySurface2 == nullptr) return &session;
  uint32_t rowBytes = 0, rows = 0;
  if (!LockForWalk(session, rowBytes, rows)) return &session;
  // Written over from its start and never cut short, as the old dump was kept beyond the new.
  WholeFile dump(fileName, true);
  std::FILE* file = dump.File();
  uint32_t total = 0;
  uint8_t* row = session.SurfaceDesc.Surface;
  for (uint32_t y = 0; y < rows; ++y) {
    if (file != nullptr) std::fwrite(row, 1, rowBytes, file);
    if (sum) total += SumBytes(row, rowBytes);
    std::memset(row, fill, rowBytes);
    row += session.SurfaceDesc.Pitch;
  }
  session.PrimarySurface2->Unlock(session.SurfaceDesc.Surface);
  dump.Commit();
  if (sum) session.Checksum = total;
  return &session;
}

}  // namespace

DirectDrawSession* DirectDrawSession::ChecksumSurface() {
  if (PrimarySurface2 == nullptr) return this;
  uint32_t rowBytes = 0, rows = 0;
  if (!LockForWalk(*this, rowBytes, rows)) return this;
  uint32_t total = 0;
  const uint8_t* row = SurfaceDesc.Surface;
  for (uint32_t y = 0; y < rows; ++y) {
    total += SumBytes(row, rowBytes);
    row += SurfaceDesc.Pitch;
  }
  PrimarySurface2->Unlock(SurfaceDesc.Surface);
  Checksum = total;
  return this;
}

DirectDrawSession* DirectDrawSession::DumpSurfaceWhite(const std::string& fileName) {
  return DumpAndFill(*this, fileName, 0xFF, false);
}

DirectDrawSession* DirectDrawSession::DumpSurfaceBlack(const std::string& fileName) {
  return DumpAndFill(*this, fileName, 0x00, false);
}

DirectDrawSession* DirectDrawSession::ChecksumAndDumpSurface(const std::string& fileName) {
  return DumpAndFill(*this, fileName, 0x00, true);
}
