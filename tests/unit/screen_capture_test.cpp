// Screen capture: the BMP a capture leaves, read back through its headers, and the directory rules
// (rows and the 8-bit screens that leave nothing are checked by the GDI suite and end to end).
#include <functional>
#include <string>

#include "screen/ScreenCapture.h"
#include "surface_fixture.h"

using namespace surface_test;

namespace {

uint32_t Word(const Bytes& b, size_t at, size_t size) {
  uint32_t v = 0;
  for (size_t i = 0; i < size; ++i) v |= uint32_t{b.at(at + i)} << (8 * i);
  return v;
}

class Capture : public SurfaceFixture {
 protected:
  std::string Run(int32_t attempt, const std::string& directory, const char* test = "ModeTest") {
    ::testing::internal::CaptureStdout();
    CaptureScreenToBitmap(session_.PrimarySurface, test, attempt, directory);
    return ::testing::internal::GetCapturedStdout();
  }
  // Checks the two headers of a bottom-up BI_RGB file; gives the pixel at (x, y).
  static std::function<uint32_t(int32_t, int32_t)> Open(const std::string& name, int32_t width, int32_t height,
                                                        uint32_t bits) {
    const Bytes f = Read(name);
    const uint32_t stride = (static_cast<uint32_t>(width) * bits / 8 + 3) / 4 * 4;
    const uint32_t image = stride * static_cast<uint32_t>(height);
    EXPECT_EQ(f.size(), 54 + image);
    if (f.size() != 54 + image) return [](int32_t, int32_t) { return 0xDEADu; };
    EXPECT_EQ(std::string(f.begin(), f.begin() + 2), "BM");
    EXPECT_EQ(Word(f, 2, 4), 54 + image);
    EXPECT_EQ(Word(f, 6, 4), 0u);
    EXPECT_EQ(Word(f, 10, 4), 54u);
    EXPECT_EQ(Word(f, 14, 4), 40u);
    EXPECT_EQ(Word(f, 18, 4), static_cast<uint32_t>(width));
    EXPECT_EQ(Word(f, 22, 4), static_cast<uint32_t>(height));
    EXPECT_EQ(Word(f, 26, 2), 1u);
    EXPECT_EQ(Word(f, 28, 2), bits);
    EXPECT_EQ(Word(f, 30, 4), 0u);
    EXPECT_EQ(Word(f, 34, 4), image);
    return [f, stride, height, bits](int32_t x, int32_t y) {
      return Word(f, 54 + static_cast<size_t>(height - 1 - y) * stride + static_cast<size_t>(x) * bits / 8, bits / 8);
    };
  }
};

TEST_F(Capture, SixteenBitScreenIsSavedFiveFiveFive) {
  Screen(4, 1, 16);
  const uint16_t screen[] = {0xF800, 0x07E0, 0x001F, 0x8410};  // 5-6-5 red, green, blue, grey
  for (int32_t x = 0; x < 4; ++x) {
    Surface().Row(0)[2 * x] = static_cast<uint8_t>(screen[x]);
    Surface().Row(0)[2 * x + 1] = static_cast<uint8_t>(screen[x] >> 8);
  }
  Run(1, "", "LineTest");
  const auto pixel = Open("LineTest_4_1_16_1.bmp", 4, 1, 16);
  EXPECT_EQ(pixel(0, 0), 0x7C00u);
  EXPECT_EQ(pixel(1, 0), 0x03E0u);
  EXPECT_EQ(pixel(2, 0), 0x001Fu);
  EXPECT_EQ(pixel(3, 0), 0x4210u) << "each field 0x84, whose top five bits are 10000";
}

TEST_F(Capture, DirectoryWithOrWithoutBackslashOneLetterIgnoredMissingOneFallsBack) {
  Screen(2, 2, 32);
  fs::create_directory("shots");
  EXPECT_EQ(Run(0, "shots"), "");
  EXPECT_EQ(Run(1, "shots\\"), "");
  EXPECT_EQ(Run(-1, ".\\SHOTS"), "");  // folders are found whatever their case
  EXPECT_EQ(Run(2, "C"), "");
  const std::string fallback =
      "LogMessage 14 20000 \"Invalid Direcotry path provided.. Creating File in current folder\" \"\"\n";
  EXPECT_EQ(Run(3, "missing"), fallback);
  Write("plain", Bytes(1, 0));
  EXPECT_EQ(Run(4, "plain"), fallback) << "a file is no folder";
  for (const char* made : {"shots/ModeTest_2_2_32_0.bmp", "shots/ModeTest_2_2_32_1.bmp", "shots/ModeTest_2_2_32.bmp",
                           "ModeTest_2_2_32_2.bmp", "ModeTest_2_2_32_3.bmp", "ModeTest_2_2_32_4.bmp"})
    EXPECT_TRUE(fs::exists(made)) << made;
  EXPECT_EQ(FilesHere(), 5u);
}

TEST_F(Capture, AFileInTheWayIsReported) {
  Screen(2, 2, 32);
  fs::create_directory("ModeTest_2_2_32_1.bmp");
  EXPECT_EQ(Run(1, ""), "LogMessage 8 20000 \"Unable to Create Bitmap File\" \"\"\n");
  Write("ModeTest_2_2_32_0.bmp", Bytes(500, 0xAA));
  Run(0, "");
  EXPECT_EQ(Read("ModeTest_2_2_32_0.bmp").size(), 54u + 16u) << "the same attempt overwrites";
}

}  // namespace
