// The walks of VideoMemoryTest over a surface whose rows lie a pitch apart: what they write, what
// they find, and that the bytes between rows are left alone.
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "subtests/VideoMemoryTest.h"

namespace {

// Rows of 53 bytes, 64 apart, behind an odd start: a row is an unaligned head of 5 bytes, four
// words read in one turn, one more word, and an unaligned tail.
constexpr int32_t Pitch = 64;
constexpr uint32_t RowBytes = 53;
constexpr uint32_t Rows = 5;
constexpr uint8_t Padding = 0xEE;

struct Surface {
  std::vector<uint8_t> Storage = std::vector<uint8_t>(Pitch * Rows + 8, Padding);
  uint8_t* First() { return Storage.data() + 3; }
  uint8_t& At(uint32_t x, uint32_t y) { return First()[y * Pitch + x]; }
  bool PaddingIntact() {
    for (uint32_t y = 0; y < Rows; ++y)
      for (uint32_t x = RowBytes; x < static_cast<uint32_t>(Pitch); ++x)
        if (At(x, y) != Padding) return false;
    return Storage[0] == Padding && Storage[1] == Padding && Storage[2] == Padding;
  }
};

TEST(VideoMemoryWalks, APatternFillsTheRowsAndReadsBackWhole) {
  Surface s;
  VideoMemoryTest::FillPattern(s.First(), Pitch, RowBytes, Rows, 0xA5);
  for (uint32_t y = 0; y < Rows; ++y)
    for (uint32_t x = 0; x < RowBytes; ++x) ASSERT_EQ(s.At(x, y), 0xA5) << x << "," << y;
  EXPECT_TRUE(s.PaddingIntact());
  EXPECT_TRUE(VideoMemoryTest::ComparePattern(s.First(), Pitch, RowBytes, Rows, 0xA5));
  EXPECT_FALSE(VideoMemoryTest::ComparePattern(s.First(), Pitch, RowBytes, Rows, 0x5A));
}

TEST(VideoMemoryWalks, TheFirstBadByteIsWrittenAgainAndTheWalkStopsThere) {
  // In the head, in the first and last word of a turn, in the word after it, and in the tail.
  for (uint32_t x : {0u, 1u, 11u, 30u, 40u, 52u}) {
    Surface s;
    VideoMemoryTest::FillPattern(s.First(), Pitch, RowBytes, Rows, 0x55);
    s.At(x, 2) = 0x54;
    s.At(20, 3) = 0x00;  // a later bad byte is never reached
    if (x + 1 < RowBytes) s.At(x + 1, 2) = 0x56;  // nor is the next one, in the same word or not
    EXPECT_FALSE(VideoMemoryTest::ComparePattern(s.First(), Pitch, RowBytes, Rows, 0x55)) << x;
    EXPECT_EQ(s.At(x, 2), 0x55) << x;
    EXPECT_EQ(s.At(20, 3), 0x00) << x;
    if (x + 1 < RowBytes) {
      EXPECT_EQ(s.At(x + 1, 2), 0x56) << x;
    }
    EXPECT_TRUE(s.PaddingIntact());
  }
}

}  // namespace
