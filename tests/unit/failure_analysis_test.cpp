// Failure analysis: dump file names, the walks that save and wipe the screen, and the pixel
// compare with its log records and progress marks.
#include <cstring>
#include <string>

#include "screen/FailureAnalysis.h"
#include "surface_fixture.h"

using namespace surface_test;

namespace {

TEST(DumpFileNames, NumberedModesBothExceptionsAndModesWithoutANumber) {
  const AnalysisSubtest M = AnalysisSubtest::ModeTest, B = AnalysisSubtest::BltTest;
  const struct {
    AnalysisSubtest Subtest;
    int32_t Width, Height, Bits;
    std::string Stem;  // empty: no triple
  } cases[] = {{M, 640, 480, 8, "MODE101"},    {B, 2048, 1536, 32, "BLT1504"}, {M, 1280, 768, 24, "MODE603"},
               {B, 1800, 1880, 16, "BLT1202"}, {M, 1400, 1050, 8, "MODE804"},  {M, 1400, 1050, 16, "MODE803"},
               {M, 1400, 1050, 32, "MODE801"}, {B, 1400, 1050, 8, "BLT801"},   {M, 1920, 1200, 32, ""},
               {B, 1024, 600, 16, ""},         {M, 640, 480, 15, ""}};
  for (const auto& c : cases) {
    std::string cal = "old", fal = "old", log = "old";
    SCOPED_TRACE(c.Width * 100000 + c.Bits);
    EXPECT_EQ(GetDumpFileNames(c.Subtest, c.Width, c.Height, c.Bits, cal, fal, log), !c.Stem.empty());
    EXPECT_EQ(cal + fal + log, c.Stem.empty() ? "" : c.Stem + ".CAL" + c.Stem + ".FAL" + c.Stem + ".LOG");
  }
}

// A 5x3 screen at 24 bits with rows 21 bytes apart: 15 bytes of picture, 6 of padding.
class SurfaceWalks : public SurfaceFixture {
 protected:
  void SetUp() override {
    SurfaceFixture::SetUp();
    Screen(5, 3, 24, 5);
    ASSERT_EQ(Surface().Pitch, 21);
    for (int32_t y = 0; y < 3; ++y)
      for (int32_t i = 0; i < 21; ++i) Surface().Row(y)[i] = i < 15 ? Picture(y, i) : 0xEE;
  }
  static uint8_t Picture(int32_t y, int32_t i) { return static_cast<uint8_t>(1 + 40 * y + 3 * i); }
  static Bytes Dump() {
    Bytes b;
    for (int32_t y = 0; y < 3; ++y)
      for (int32_t i = 0; i < 15; ++i) b.push_back(Picture(y, i));
    return b;
  }
  static void ExpectFilled(uint8_t fill) {
    for (int32_t y = 0; y < 3; ++y)
      for (int32_t i = 0; i < 21; ++i) ASSERT_EQ(Surface().Row(y)[i], i < 15 ? fill : 0xEE) << y << "," << i;
  }
  static constexpr uint32_t kSum = 330 + 930 + 1530;  // the three rows
};

TEST_F(SurfaceWalks, SumsSeeTheRowsOnlyAndTheDumpSumsWhatItSaves) {
  session_.ChecksumSurface();
  EXPECT_EQ(session_.Checksum, kSum);
  EXPECT_EQ(Surface().Row(2)[14], Picture(2, 14));
  session_.ChecksumAndDumpSurface("MODE101.FAL");
  EXPECT_EQ(session_.Checksum, kSum);
  EXPECT_EQ(Read("MODE101.FAL"), Dump());
  ExpectFilled(0x00);
}

// Rows long enough for the wide adds, with a tail and padding: the total must be the plain byte sum,
// since calibration records made by older builds hold it.
TEST_F(SurfaceWalks, TheSumOfWideRowsIsTheByteByByteSum) {
  Screen(101, 3, 32, 7);
  uint32_t expected = 0;
  for (int32_t y = 0; y < 3; ++y)
    for (int32_t i = 0; i < Surface().Pitch; ++i) {
      const uint8_t byte = static_cast<uint8_t>(255 - (i * 7 + y * 13) % 256);
      Surface().Row(y)[i] = byte;
      if (i < 404) expected += byte;
    }
  session_.ChecksumSurface();
  EXPECT_EQ(session_.Checksum, expected);
}

TEST_F(SurfaceWalks, WhiteAndBlackDumpsWriteOverOlderFilesWithoutCuttingThem) {
  Write("BLT101.CAL", Bytes(50, 0xAB));
  session_.Checksum = 77;
  session_.DumpSurfaceWhite("blt101.cal");  // found whatever the case
  Bytes expected = Dump();
  expected.insert(expected.end(), 5, 0xAB);
  EXPECT_EQ(Read("BLT101.CAL"), expected);
  ExpectFilled(0xFF);
  EXPECT_EQ(session_.Checksum, 77u);
  EXPECT_EQ(session_.SurfaceDesc.Pitch, 21) << "the compare takes the pitch from here";
  session_.DumpSurfaceBlack("BLT101.FAL");
  EXPECT_EQ(Read("BLT101.FAL"), Bytes(45, 0xFF));
  ExpectFilled(0x00);
}

TEST_F(SurfaceWalks, NoFileStillWipesButALostSurfaceIsLeftAlone) {
  session_.DumpSurfaceWhite("");  // a mode without a number
  ExpectFilled(0xFF);
  session_.DumpSurfaceBlack("no-such-folder\\MODE101.FAL");
  ExpectFilled(0x00);
  EXPECT_EQ(FilesHere(), 0u);

  Surface().Row(0)[0] = 9;
  scope_->AdapterAt(0).ModeGeneration += 1;  // a mode change behind the session's back
  session_.ChecksumAndDumpSurface("MODE101.FAL");
  EXPECT_EQ(session_.LastResult, platform::DdErrSurfaceLost);
  EXPECT_EQ(session_.Checksum, 0u);
  EXPECT_EQ(FilesHere(), 0u);
  EXPECT_EQ(Surface().Row(0)[0], 9);
}

std::string Record(int n, int x, int y, const char* expected, const char* actual, const char* joint = "\n") {
  return "*******************\n Record Number : " + std::to_string(n) + joint + " X offset  : " + std::to_string(x) +
         "\n Y offset  : " + std::to_string(y) + "\n Expected      : " + expected + "\n Actual        : " + actual +
         "\n ********************\n";
}
std::string Total(const char* count) {
  return std::string("*******************\n FINAL ANALYSIS\n Total Pixel Errors : ") + count +
         "\n ********************\n";
}

class PixelCompare : public SurfaceFixture {
 protected:
  void SetUp() override {
    SurfaceFixture::SetUp();
    AnalysisLogEnabled = 1;
  }
  void TearDown() override {
    AnalysisLogEnabled = 0;
    SurfaceFixture::TearDown();
  }
  // A screen whose pitch the session has learnt, as a dump walk leaves it.
  void Learnt(int32_t width, int32_t height, int32_t bits) {
    Screen(width, height, bits);
    session_.ChecksumSurface();
  }
  std::string Compare(const Bytes& cal, const Bytes& fal) {
    Write("X.CAL", cal);
    Write("X.FAL", fal);
    ComparePixelDumps("X.CAL", "X.FAL", "X.LOG", session_);
    return ReadText("X.LOG");
  }
};

TEST_F(PixelCompare, OffsetsFollowThePitchAndTheTotalIsHexadecimal) {
  Learnt(6, 3, 8);  // 6 pixels to a row on screen, 8 by the pitch
  Bytes fal(18, 0x11);
  for (size_t i = 0; i < 16; ++i) fal[i] = static_cast<uint8_t>(0x20 + i);
  const std::string log = Compare(Bytes(18, 0x11), fal);
  EXPECT_EQ(log.substr(0, Record(1, 0, 0, "11", "20").size()), Record(1, 0, 0, "11", "20"));
  EXPECT_NE(log.find(Record(9, 0, 1, "11", "28")), std::string::npos);
  const std::string tail = Record(16, 7, 1, "11", "2f") + Total("10");
  ASSERT_GE(log.size(), tail.size());
  EXPECT_EQ(log.substr(log.size() - tail.size()), tail);
}

TEST_F(PixelCompare, IdenticalDumpsNoLogAndAMissingCal) {
  Learnt(4, 1, 8);
  EXPECT_EQ(Compare(Bytes(4, 5), Bytes(4, 5)), Total("0"));
  AnalysisLogEnabled = 0;
  std::remove("X.LOG");
  EXPECT_EQ(Compare(Bytes(4, 5), Bytes(4, 6)), "") << "made, and empty";
  EXPECT_EQ(FilesHere(), 3u);

  AnalysisLogEnabled = 1;
  std::remove("X.LOG");
  std::remove("X.CAL");
  ComparePixelDumps("X.CAL", "X.FAL", "X.LOG", session_);
  EXPECT_EQ(Read("X.CAL").size(), 0u) << "made empty";
  EXPECT_EQ(ReadText("X.LOG"), Record(1, 0, 0, "0", "6") + Record(2, 1, 0, "0", "6") + Record(3, 2, 0, "0", "6") +
                                   Record(4, 3, 0, "0", "6") + Total("4"));
}

struct Marks {
  int32_t Width, Height;
  std::vector<int32_t> Lefts;
};
void PrintTo(const Marks& m, std::ostream* out) { *out << m.Width << "x" << m.Height; }

class ProgressMarks : public PixelCompare, public ::testing::WithParamInterface<Marks> {};

// A yellow blank at y 55 for every 10000 pixels passed, each 5 pixels right of the one before.
TEST_P(ProgressMarks, OneBlankPerTenThousandPixels) {
  const Marks m = GetParam();
  Learnt(m.Width, m.Height, 32);
  const Bytes same(static_cast<size_t>(m.Width * m.Height * 4), 0);
  Compare(same, same);
  const auto runs = platform::sim::TextRunsIn(Surface(), {0, 0, m.Width, m.Height});
  ASSERT_EQ(runs.size(), m.Lefts.size());
  for (size_t i = 0; i < runs.size(); ++i) {
    EXPECT_EQ(runs[i].Text, L" ");
    EXPECT_EQ(runs[i].Bounds.Left, m.Lefts[i]);
    EXPECT_EQ(runs[i].Bounds.Top, 55);
    EXPECT_EQ(runs[i].Color, 0x00FFFFu);
    EXPECT_EQ(Surface().Row(55)[4 * m.Lefts[i] + 2], 0xFF) << "a red and green background";
    EXPECT_EQ(Surface().Row(55)[4 * m.Lefts[i]], 0x00);
  }
}

INSTANTIATE_TEST_SUITE_P(Sizes, ProgressMarks,
                         ::testing::Values(Marks{100, 100, {}}, Marks{101, 100, {5}}, Marks{160, 130, {5, 10}}));

TEST_F(PixelCompare, FailedScreenIsSavedWipedLabelledAndCompared) {
  Learnt(64, 60, 8);
  auto draw = [] {
    for (int32_t y = 0; y < 60; ++y)
      for (int32_t x = 0; x < 64; ++x) Surface().Row(y)[x] = static_cast<uint8_t>(x + y);
  };
  draw();
  session_.DumpSurfaceWhite("BLT101.CAL");
  draw();
  Surface().Row(2)[3] = 0xF0;
  const platform::Hdc dc = platform::CreateDCA("Display", nullptr, nullptr, nullptr);
  AnalyzeFailedScreen(session_, dc, false, "BLT101.CAL", "BLT101.FAL", "BLT101.LOG");
  platform::DeleteDC(dc);

  EXPECT_EQ(ReadText("BLT101.LOG"), Record(1, 3, 2, "5", "f0") + Total("1"));
  EXPECT_EQ(Surface().Row(20)[40], 0) << "the picture is gone";
  const auto runs = platform::sim::TextRunsIn(Surface(), {0, 0, 64, 60});
  ASSERT_EQ(runs.size(), 1u);
  EXPECT_EQ(runs[0].Text, L"Analyzing Failure");
  EXPECT_EQ(runs[0].Bounds.Left, 5);
  EXPECT_EQ(runs[0].Bounds.Top, 35);
  EXPECT_EQ(runs[0].Color, 0x0000FFu);
}

}  // namespace
