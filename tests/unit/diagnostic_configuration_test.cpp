#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "config/DiagnosticConfiguration.h"
#include "platform/gdi.h"
#include "platform/syscolor_brush.h"
#ifndef _WIN32
#include "platform/sim/gdi/gdi_sim.h"
#endif

namespace {

int64_t ColourOf(platform::HBrush brush) {
  platform::LogBrush record;
  if (platform::GetObjectA(brush, sizeof record, &record) != static_cast<int32_t>(sizeof record)) return -2;
  return record.Color;
}

class DiagnosticConfigurationTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "diagconf-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir = pattern;
    path = dir + "/diagconf.ini";
  }
  void TearDown() override { std::filesystem::remove_all(dir); }

  // The colour the background brush paints with, or -1 for the system's button-face brush.
  int64_t Background(const std::string& text) const {
    std::ofstream(path, std::ios::binary) << text;
    DiagnosticConfiguration config(path);
    platform::HBrush brush = config.GetBackgroundBrush();
    EXPECT_NE(brush, 0u);
    if (brush == platform::GetSysColorBrush(platform::ColorBtnFace)) return -1;
    return ColourOf(brush);
  }

  std::string dir;
  std::string path;
};

}  // namespace

TEST_F(DiagnosticConfigurationTest, BackgroundColourComesFromWindowSettings) {
  EXPECT_EQ(Background("[WindowSettings]\nBackgroundColor=0x00FF0000\n"), 0xFF0000);  // blue in 0x00BBGGRR
  EXPECT_EQ(Background("[WindowSettings]\nBackgroundColor=0X0000ff00 ; green\n"), 0x00FF00);
  EXPECT_EQ(Background("[WindowSettings]\nBackgroundColor=255\n"), 255);
  EXPECT_EQ(Background("[WindowSettings]\nBackgroundColor=0\n"), 0);        // black, not "no value"
  EXPECT_EQ(Background("[WindowSettings]\nBackgroundColor=FF0000\n"), 0);   // no prefix: not a number
  EXPECT_EQ(Background("[WindowSettings]\nBackgroundColor=red\n"), 0);
  EXPECT_EQ(Background("[WindowSettings]\nBackgroundColor=-1\n"), -1);
  EXPECT_EQ(Background("[WindowSettings]\nBackgroundColor=\n"), -1);
  EXPECT_EQ(Background("[WindowSettings]\nbackgroundcolor=0x10\n"), -1);    // keys are case-sensitive
  EXPECT_EQ(Background("[Other]\nBackgroundColor=0x10\n"), -1);
  EXPECT_EQ(Background("BackgroundColor=0x10\n"), -1);
  std::filesystem::remove(path);
  DiagnosticConfiguration missing(path);
  EXPECT_EQ(missing.GetBackgroundBrush(), platform::GetSysColorBrush(platform::ColorBtnFace));
#ifndef _WIN32
  // Only the simulated machine's colour scheme is known here.
  EXPECT_EQ(ColourOf(missing.GetBackgroundBrush()), platform::sim::SystemColor(platform::ColorBtnFace));
#endif
  EXPECT_EQ(DiagnosticConfiguration().GetBackgroundBrush(), 0u);
}

TEST_F(DiagnosticConfigurationTest, TypedLookupsFallBackOnEmptyValues) {
  std::ofstream(path) << "[WindowSettings]\nTitle=Raster\nEmpty=\nNumber=-0x10\nBig=4294967295\n";
  DiagnosticConfiguration config(path);
  EXPECT_EQ(config.GetString("Title", "d"), "Raster");
  EXPECT_EQ(config.GetString("Empty", "d"), "d");
  EXPECT_EQ(config.GetString("Absent", "d"), "d");
  EXPECT_EQ(config.GetInteger("Number", 5), -16);
  EXPECT_EQ(config.GetInteger("Empty", 5), 5);
  EXPECT_EQ(config.GetUnsigned("Big", 1), 4294967295u);
  EXPECT_EQ(config.GetUnsigned("Title", 1), 0u);
}
