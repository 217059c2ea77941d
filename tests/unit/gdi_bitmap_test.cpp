// Simulated GDI bitmaps: BMP files read by LoadImageA, and the rows GetDIBits hands out.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/gdi.h"
#include "platform/sim/gdi/gdi_sim.h"

using namespace platform;
using platform::sim::Surface;

namespace {

void Put(std::vector<uint8_t>& b, uint32_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) b.push_back(static_cast<uint8_t>(value >> (8 * i)));
}

// A BMP file: 14-byte file header, a 40-byte info header (or a 12-byte core header), then
// `table` (colour table or masks) and `pixels`, as given.
std::vector<uint8_t> Bmp(int32_t width, int32_t height, uint16_t bits, uint32_t compression,
                         const std::vector<uint8_t>& table, const std::vector<uint8_t>& pixels, bool core = false,
                         uint32_t colorsUsed = 0) {
  const uint32_t headerSize = core ? 12 : 40;
  const uint32_t offset = 14 + headerSize + static_cast<uint32_t>(table.size());
  std::vector<uint8_t> b{'B', 'M'};
  Put(b, offset + static_cast<uint32_t>(pixels.size()), 4);
  Put(b, 0, 4);
  Put(b, offset, 4);
  Put(b, headerSize, 4);
  if (core) {
    Put(b, static_cast<uint32_t>(width), 2);
    Put(b, static_cast<uint32_t>(height), 2);
    Put(b, 1, 2);
    Put(b, bits, 2);
  } else {
    Put(b, static_cast<uint32_t>(width), 4);
    Put(b, static_cast<uint32_t>(height), 4);
    Put(b, 1, 2);
    Put(b, bits, 2);
    Put(b, compression, 4);
    Put(b, static_cast<uint32_t>(pixels.size()), 4);
    Put(b, 2835, 4);
    Put(b, 2835, 4);
    Put(b, colorsUsed, 4);
    Put(b, 0, 4);
  }
  b.insert(b.end(), table.begin(), table.end());
  b.insert(b.end(), pixels.begin(), pixels.end());
  return b;
}

// Writes the bytes to a scratch file, loads them, and reads the bitmap back through a context.
class Loaded {
 public:
  explicit Loaded(const std::vector<uint8_t>& file, int32_t width = 0, int32_t height = 0, uint32_t flags = 0) {
    path_ = ::testing::TempDir() + "gdi_" + std::to_string(::getpid()) + ".bmp";
    std::FILE* f = std::fopen(path_.c_str(), "wb");
    std::fwrite(file.data(), 1, file.size(), f);
    std::fclose(f);
    Bitmap = LoadImageA(0, path_.c_str(), ImageBitmap, width, height, LrLoadFromFile | flags);
    Dc = CreateCompatibleDC(0);
    if (Bitmap != 0) old_ = SelectObject(Dc, Bitmap);
  }
  ~Loaded() {
    if (Bitmap != 0) SelectObject(Dc, old_);
    DeleteObject(Bitmap);
    DeleteDC(Dc);
    std::remove(path_.c_str());
  }
  HBitmap Bitmap = 0;
  Hdc Dc = 0;

 private:
  std::string path_;
  HGdiObj old_ = 0;
};

constexpr ColorRef kRed = 0x0000FF, kGreen = 0x00FF00, kBlue = 0xFF0000, kWhite = 0xFFFFFF, kBlack = 0;

}  // namespace

TEST(GdiLoadImage, ReadsEachDepthAndRowOrder) {
  {  // 24 bits, bottom-up: the first row in the file is the bottom one; rows padded to 8 bytes.
    Loaded b(Bmp(2, 2, 24, BiRgb, {}, {0xFF, 0, 0, 0xFF, 0xFF, 0xFF, 0, 0, /**/ 0, 0, 0xFF, 0, 0xFF, 0, 0, 0}));
    ASSERT_NE(b.Bitmap, 0u);
    EXPECT_EQ(GetPixel(b.Dc, 0, 0), kRed);
    EXPECT_EQ(GetPixel(b.Dc, 1, 0), kGreen);
    EXPECT_EQ(GetPixel(b.Dc, 0, 1), kBlue);
    EXPECT_EQ(GetPixel(b.Dc, 1, 1), kWhite);
    Bitmap info;
    ASSERT_EQ(GetObjectA(b.Bitmap, sizeof info, &info), static_cast<int32_t>(sizeof info));
    EXPECT_EQ(info.Width, 2);
    EXPECT_EQ(info.Height, 2);
    EXPECT_EQ(info.BitsPixel, 32);  // the display's depth (32 with no display)
  }
  {  // 32 bits, top-down.
    Loaded b(Bmp(2, -2, 32, BiRgb, {}, {0, 0, 0xFF, 0, 0, 0xFF, 0, 0, /**/ 0xFF, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0}));
    ASSERT_NE(b.Bitmap, 0u);
    EXPECT_EQ(GetPixel(b.Dc, 0, 0), kRed);
    EXPECT_EQ(GetPixel(b.Dc, 1, 1), kWhite);
  }
  {  // 8 bits with three colours in the table.
    const std::vector<uint8_t> table{0, 0, 0xFF, 0, /**/ 0, 0xFF, 0, 0, /**/ 0xFF, 0, 0, 0};
    Loaded b(Bmp(2, 1, 8, BiRgb, table, {2, 1, 0, 0}, false, 3));
    ASSERT_NE(b.Bitmap, 0u);
    EXPECT_EQ(GetPixel(b.Dc, 0, 0), kBlue);
    EXPECT_EQ(GetPixel(b.Dc, 1, 0), kGreen);
  }
  {  // 4 bits: high nibble first.
    const std::vector<uint8_t> table{0, 0, 0, 0, /**/ 0xFF, 0xFF, 0xFF, 0};
    Loaded b(Bmp(3, 1, 4, BiRgb, table, {0x10, 0x10, 0, 0}, false, 2));
    ASSERT_NE(b.Bitmap, 0u);
    EXPECT_EQ(GetPixel(b.Dc, 0, 0), kWhite);
    EXPECT_EQ(GetPixel(b.Dc, 1, 0), kBlack);
    EXPECT_EQ(GetPixel(b.Dc, 2, 0), kWhite);
  }
  {  // 1 bit, top-down: the top bit is the leftmost pixel.
    const std::vector<uint8_t> table{0, 0, 0, 0, /**/ 0xFF, 0xFF, 0xFF, 0};
    Loaded b(Bmp(3, -2, 1, BiRgb, table, {0xA0, 0, 0, 0, /**/ 0x40, 0, 0, 0}));
    ASSERT_NE(b.Bitmap, 0u);
    EXPECT_EQ(GetPixel(b.Dc, 0, 0), kWhite);
    EXPECT_EQ(GetPixel(b.Dc, 1, 0), kBlack);
    EXPECT_EQ(GetPixel(b.Dc, 2, 0), kWhite);
    EXPECT_EQ(GetPixel(b.Dc, 1, 1), kWhite);
  }
  {  // 16 bits with 5-6-5 masks, and 5-5-5 without.
    std::vector<uint8_t> masks;
    Put(masks, 0xF800, 4);
    Put(masks, 0x07E0, 4);
    Put(masks, 0x001F, 4);
    Loaded b(Bmp(2, 1, 16, BiBitfields, masks, {0x00, 0xF8, 0xE0, 0x07}));
    ASSERT_NE(b.Bitmap, 0u);
    EXPECT_EQ(GetPixel(b.Dc, 0, 0), kRed);
    EXPECT_EQ(GetPixel(b.Dc, 1, 0), kGreen);
    Loaded c(Bmp(1, 1, 16, BiRgb, {}, {0x1F, 0x00, 0, 0}));
    EXPECT_EQ(GetPixel(c.Dc, 0, 0), kBlue);
  }
  {  // The old core header with three-byte table entries.
    Loaded b(Bmp(1, 1, 8, BiRgb, std::vector<uint8_t>(3 * 256, 0xFF), {0, 0, 0, 0}, true));
    ASSERT_NE(b.Bitmap, 0u);
    EXPECT_EQ(GetPixel(b.Dc, 0, 0), kWhite);
  }
}

TEST(GdiLoadImage, StretchesToTheAskedSizeAndKeepsIndicesInSections) {
  const auto file = Bmp(2, 2, 24, BiRgb, {}, {0xFF, 0, 0, 0xFF, 0xFF, 0xFF, 0, 0, /**/ 0, 0, 0xFF, 0, 0xFF, 0, 0, 0});
  Loaded b(file, 4, 4);
  Bitmap info;
  GetObjectA(b.Bitmap, sizeof info, &info);
  EXPECT_EQ(info.Width, 4);
  EXPECT_EQ(info.Height, 4);
  EXPECT_EQ(GetPixel(b.Dc, 1, 1), kRed);
  EXPECT_EQ(GetPixel(b.Dc, 2, 1), kGreen);
  EXPECT_EQ(GetPixel(b.Dc, 1, 2), kBlue);
  EXPECT_EQ(GetPixel(b.Dc, 3, 3), kWhite);
  Loaded natural(file, 4, 4, LrDefaultSize);
  GetObjectA(natural.Bitmap, sizeof info, &info);
  EXPECT_EQ(info.Width, 2);

  const std::vector<uint8_t> table{0, 0, 0, 0, /**/ 0x10, 0x20, 0x30, 0};
  Loaded section(Bmp(1, 1, 8, BiRgb, table, {1, 0, 0, 0}, false, 2), 0, 0, LrCreateDibSection);
  const Surface* pixels = sim::BitmapSurface(section.Bitmap);
  ASSERT_NE(pixels, nullptr);
  EXPECT_EQ(pixels->Bits, 8);
  EXPECT_EQ(pixels->Row(0)[0], 1);
  EXPECT_EQ(GetPixel(section.Dc, 0, 0), Rgb(0x30, 0x20, 0x10));
}

TEST(GdiLoadImage, RefusesWhatItCannotRead) {
  EXPECT_EQ(Loaded(Bmp(2, 1, 8, 1 /* RLE8 */, std::vector<uint8_t>(8, 0), {0, 2, 0, 0})).Bitmap, 0u);
  auto truncated = Bmp(4, 4, 24, BiRgb, {}, std::vector<uint8_t>(48, 0));
  truncated.resize(truncated.size() - 10);
  EXPECT_EQ(Loaded(truncated).Bitmap, 0u);
  auto wrongMagic = Bmp(1, 1, 24, BiRgb, {}, {0, 0, 0, 0});
  wrongMagic[0] = 'X';
  EXPECT_EQ(Loaded(wrongMagic).Bitmap, 0u);
  // Heights of the extremes: the lowest has no positive counterpart, the highest is too large.
  EXPECT_EQ(Loaded(Bmp(1, INT32_MIN, 24, BiRgb, {}, {0, 0, 0, 0})).Bitmap, 0u);
  EXPECT_EQ(Loaded(Bmp(1, INT32_MAX, 24, BiRgb, {}, {0, 0, 0, 0})).Bitmap, 0u);
  EXPECT_NE(Loaded(Bmp(1, -1, 24, BiRgb, {}, {0, 0, 0, 0})).Bitmap, 0u);
  EXPECT_EQ(LoadImageA(0, "/nonexistent/ball.bmp", ImageBitmap, 0, 0, LrLoadFromFile), 0u);
  EXPECT_EQ(LoadImageA(0, "ball.bmp", ImageBitmap, 0, 0, 0), 0u);  // resources are not there
}

TEST(GdiDIBits, CaptureThroughAMemoryBitmapGivesBottomUpPaddedRows) {
  Surface screen;
  screen.Allocate(3, 2, 32);
  const Hdc dc = sim::CreateSurfaceDC(screen, {0, 0}, {0, 0, 3, 2});
  SetPixelV(dc, 0, 0, Rgb(1, 2, 3));
  SetPixelV(dc, 2, 0, Rgb(4, 5, 6));
  SetPixelV(dc, 0, 1, Rgb(7, 8, 9));
  const Hdc memory = CreateCompatibleDC(dc);
  const HBitmap bitmap = CreateCompatibleBitmap(dc, 3, 2);
  const HGdiObj old = SelectObject(memory, bitmap);
  ASSERT_TRUE(BitBlt(memory, 0, 0, 3, 2, dc, 0, 0, SrcCopy));
  // A bitmap sits in one memory context at a time.
  const Hdc other = CreateCompatibleDC(dc);
  EXPECT_EQ(SelectObject(other, bitmap), 0u);
  DeleteDC(other);
  SelectObject(memory, old);
  DeleteDC(memory);

  std::vector<uint8_t> block(sizeof(BitmapInfoHeader) + 4 * 256);
  auto* info = reinterpret_cast<BitmapInfo*>(block.data());
  info->Header.Size = 40;
  ASSERT_NE(GetDIBits(dc, bitmap, 0, 0, nullptr, info, DibRgbColors), 0);
  EXPECT_EQ(info->Header.Width, 3);
  EXPECT_EQ(info->Header.Height, 2);
  EXPECT_EQ(info->Header.BitCount, 32);
  EXPECT_EQ(info->Header.Compression, BiRgb);
  EXPECT_EQ(info->Header.SizeImage, 24u);

  // 24 bits: 9 bytes of pixels and 3 of padding per row, bottom row first.
  info->Header.BitCount = 24;
  std::vector<uint8_t> rows(24, 0xEE);
  ASSERT_EQ(GetDIBits(dc, bitmap, 0, 2, rows.data(), info, DibRgbColors), 2);
  EXPECT_EQ(info->Header.SizeImage, 24u);
  EXPECT_EQ(rows, (std::vector<uint8_t>{9, 8, 7, 0, 0, 0, 0, 0, 0, 0, 0, 0,  //
                                        3, 2, 1, 0, 0, 0, 6, 5, 4, 0, 0, 0}));
  // 32 bits top-down.
  info->Header.BitCount = 32;
  info->Header.Height = -2;
  ASSERT_EQ(GetDIBits(dc, bitmap, 0, 2, rows.data(), info, DibRgbColors), 2);
  EXPECT_EQ(std::vector<uint8_t>(rows.begin(), rows.begin() + 4), (std::vector<uint8_t>{3, 2, 1, 0}));
  EXPECT_EQ(std::vector<uint8_t>(rows.begin() + 12, rows.begin() + 16), (std::vector<uint8_t>{9, 8, 7, 0}));
  DeleteObject(bitmap);
  DeleteDC(dc);
}

TEST(GdiDIBits, SixteenBitBitmapsReportMasksAndGiveFiveFiveFiveAsRgb) {
  Surface screen;
  screen.Allocate(2, 1, 16);
  const Hdc dc = sim::CreateSurfaceDC(screen, {0, 0}, {0, 0, 2, 1});
  SetPixelV(dc, 0, 0, Rgb(0x80, 0x40, 0x20));
  SetPixelV(dc, 1, 0, kWhite);
  const Hdc memory = CreateCompatibleDC(dc);
  const HBitmap bitmap = CreateCompatibleBitmap(dc, 2, 1);
  const HGdiObj old = SelectObject(memory, bitmap);
  BitBlt(memory, 0, 0, 2, 1, dc, 0, 0, SrcCopy);
  SelectObject(memory, old);
  DeleteDC(memory);
  std::vector<uint8_t> block(sizeof(BitmapInfoHeader) + 12);
  auto* info = reinterpret_cast<BitmapInfo*>(block.data());
  info->Header.Size = 40;
  GetDIBits(dc, bitmap, 0, 0, nullptr, info, DibRgbColors);
  EXPECT_EQ(info->Header.BitCount, 16);
  EXPECT_EQ(info->Header.Compression, BiBitfields);
  info->Header.Compression = BiRgb;
  std::vector<uint8_t> row(4);
  ASSERT_EQ(GetDIBits(dc, bitmap, 0, 1, row.data(), info, DibRgbColors), 1);
  // 0x84, 0x41, 0x21 on screen -> 5-5-5 fields 0x10, 0x08, 0x04 -> 0x4104; white -> 0x7FFF.
  EXPECT_EQ(row, (std::vector<uint8_t>{0x04, 0x41, 0xFF, 0x7F}));
  info->Header.Compression = BiBitfields;
  ASSERT_EQ(GetDIBits(dc, bitmap, 0, 1, row.data(), info, DibRgbColors), 1);
  EXPECT_EQ(row[0] | (row[1] << 8), 0x8204);
  DeleteObject(bitmap);
  DeleteDC(dc);
}
