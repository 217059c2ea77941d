// The scene: a coin spinning over a checkered floor among four blocks, with the coin's shadow
// blended onto the floor. COIN.BMP is on the coin and, through its alpha, cuts the hole in its
// middle and shapes the shadow; BW.BMP is the floor, BLOCKS.BMP the blocks.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Raster.h"
#include "d3dx/D3DX9.h"

namespace d3dim9 {

// The exports of the helper libraries that the scene uses.
struct Helpers {
  d3dx::MatrixIdentityFn Identity = nullptr;
  d3dx::MatrixMultiplyFn Multiply = nullptr;
  d3dx::MatrixRotationXFn RotationX = nullptr;
  d3dx::MatrixRotationYFn RotationY = nullptr;
  d3dx::MatrixTranslationFn Translation = nullptr;
  d3dx::MatrixScalingFn Scaling = nullptr;
  d3dx::MatrixLookAtLHFn LookAt = nullptr;
  d3dx::MatrixPerspectiveFovLHFn Perspective = nullptr;
  d3dx::DecodeBitmapFn DecodeBitmap = nullptr;
  d3dx::FreeImageFn FreeImage = nullptr;
  d3dx::CreateCoinFn CreateCoin = nullptr;
  d3dx::CreateBoxFn CreateBox = nullptr;
  d3dx::CreatePlaneFn CreatePlane = nullptr;
  d3dx::FreeMeshFn FreeMesh = nullptr;
};

enum SceneTexture { CoinTexture, FloorTexture, BlockTexture, TextureCount };

// The names of the pictures, in SceneTexture order.
extern const char* const kPictureNames[TextureCount];

constexpr int32_t kSceneFrames = 60;
constexpr uint32_t kSkyColor = 0x203048;

struct DrawItem {
  const std::vector<d3dx::Vertex>* Triangles = nullptr;
  SceneTexture Texture = CoinTexture;
  d3dx::Matrix World;
  DrawState State;
};

class Scene {
 public:
  // Decodes the pictures (in SceneTexture order) and makes the meshes; false with the reason.
  bool Build(const Helpers& helpers, const std::vector<std::vector<uint8_t>>& pictures, std::string& error);
  const Texture& Picture(SceneTexture which) const { return Textures_[which]; }
  // Camera and lens for a screen of that aspect.
  void Camera(int32_t frame, float aspect, d3dx::Matrix& view, d3dx::Matrix& projection) const;
  // What frame `frame` draws, in order: opaque things first, then the blended shadow.
  std::vector<DrawItem> Frame(int32_t frame) const;

 private:
  Helpers H_;
  Texture Textures_[TextureCount];
  std::vector<d3dx::Vertex> Coin_, Box_, Floor_, Shadow_;
};

}  // namespace d3dim9
