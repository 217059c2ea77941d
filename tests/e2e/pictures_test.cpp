// What the subtests draw on the built-in machine, pinned by the sums their calibration stores. A
// sum covers the whole screen, so any change to what is drawn shows here: the window system's
// lines, fills, blits, palettes and text, the OpenGL driver and the Direct3D library's scene.
// Calibration alone cannot see such a change, since it sums whatever is drawn. The digit the
// operator reads, which calibration never shows, is pinned by a screenshot: on the virtual clock
// a run shows the same digits each time. After a change to the pictures that is meant, look at
// the screenshots and take the sums the failure prints.
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "rgb_picture.h"
#include "screen_runs.h"

namespace {

using namespace screen_runs;

const char kSmallDisplay[] = "[Display.1]\nModes=640x480x32,800x600x8,800x600x16\nCurrent=800x600x16\n";

struct Picture {
  const char* Subtest;
  std::vector<std::string> Args;
  std::string Sums;  // "mode=sum" in the order calibrated
};

class PinnedPictures : public ScreenRuns {};

TEST_F(PinnedPictures, EveryCalibratedModeDrawsThePictureItAlwaysDrew) {
  MakeMedia();
  const std::string small = Machine("small.ini", kSmallDisplay);
  const std::vector<Picture> pictures{
      {"BltTest", {}, "640x480x32=683e548 800x600x8=3694089 800x600x16=7781e7b"},
      {"LineTest", {}, "640x480x32=bdf966f 800x600x8=6b9018f 800x600x16=a969259"},
      {"ModeTest", {}, "640x480x32=8bbd926 800x600x8=4c25c9e 800x600x16=7b57a71"},
      {"PaletteTest", {"-Resolution=800x600x8"}, "800x600x8=5849f40"},
      {"OpenGL3DRenderingTest",
       {"-Mode640x480x32=true", "-Mode800x600x8=true", "-Mode800x600x16=true"},
       "640x480x32=c7744db6 800x600x8=b1edaf77 800x600x16=74cd0c60"},
      {"DX93DRenderingTest", {}, "800x600x16=be0b4521"},
  };
  for (const Picture& picture : pictures) {
    std::vector<std::string> args{"-interactive=false", "-Calibrate=true"};
    args.insert(args.end(), picture.Args.begin(), picture.Args.end());
    const ProcessResult run = Run(picture.Subtest, args, small);
    EXPECT_EQ(run.Status, 0) << picture.Subtest << "\n" << run.Stdout;
    std::string sums;
    for (const Calibrated& mode : CalibratedModes(run.Stdout)) {
      char sum[16];
      std::snprintf(sum, sizeof sum, "%x", mode.Sum);
      sums += (sums.empty() ? "" : " ") + mode.Mode + "=" + sum;
    }
    EXPECT_EQ(sums, picture.Sums) << picture.Subtest;
  }
}

TEST_F(PinnedPictures, TheDigitTheOperatorReadsIsDrawnAsItAlwaysWas) {
  MakeMedia();
  const ProcessResult run = Run("BltTest", {"-Mode800x600x16=true"}, Machine("small.ini", kSmallDisplay),
                                {{"RASTERSCAN_OPERATOR", "digit"}, {"RASTERSCAN_SCREENSHOTS", Folder + "/shots"}});
  EXPECT_EQ(run.Status, 0) << run.Stdout;
  const std::vector<std::string> shots = Pictures("shots");
  ASSERT_EQ(shots.size(), 1u);
  const RgbPicture picture = ReadRgbPicture(Folder + "/" + shots[0]);
  uint32_t sum = 2166136261u;  // FNV-1a
  for (uint8_t byte : picture.Pixels) sum = (sum ^ byte) * 16777619u;
  char found[16];
  std::snprintf(found, sizeof found, "%x", sum);
  EXPECT_EQ(picture.Width, 800);
  EXPECT_STREQ(found, "9079b467");
}

}  // namespace
