// The rendering library's own parts that its pictures do not show (the pictures are pinned
// end to end): BMP files it must refuse, meshes closed on every side, and a launch stopped from
// another thread through a second handle on the library.
#include <dirent.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "d3dx/D3DX9.h"
#include "media/ScenePictures.h"
#include "platform/library.h"
#include "platform/platform.h"
#include "platform/sim/machine.h"

D3DX_EXPORT int32_t D3DXDecodeBitmap(const uint8_t* bytes, uint32_t size, d3dx::Image* out);
D3DX_EXPORT void D3DXFreeImage(d3dx::Image* image);
D3DX_EXPORT int32_t D3DXCreateCoin(int32_t segments, float radius, float thickness, d3dx::Mesh* out);
D3DX_EXPORT int32_t D3DXCreateBox(float size, d3dx::Mesh* out);
D3DX_EXPORT void D3DXFreeMesh(d3dx::Mesh* mesh);

namespace {

d3dx::Image Decode(const std::vector<uint8_t>& bytes, int32_t expected = 0) {
  d3dx::Image image;
  EXPECT_EQ(D3DXDecodeBitmap(bytes.data(), static_cast<uint32_t>(bytes.size()), &image), expected);
  return image;
}

TEST(D3DXTextures, TopDownRowsAndBadFilesAreTold) {
  std::vector<uint8_t> file = media::BlocksBitmapFile();
  d3dx::Image bottomUp = Decode(file);
  // The same picture stored top row first.
  std::vector<uint8_t> flipped(file.begin(), file.begin() + 54);
  const int32_t height = -64;
  for (int i = 0; i < 4; ++i) flipped[22 + i] = static_cast<uint8_t>(static_cast<uint32_t>(height) >> (8 * i));
  for (int row = 63; row >= 0; --row)
    flipped.insert(flipped.end(), file.begin() + 54 + row * 192, file.begin() + 54 + (row + 1) * 192);
  d3dx::Image topDown = Decode(flipped);
  ASSERT_EQ(topDown.Height, 64);
  EXPECT_TRUE(std::equal(topDown.Pixels, topDown.Pixels + 64 * 64, bottomUp.Pixels));
  D3DXFreeImage(&topDown);
  D3DXFreeImage(&bottomUp);

  EXPECT_EQ(Decode({'B', 'M', 1, 2}, 1).Pixels, nullptr);
  std::vector<uint8_t> shortened = file;
  shortened.resize(file.size() - 100);
  Decode(shortened, 3);
  std::vector<uint8_t> compressed = file;
  compressed[30] = 1;  // RLE
  Decode(compressed, 2);
  std::vector<uint8_t> huge = file;
  huge[21] = 0x7F;  // a width no texture has
  Decode(huge, 2);
}

TEST(D3DXMeshes, TheMeshesAreClosedTriangleListsFacingOutwards) {
  d3dx::Mesh box;
  ASSERT_EQ(D3DXCreateBox(2, &box), 0);
  ASSERT_EQ(box.VertexCount, 36);
  // Every face's normal (by its clockwise winding in a left-handed space) points away from the middle.
  for (int i = 0; i < box.VertexCount; i += 3) {
    const d3dx::Vertex &a = box.Vertices[i], &b = box.Vertices[i + 1], &c = box.Vertices[i + 2];
    const float ux = b.X - a.X, uy = b.Y - a.Y, uz = b.Z - a.Z, vx = c.X - a.X, vy = c.Y - a.Y, vz = c.Z - a.Z;
    // Clockwise seen from outside in a left-handed space: u x v points outwards.
    const float nx = uy * vz - uz * vy, ny = uz * vx - ux * vz, nz = ux * vy - uy * vx;
    const float cx = (a.X + b.X + c.X) / 3, cy = (a.Y + b.Y + c.Y) / 3, cz = (a.Z + b.Z + c.Z) / 3;
    EXPECT_GT(nx * cx + ny * cy + nz * cz, 0) << "triangle " << i / 3;
  }
  D3DXFreeMesh(&box);
  d3dx::Mesh coin;
  ASSERT_EQ(D3DXCreateCoin(16, 1, 0.2f, &coin), 0);
  EXPECT_EQ(coin.VertexCount, 16 * 12);
  for (int i = 0; i < coin.VertexCount; ++i)
    EXPECT_LE(std::hypot(coin.Vertices[i].X, coin.Vertices[i].Y), 1.0001f);
  D3DXFreeMesh(&coin);
  EXPECT_NE(D3DXCreateCoin(2, 1, 0.2f, &coin), 0);
}

// The library as the program loads it, from a folder holding it, its helpers and the pictures.
class LoadedLibrary : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/d3dim9-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    Folder = pattern;
    for (const char* name : {"d3dim9.dll", "D3DX9_24.dll", "D3DX9_25.dll", "D3DX9_26.dll"}) {
      std::ifstream in(std::string(RASTERSCAN_BUILD_DIR) + "/" + name, std::ios::binary);
      std::ofstream(Folder + "/" + name, std::ios::binary) << in.rdbuf();
    }
    std::ofstream(Folder + "/COIN.BMP", std::ios::binary) << Text(media::CoinBitmapFile());
    std::ofstream(Folder + "/BW.BMP", std::ios::binary) << Text(media::FloorBitmapFile());
    std::ofstream(Folder + "/BLOCKS.BMP", std::ios::binary) << Text(media::BlocksBitmapFile());
    // The machine as the program starts it: its screen is the display's frame buffer.
    std::string error;
    ASSERT_TRUE(platform::Startup(error)) << error;
    char here[4096];
    ASSERT_NE(getcwd(here, sizeof here), nullptr);
    Previous = here;
    ASSERT_EQ(chdir(Folder.c_str()), 0);
  }
  void TearDown() override {
    ASSERT_EQ(chdir(Previous.c_str()), 0);
    platform::sim::SetCurrentMachine(platform::sim::Machine{});
    if (DIR* dir = opendir(Folder.c_str())) {
      while (dirent* entry = readdir(dir))
        if (entry->d_name[0] != '.') std::remove((Folder + "/" + entry->d_name).c_str());
      closedir(dir);
    }
    rmdir(Folder.c_str());
  }
  static std::string Text(const std::vector<uint8_t>& bytes) { return std::string(bytes.begin(), bytes.end()); }
  template <typename F>
  static F Export(platform::HModule module, const char* name) {
    return reinterpret_cast<F>(platform::GetProcAddress(module, name));
  }
  std::string Folder, Previous;
};

TEST_F(LoadedLibrary, AHungSceneStopsWhenAnotherThreadSetsTheTimerOnItsOwnHandle) {
  platform::sim::Machine hung;
  hung.Direct3DFramesComplete = false;  // real clock: the stop comes in real time
  platform::sim::SetCurrentMachine(hung);
  const platform::HModule library = platform::LoadLibraryA("D3DIM9.DLL");
  ASSERT_NE(library, 0u);
  ASSERT_EQ(Export<int32_t (*)()>(library, "CreateD3DIM9Test")(), 1);
  Export<int32_t (*)(int32_t)>(library, "SetTestMode")(2);
  std::atomic<bool> returned{false};
  std::thread timer([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_FALSE(returned.load()) << "the hung scene ended by itself";
    const platform::HModule own = platform::LoadLibraryA("d3dim9.dll");
    ASSERT_NE(own, 0u);
    Export<int32_t (*)(int32_t)>(own, "SetTimerExpired")(1);
    platform::FreeLibrary(own);
  });
  const auto start = std::chrono::steady_clock::now();
  const int32_t result = Export<int32_t (*)()>(library, "LaunchD3DIM9Test")();
  returned = true;
  const auto took = std::chrono::steady_clock::now() - start;
  timer.join();
  EXPECT_EQ(result, -3);
  EXPECT_LT(took, std::chrono::seconds(5));
  EXPECT_EQ(Export<int32_t (*)()>(library, "GetPublicStatus")(), 0);
  Export<int32_t (*)()>(library, "DeleteD3DIM9Test")();
  EXPECT_TRUE(platform::FreeLibrary(library));
}

TEST_F(LoadedLibrary, AMissingHelperFailsTheCreate) {
  std::remove((Folder + "/D3DX9_25.dll").c_str());
  const platform::HModule library = platform::LoadLibraryA("d3dim9.dll");
  ASSERT_NE(library, 0u);
  EXPECT_EQ(Export<int32_t (*)()>(library, "CreateD3DIM9Test")(), 0);
  EXPECT_EQ(Export<int32_t (*)()>(library, "LaunchD3DIM9Test")(), -1);  // nothing to launch
  platform::FreeLibrary(library);
  EXPECT_EQ(platform::LoadLibraryA("no-such.dll"), 0u);
}

}  // namespace
