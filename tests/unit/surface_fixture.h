// A small simulated screen held by a DirectDraw session, the display and surface contexts wired
// as at the program's start, in a scratch working directory.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "display_fixture.h"
#include "platform/gdi.h"
#include "platform/sim/gdi/gdi_sim.h"
#include "screen/DirectDrawSession.h"

namespace surface_test {

using Bytes = std::vector<uint8_t>;
namespace fs = std::filesystem;

class SurfaceFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/surface-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    folder_ = pattern;
    previous_ = fs::current_path();
    fs::current_path(folder_);
    platform::sim::SetDisplaySurface([] { return &Surface(); });
    platform::sim::SetSurfaceDcHooks({[](platform::sim::Surface& s) {
                                        return platform::sim::CreateSurfaceDC(s, {0, 0}, {0, 0, s.Width, s.Height});
                                      },
                                      [](uintptr_t dc) { platform::DeleteDC(dc); }});
  }
  void TearDown() override {
    session_.ReleaseSurfaces()->ReleaseDirectDraw();
    scope_.reset();
    platform::sim::SetSurfaceDcHooks({});
    platform::sim::SetDisplaySurface(nullptr);
    fs::current_path(previous_);
    fs::remove_all(folder_);
  }

  // A screen of that mode, its rows `pitchExtra` bytes longer than the row rounded up to four.
  void Screen(int32_t width, int32_t height, int32_t bits, int32_t pitchExtra = 0) {
    display_test::DisplayConfig config = display_test::OneAdapter();
    config.Adapters[0].Current = {width, height, bits};
    config.Adapters[0].PitchExtra = pitchExtra;
    session_.ReleaseSurfaces()->ReleaseDirectDraw();
    scope_.reset();  // the old scope puts the built-in display back as it goes
    scope_ = std::make_unique<display_test::DisplayScope>(config);
    platform::sim::ForgetAllTextRuns(Surface());
    session_.Create()->SetCooperation(1)->CreatePrimarySurface();
    ASSERT_EQ(session_.LastResult, 0);
  }

  static platform::sim::Surface& Surface() { return platform::sim::PrimaryFrameBuffer(); }
  static Bytes Read(const std::string& name) {
    std::ifstream in(name, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  static std::string ReadText(const std::string& name) {
    const Bytes b = Read(name);
    return std::string(b.begin(), b.end());
  }
  static void Write(const std::string& name, const Bytes& b) {
    std::ofstream(name, std::ios::binary)
        .write(reinterpret_cast<const char*>(b.data()), static_cast<std::streamsize>(b.size()));
  }
  static size_t FilesHere() { return static_cast<size_t>(std::distance(fs::directory_iterator("."), {})); }

  DirectDrawSession session_;
  std::unique_ptr<display_test::DisplayScope> scope_;
  fs::path folder_, previous_;
};

}  // namespace surface_test
