#include <gtest/gtest.h>

#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "screen/CalibrationStore.h"

namespace {

// Each case runs in a scratch working directory, where the store lives.
class CalibrationFile : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/calibration-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    Folder = pattern;
    char previous[4096];
    ASSERT_NE(getcwd(previous, sizeof previous), nullptr);
    Previous = previous;
    ASSERT_EQ(chdir(Folder.c_str()), 0);
  }
  void TearDown() override {
    ASSERT_EQ(chdir(Previous.c_str()), 0);
    std::remove((Folder + "/ZR_VIDEO.DAT").c_str());
    rmdir(Folder.c_str());
  }
  static std::vector<unsigned char> Bytes(const std::string& name) {
    std::ifstream in(name, std::ios::binary);
    return std::vector<unsigned char>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  static void WriteBytes(const std::vector<unsigned char>& bytes) {
    std::ofstream("ZR_VIDEO.DAT", std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  }
  static CalibrationRecord Key(uint32_t controller, uint32_t test, uint32_t width, uint32_t height, uint32_t bits) {
    CalibrationRecord record;
    record.Controller = controller;
    record.Test = test;
    record.Width = width;
    record.Height = height;
    record.BPP = bits;
    return record;
  }
  std::string Folder;
  std::string Previous;
};

TEST_F(CalibrationFile, StoringAgainUpdatesInPlaceAndKeepsTheTail) {
  std::vector<unsigned char> file(64, 0);
  StoreCalibrationRecord(Key(0x10DE0110, BltTestId, 800, 600, 16), 1);
  StoreCalibrationRecord(Key(0x10DE0110, LineTestId, 800, 600, 16), 2);
  file = Bytes("ZR_VIDEO.DAT");
  ASSERT_EQ(file.size(), 64u);
  file[24] = 0xAA;  // a reserved byte someone else wrote
  WriteBytes(file);
  EXPECT_TRUE(StoreCalibrationRecord(Key(0x10DE0110, BltTestId, 800, 600, 16), 7));
  // A generic record beside the specific one is another key.
  EXPECT_FALSE(StoreCalibrationRecord(Key(GenericController, BltTestId, 800, 600, 16), 9));
  file = Bytes("ZR_VIDEO.DAT");
  ASSERT_EQ(file.size(), 96u);
  EXPECT_EQ(file[20], 7);
  EXPECT_EQ(file[24], 0xAA);
  EXPECT_EQ(file[52], 2);
  EXPECT_EQ(file[64], 0xFF);
}

TEST_F(CalibrationFile, FirstMatchInFileOrderWinsAndGenericMatchesAnyController) {
  StoreCalibrationRecord(Key(GenericController, ModeTestId, 640, 480, 8), 0x111);
  StoreCalibrationRecord(Key(0x12345678, ModeTestId, 640, 480, 8), 0x222);
  CalibrationRecord key = Key(0x12345678, ModeTestId, 640, 480, 8);
  EXPECT_TRUE(ReadCalibrationRecord(key));
  EXPECT_EQ(key.Checksum, 0x111u);
}

}  // namespace
