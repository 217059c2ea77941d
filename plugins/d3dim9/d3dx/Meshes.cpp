// D3DX9_26.dll: the scene's meshes as triangle lists, clockwise seen from outside.
#include <cmath>
#include <new>
#include <vector>

#include "d3dx/D3DX9.h"

using d3dx::Mesh;
using d3dx::Vertex;

namespace {

constexpr float kPi = 3.14159265358979f;
constexpr uint32_t kWhite = 0xFFFFFFFFu;

int32_t Hand(const std::vector<Vertex>& vertices, Mesh* out) {
  *out = Mesh{};
  auto* copy = new (std::nothrow) Vertex[vertices.size()];
  if (copy == nullptr) return 4;
  for (size_t i = 0; i < vertices.size(); ++i) copy[i] = vertices[i];
  *out = Mesh{static_cast<int32_t>(vertices.size()), copy};
  return 0;
}

// A quad a-b-c-d, clockwise from the front.
void Quad(std::vector<Vertex>& v, const Vertex& a, const Vertex& b, const Vertex& c, const Vertex& d) {
  v.insert(v.end(), {a, b, c, a, c, d});
}

}  // namespace

// A disc standing in the XY plane, facing -Z and +Z, its faces mapped onto the whole texture; the
// rim takes the colour of the texture's top edge, darkened.
D3DX_EXPORT int32_t D3DXCreateCoin(int32_t segments, float radius, float thickness, Mesh* out) {
  if (out == nullptr || segments < 3 || segments > 1024 || radius <= 0 || thickness <= 0) return 1;
  std::vector<Vertex> v;
  const float h = thickness / 2;
  const Vertex front{0, 0, -h, kWhite, 0.5f, 0.5f};
  const Vertex back{0, 0, h, kWhite, 0.5f, 0.5f};
  for (int32_t i = 0; i < segments; ++i) {
    const float a0 = 2 * kPi * static_cast<float>(i) / static_cast<float>(segments);
    const float a1 = 2 * kPi * static_cast<float>(i + 1) / static_cast<float>(segments);
    const float x0 = radius * std::cos(a0), y0 = radius * std::sin(a0);
    const float x1 = radius * std::cos(a1), y1 = radius * std::sin(a1);
    const float u0 = 0.5f + 0.5f * std::cos(a0), w0 = 0.5f - 0.5f * std::sin(a0);
    const float u1 = 0.5f + 0.5f * std::cos(a1), w1 = 0.5f - 0.5f * std::sin(a1);
    // Counter-clockwise in XY is clockwise seen from -Z.
    v.insert(v.end(), {front, Vertex{x1, y1, -h, kWhite, u1, w1}, Vertex{x0, y0, -h, kWhite, u0, w0}});
    // The back shows the texture mirrored, as a coin's reverse would.
    v.insert(v.end(), {back, Vertex{x0, y0, h, kWhite, 1 - u0, w0}, Vertex{x1, y1, h, kWhite, 1 - u1, w1}});
    const uint32_t rim = 0xFFB0B0B0u;
    Quad(v, Vertex{x0, y0, -h, rim, 0.5f, 0.04f}, Vertex{x1, y1, -h, rim, 0.5f, 0.04f},
         Vertex{x1, y1, h, rim, 0.5f, 0.06f}, Vertex{x0, y0, h, rim, 0.5f, 0.06f});
  }
  return Hand(v, out);
}

// A cube of the given edge on the origin, the texture once on each face, the sides a little
// darker than the top so that its edges show.
D3DX_EXPORT int32_t D3DXCreateBox(float size, Mesh* out) {
  if (out == nullptr || size <= 0) return 1;
  const float s = size / 2;
  std::vector<Vertex> v;
  const uint32_t top = kWhite, side = 0xFFC8C8C8u, shade = 0xFF9A9A9Au;
  // -Z, +Z, -X, +X, +Y, -Y
  Quad(v, {-s, s, -s, side, 0, 0}, {s, s, -s, side, 1, 0}, {s, -s, -s, side, 1, 1}, {-s, -s, -s, side, 0, 1});
  Quad(v, {s, s, s, shade, 0, 0}, {-s, s, s, shade, 1, 0}, {-s, -s, s, shade, 1, 1}, {s, -s, s, shade, 0, 1});
  Quad(v, {-s, s, s, shade, 0, 0}, {-s, s, -s, shade, 1, 0}, {-s, -s, -s, shade, 1, 1}, {-s, -s, s, shade, 0, 1});
  Quad(v, {s, s, -s, side, 0, 0}, {s, s, s, side, 1, 0}, {s, -s, s, side, 1, 1}, {s, -s, -s, side, 0, 1});
  Quad(v, {-s, s, s, top, 0, 0}, {s, s, s, top, 1, 0}, {s, s, -s, top, 1, 1}, {-s, s, -s, top, 0, 1});
  Quad(v, {-s, -s, -s, shade, 0, 0}, {s, -s, -s, shade, 1, 0}, {s, -s, s, shade, 1, 1}, {-s, -s, s, shade, 0, 1});
  return Hand(v, out);
}

// A square in the XZ plane facing up, the texture `repeat` times along each side.
D3DX_EXPORT int32_t D3DXCreatePlane(float size, float repeat, Mesh* out) {
  if (out == nullptr || size <= 0 || repeat <= 0) return 1;
  const float s = size / 2;
  std::vector<Vertex> v;
  Quad(v, {-s, 0, s, kWhite, 0, 0}, {s, 0, s, kWhite, repeat, 0}, {s, 0, -s, kWhite, repeat, repeat},
       {-s, 0, -s, kWhite, 0, repeat});
  return Hand(v, out);
}

D3DX_EXPORT void D3DXFreeMesh(Mesh* mesh) {
  if (mesh == nullptr) return;
  delete[] mesh->Vertices;
  *mesh = Mesh{};
}
