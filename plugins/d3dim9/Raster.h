// The software rasteriser of the simulated machine's Direct3D: triangles in clip space, cut at the
// near plane, with perspective-correct texture coordinates, bilinear filtering with wrap-around,
// a depth buffer, texture times vertex colour, and alpha blending.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "d3dx/D3DX9.h"

namespace d3dim9 {

struct Texture {
  int32_t Width = 0;
  int32_t Height = 0;
  std::vector<uint32_t> Pixels;  // 0xAARRGGBB, top row first
};

// One vertex after the transform: clip-space position, colour and texture coordinates.
struct ClipVertex {
  float X, Y, Z, W;
  float R, G, B, A;  // 0 to 1
  float U, V;
};

struct DrawState {
  bool DepthTest = true;   // less than what is there
  bool DepthWrite = true;
  bool Blend = false;      // source alpha over the target
  bool CullBack = true;    // counter-clockwise triangles on the screen are dropped
};

class RenderTarget {
 public:
  void Resize(int32_t width, int32_t height);
  int32_t Width() const { return Width_; }
  int32_t Height() const { return Height_; }
  // Colour as 0x00RRGGBB; depth to 1.
  void Clear(uint32_t color);
  // Triangles of three vertices each.
  void DrawTriangles(const std::vector<ClipVertex>& vertices, const Texture& texture, const DrawState& state);
  const std::vector<uint32_t>& Pixels() const { return Color_; }  // top row first, 0x00RRGGBB

 private:
  void DrawClipped(const ClipVertex* v, int count, const Texture& texture, const DrawState& state);
  void Rasterize(const ClipVertex& a, const ClipVertex& b, const ClipVertex& c, const Texture& texture,
                 const DrawState& state);
  void Shade(const float* attributes, size_t at, float z, const Texture& texture, const DrawState& state);
  int32_t Width_ = 0;
  int32_t Height_ = 0;
  std::vector<uint32_t> Color_;
  std::vector<float> Depth_;
};

// Bilinear sample with wrap-around at (u, v), texel centres at half steps; 0xAARRGGBB channels
// as 0 to 1.
void SampleBilinear(const Texture& texture, float u, float v, float out[4]);

// The clip-space vertices of a mesh under a world-view-projection matrix.
std::vector<ClipVertex> TransformMesh(const d3dx::Mesh& mesh, const d3dx::Matrix& transform);

}  // namespace d3dim9
