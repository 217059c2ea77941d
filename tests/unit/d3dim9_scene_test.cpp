// The rendering library's own parts: its helpers' matrices, BMP decoding and meshes, the software
// rasteriser, and a launch stopped from another thread through a second handle on the library.
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

#include "Raster.h"
#include "Scene.h"
#include "d3dx/D3DX9.h"
#include "media/ScenePictures.h"
#include "platform/library.h"
#include "platform/platform.h"
#include "platform/sim/machine.h"

D3DX_EXPORT void D3DXMatrixIdentity(d3dx::Matrix* out);
D3DX_EXPORT void D3DXMatrixMultiply(d3dx::Matrix* out, const d3dx::Matrix* a, const d3dx::Matrix* b);
D3DX_EXPORT void D3DXMatrixRotationX(d3dx::Matrix* out, float radians);
D3DX_EXPORT void D3DXMatrixRotationY(d3dx::Matrix* out, float radians);
D3DX_EXPORT void D3DXMatrixTranslation(d3dx::Matrix* out, float x, float y, float z);
D3DX_EXPORT void D3DXMatrixScaling(d3dx::Matrix* out, float x, float y, float z);
D3DX_EXPORT void D3DXMatrixLookAtLH(d3dx::Matrix* out, const d3dx::Vec3* eye, const d3dx::Vec3* at, const d3dx::Vec3* up);
D3DX_EXPORT void D3DXMatrixPerspectiveFovLH(d3dx::Matrix* out, float fovY, float aspect, float zNear, float zFar);
D3DX_EXPORT int32_t D3DXDecodeBitmap(const uint8_t* bytes, uint32_t size, d3dx::Image* out);
D3DX_EXPORT void D3DXFreeImage(d3dx::Image* image);
D3DX_EXPORT int32_t D3DXCreateCoin(int32_t segments, float radius, float thickness, d3dx::Mesh* out);
D3DX_EXPORT int32_t D3DXCreateBox(float size, d3dx::Mesh* out);
D3DX_EXPORT int32_t D3DXCreatePlane(float size, float repeat, d3dx::Mesh* out);
D3DX_EXPORT void D3DXFreeMesh(d3dx::Mesh* mesh);

namespace {

using d3dx::Matrix;
using d3dx::Vec3;

d3dim9::Helpers Linked() {
  d3dim9::Helpers h;
  h.Identity = D3DXMatrixIdentity;
  h.Multiply = D3DXMatrixMultiply;
  h.RotationX = D3DXMatrixRotationX;
  h.RotationY = D3DXMatrixRotationY;
  h.Translation = D3DXMatrixTranslation;
  h.Scaling = D3DXMatrixScaling;
  h.LookAt = D3DXMatrixLookAtLH;
  h.Perspective = D3DXMatrixPerspectiveFovLH;
  h.DecodeBitmap = D3DXDecodeBitmap;
  h.FreeImage = D3DXFreeImage;
  h.CreateCoin = D3DXCreateCoin;
  h.CreateBox = D3DXCreateBox;
  h.CreatePlane = D3DXCreatePlane;
  h.FreeMesh = D3DXFreeMesh;
  return h;
}

// A point through the matrix, divided by w.
Vec3 Project(const Matrix& m, const Vec3& p) {
  float out[4];
  for (int c = 0; c < 4; ++c) out[c] = p.X * m.M[0][c] + p.Y * m.M[1][c] + p.Z * m.M[2][c] + m.M[3][c];
  return Vec3{out[0] / out[3], out[1] / out[3], out[2] / out[3]};
}

TEST(D3DXMatrices, TransformsComposeInOrderAndTheCameraLooksAlongItsAxis) {
  Matrix scale, turn, move, world;
  D3DXMatrixScaling(&scale, 2, 2, 2);
  D3DXMatrixRotationY(&turn, 3.14159265f / 2);
  D3DXMatrixTranslation(&move, 10, 0, 0);
  D3DXMatrixMultiply(&world, &scale, &turn);
  D3DXMatrixMultiply(&world, &world, &move);
  // (1, 0, 0) doubled, turned a quarter about Y (x to -z, left-handed), then moved.
  const Vec3 p = Project(world, Vec3{1, 0, 0});
  EXPECT_NEAR(p.X, 10, 1e-5);
  EXPECT_NEAR(p.Z, -2, 1e-5);

  Matrix view, lens, both;
  const Vec3 eye{0, 0, -5}, at{0, 0, 0}, up{0, 1, 0};
  D3DXMatrixLookAtLH(&view, &eye, &at, &up);
  D3DXMatrixPerspectiveFovLH(&lens, 3.14159265f / 2, 1, 1, 9);
  D3DXMatrixMultiply(&both, &view, &lens);
  // The point looked at is in the middle; the near plane at depth 0, the far one at 1; up is up.
  EXPECT_NEAR(Project(both, at).X, 0, 1e-6);
  EXPECT_NEAR(Project(both, Vec3{0, 0, -4}).Z, 0, 1e-5);
  EXPECT_NEAR(Project(both, Vec3{0, 0, 4}).Z, 1, 1e-5);
  EXPECT_GT(Project(both, Vec3{0, 1, 0}).Y, 0);
  EXPECT_GT(Project(both, Vec3{1, 0, 0}).X, 0);
  // A 90-degree lens: a point on the 45-degree line is at the edge.
  EXPECT_NEAR(Project(both, Vec3{5, 0, 0}).X, 1, 1e-5);
}

d3dx::Image Decode(const std::vector<uint8_t>& bytes, int32_t expected = 0) {
  d3dx::Image image;
  EXPECT_EQ(D3DXDecodeBitmap(bytes.data(), static_cast<uint32_t>(bytes.size()), &image), expected);
  return image;
}

TEST(D3DXTextures, TheMediaKitsPicturesDecodeWithTheirColoursAndAlpha) {
  d3dx::Image coin = Decode(media::CoinBitmapFile());
  ASSERT_EQ(coin.Width, media::CoinSize);
  for (const auto& [x, y] : std::vector<std::pair<int, int>>{{0, 0}, {64, 64}, {20, 40}, {100, 70}})
    EXPECT_EQ(coin.Pixels[y * coin.Width + x], media::CoinPixel(x, y)) << x << "," << y;
  EXPECT_EQ(coin.Pixels[64 * coin.Width + 64] >> 24, 0u);  // the hole
  EXPECT_EQ(coin.Pixels[30 * coin.Width + 64] >> 24, 255u);
  D3DXFreeImage(&coin);
  EXPECT_EQ(coin.Pixels, nullptr);

  d3dx::Image floor = Decode(media::FloorBitmapFile());
  ASSERT_EQ(floor.Height, media::FloorSize);
  EXPECT_EQ(floor.Pixels[0], 0xFFF0F0F0u);  // the top-left square is white
  EXPECT_EQ(floor.Pixels[8], 0xFF101010u);
  EXPECT_EQ(floor.Pixels[63 * 64 + 0], 0xFF101010u);
  D3DXFreeImage(&floor);

  d3dx::Image blocks = Decode(media::BlocksBitmapFile());
  for (int y : {0, 10, 40, 63}) EXPECT_EQ(blocks.Pixels[y * 64 + 20], 0xFF000000u | media::BlocksPixel(20, y));
  D3DXFreeImage(&blocks);
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

TEST(SoftwareRasterizer, DepthDecidesWhatIsInFrontAndAlphaBlendsAndCutsHoles) {
  d3dim9::RenderTarget target;
  target.Resize(64, 64);
  target.Clear(0x000000);
  d3dim9::Texture red{1, 1, {0xFFFF0000u}}, halfBlue{1, 1, {0x800000FFu}}, clear{1, 1, {0x00FFFFFFu}};
  // A screen-filling quad at depth z, clockwise on the screen.
  auto quad = [](float z, float x0, float x1) {
    const d3dim9::ClipVertex tl{x0, 1, z, 1, 1, 1, 1, 1, 0, 0}, tr{x1, 1, z, 1, 1, 1, 1, 1, 1, 0},
        br{x1, -1, z, 1, 1, 1, 1, 1, 1, 1}, bl{x0, -1, z, 1, 1, 1, 1, 1, 0, 1};
    return std::vector<d3dim9::ClipVertex>{tl, tr, br, tl, br, bl};
  };
  d3dim9::DrawState opaque;
  target.DrawTriangles(quad(0.5f, -1, 0), red, opaque);  // left half, near
  d3dim9::DrawState behind;
  target.DrawTriangles(quad(0.8f, -1, 1), d3dim9::Texture{1, 1, {0xFF00FF00u}}, behind);  // far, whole screen
  EXPECT_EQ(target.Pixels()[32 * 64 + 10], 0xFF0000u);  // the near one stays
  EXPECT_EQ(target.Pixels()[32 * 64 + 50], 0x00FF00u);
  d3dim9::DrawState blend;
  blend.Blend = true;
  blend.DepthWrite = false;
  target.DrawTriangles(quad(0.1f, -1, 1), halfBlue, blend);
  const uint32_t mixed = target.Pixels()[32 * 64 + 50];
  EXPECT_NEAR(static_cast<int>(mixed & 0xFF), 128, 2);
  EXPECT_NEAR(static_cast<int>((mixed >> 8) & 0xFF), 127, 2);
  // A texel with no alpha draws nothing, not even depth.
  target.DrawTriangles(quad(0.05f, -1, 1), clear, opaque);
  EXPECT_EQ(target.Pixels()[32 * 64 + 50], mixed);
  // Counter-clockwise on the screen is a back face.
  std::vector<d3dim9::ClipVertex> back = quad(0.01f, -1, 1);
  std::swap(back[1], back[2]);
  std::swap(back[4], back[5]);
  target.DrawTriangles(back, red, opaque);
  EXPECT_EQ(target.Pixels()[32 * 64 + 50], mixed);
}

TEST(SoftwareRasterizer, FilteringBlendsNeighbouringTexelsAndWraps) {
  const d3dim9::Texture two{2, 1, {0xFF000000u, 0xFFFFFFFFu}};
  float out[4];
  d3dim9::SampleBilinear(two, 0.5f, 0.5f, out);  // between the two texel centres
  EXPECT_NEAR(out[0], 0.5f, 1e-5);
  d3dim9::SampleBilinear(two, 0.25f, 0.5f, out);  // the centre of the black texel
  EXPECT_NEAR(out[0], 0.0f, 1e-5);
  d3dim9::SampleBilinear(two, 1.0f, 0.5f, out);  // the edge wraps: half of each
  EXPECT_NEAR(out[0], 0.5f, 1e-5);
  d3dim9::SampleBilinear(two, -0.75f, 0.5f, out);
  EXPECT_NEAR(out[0], 0.0f, 1e-5);
}

TEST(SceneFrames, TheSceneIsTheSameEachRunAndMovesFromFrameToFrame) {
  const d3dim9::Helpers helpers = Linked();
  d3dim9::Scene scene;
  std::string error;
  ASSERT_TRUE(scene.Build(helpers, {media::CoinBitmapFile(), media::FloorBitmapFile(), media::BlocksBitmapFile()}, error))
      << error;
  auto render = [&](int32_t frame) {
    d3dim9::RenderTarget target;
    target.Resize(160, 120);
    target.Clear(d3dim9::kSkyColor);
    Matrix view, lens, both, transform;
    scene.Camera(frame, 160.0f / 120.0f, view, lens);
    D3DXMatrixMultiply(&both, &view, &lens);
    for (const d3dim9::DrawItem& item : scene.Frame(frame)) {
      D3DXMatrixMultiply(&transform, &item.World, &both);
      const d3dx::Mesh mesh{static_cast<int32_t>(item.Triangles->size()), const_cast<d3dx::Vertex*>(item.Triangles->data())};
      target.DrawTriangles(d3dim9::TransformMesh(mesh, transform), scene.Picture(item.Texture), item.State);
    }
    return target.Pixels();
  };
  const std::vector<uint32_t> last = render(d3dim9::kSceneFrames - 1);
  EXPECT_EQ(render(d3dim9::kSceneFrames - 1), last);
  EXPECT_NE(render(0), last);
  // Sky above, the floor's black and white squares below, the coin's gold in the middle.
  EXPECT_EQ(last[2 * 160 + 80], d3dim9::kSkyColor);
  size_t gold = 0, white = 0;
  for (uint32_t p : last) {
    if (((p >> 16) & 0xFF) > 180 && ((p >> 8) & 0xFF) > 120 && (p & 0xFF) < 90) ++gold;
    if (p == 0xF0F0F0) ++white;
  }
  EXPECT_GT(gold, 100u);
  EXPECT_GT(white, 500u);
  EXPECT_FALSE(scene.Build(helpers, {media::CoinBitmapFile(), {}, media::BlocksBitmapFile()}, error));
  EXPECT_NE(error.find("BW.BMP"), std::string::npos);
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
