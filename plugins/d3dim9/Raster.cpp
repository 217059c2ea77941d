#include "Raster.h"

#include <algorithm>
#include <cmath>

namespace d3dim9 {

namespace {

constexpr float kNearW = 1e-4f;

ClipVertex Lerp(const ClipVertex& a, const ClipVertex& b, float t) {
  auto mix = [t](float x, float y) { return x + (y - x) * t; };
  return ClipVertex{mix(a.X, b.X), mix(a.Y, b.Y), mix(a.Z, b.Z), mix(a.W, b.W), mix(a.R, b.R),
                    mix(a.G, b.G),  mix(a.B, b.B), mix(a.A, b.A), mix(a.U, b.U), mix(a.V, b.V)};
}

// floor() for the values a texture coordinate takes, without a library call.
inline int32_t Floor(float value) {
  const auto truncated = static_cast<int32_t>(value);
  return value < static_cast<float>(truncated) ? truncated - 1 : truncated;
}

uint32_t ToByte(float value) {
  const float scaled = value * 255.0f + 0.5f;
  return scaled <= 0 ? 0u : scaled >= 255.0f ? 255u : static_cast<uint32_t>(scaled);
}

}  // namespace

void SampleBilinear(const Texture& texture, float u, float v, float out[4]) {
  const int32_t width = texture.Width, height = texture.Height;
  // Wrapped into [0, 1) first, so that the texel indices stay small.
  if (!(u > -1e6f && u < 1e6f && v > -1e6f && v < 1e6f)) u = v = 0;  // far off, or not a number
  const float x = (u - static_cast<float>(Floor(u))) * static_cast<float>(width) - 0.5f;
  const float y = (v - static_cast<float>(Floor(v))) * static_cast<float>(height) - 0.5f;
  int32_t x0 = Floor(x), y0 = Floor(y);
  const float tx = x - static_cast<float>(x0), ty = y - static_cast<float>(y0);
  int32_t x1 = x0 + 1, y1 = y0 + 1;
  if (x0 < 0) x0 += width;
  if (y0 < 0) y0 += height;
  if (x1 >= width) x1 -= width;
  if (y1 >= height) y1 -= height;
  x0 = std::min(std::max(x0, 0), width - 1);  // rounding at the very edge
  y0 = std::min(std::max(y0, 0), height - 1);
  const size_t w = static_cast<size_t>(width);
  const uint32_t* row0 = texture.Pixels.data() + static_cast<size_t>(y0) * w;
  const uint32_t* row1 = texture.Pixels.data() + static_cast<size_t>(y1) * w;
  const uint32_t p[4] = {row0[x0], row0[x1], row1[x0], row1[x1]};
  const float k[4] = {(1 - tx) * (1 - ty), tx * (1 - ty), (1 - tx) * ty, tx * ty};
  const int shifts[4] = {16, 8, 0, 24};  // red, green, blue, alpha
  for (int c = 0; c < 4; ++c) {
    const int shift = shifts[c];
    out[c] = (k[0] * static_cast<float>((p[0] >> shift) & 0xFF) + k[1] * static_cast<float>((p[1] >> shift) & 0xFF) +
              k[2] * static_cast<float>((p[2] >> shift) & 0xFF) + k[3] * static_cast<float>((p[3] >> shift) & 0xFF)) *
             (1.0f / 255.0f);
  }
}

std::vector<ClipVertex> TransformMesh(const d3dx::Mesh& mesh, const d3dx::Matrix& m) {
  std::vector<ClipVertex> out;
  out.reserve(static_cast<size_t>(mesh.VertexCount));
  for (int32_t i = 0; i < mesh.VertexCount; ++i) {
    const d3dx::Vertex& v = mesh.Vertices[i];
    ClipVertex c;
    c.X = v.X * m.M[0][0] + v.Y * m.M[1][0] + v.Z * m.M[2][0] + m.M[3][0];
    c.Y = v.X * m.M[0][1] + v.Y * m.M[1][1] + v.Z * m.M[2][1] + m.M[3][1];
    c.Z = v.X * m.M[0][2] + v.Y * m.M[1][2] + v.Z * m.M[2][2] + m.M[3][2];
    c.W = v.X * m.M[0][3] + v.Y * m.M[1][3] + v.Z * m.M[2][3] + m.M[3][3];
    c.A = static_cast<float>(v.Color >> 24) / 255.0f;
    c.R = static_cast<float>((v.Color >> 16) & 0xFF) / 255.0f;
    c.G = static_cast<float>((v.Color >> 8) & 0xFF) / 255.0f;
    c.B = static_cast<float>(v.Color & 0xFF) / 255.0f;
    c.U = v.U;
    c.V = v.V;
    out.push_back(c);
  }
  return out;
}

void RenderTarget::Resize(int32_t width, int32_t height) {
  Width_ = width;
  Height_ = height;
  const size_t n = static_cast<size_t>(width) * static_cast<size_t>(height);
  Color_.assign(n, 0);
  Depth_.assign(n, 1.0f);
}

void RenderTarget::Clear(uint32_t color) {
  std::fill(Color_.begin(), Color_.end(), color & 0xFFFFFF);
  std::fill(Depth_.begin(), Depth_.end(), 1.0f);
}

void RenderTarget::DrawTriangles(const std::vector<ClipVertex>& vertices, const Texture& texture,
                                 const DrawState& state) {
  if (texture.Width <= 0 || texture.Height <= 0) return;
  for (size_t i = 0; i + 2 < vertices.size(); i += 3) DrawClipped(&vertices[i], 3, texture, state);
}

// Cuts the triangle where z < 0 (in front of the near plane) and draws what is left as a fan.
void RenderTarget::DrawClipped(const ClipVertex* v, int count, const Texture& texture, const DrawState& state) {
  ClipVertex poly[4];
  int n = 0;
  for (int i = 0; i < count; ++i) {
    const ClipVertex& a = v[i];
    const ClipVertex& b = v[(i + 1) % count];
    const bool aIn = a.Z >= 0 && a.W > kNearW, bIn = b.Z >= 0 && b.W > kNearW;
    if (aIn) poly[n++] = a;
    if (aIn != bIn) poly[n++] = Lerp(a, b, a.Z / (a.Z - b.Z));
  }
  for (int i = 1; i + 1 < n; ++i)
    if (poly[0].W > kNearW && poly[i].W > kNearW && poly[i + 1].W > kNearW)
      Rasterize(poly[0], poly[i], poly[i + 1], texture, state);
}

void RenderTarget::Rasterize(const ClipVertex& a, const ClipVertex& b, const ClipVertex& c, const Texture& texture,
                             const DrawState& state) {
  struct Screen {
    float X, Y, Z, InvW;
  };
  const float halfW = static_cast<float>(Width_) / 2, halfH = static_cast<float>(Height_) / 2;
  auto project = [&](const ClipVertex& v) {
    const float inv = 1.0f / v.W;
    return Screen{(v.X * inv + 1) * halfW, (1 - v.Y * inv) * halfH, v.Z * inv, inv};
  };
  const Screen s[3] = {project(a), project(b), project(c)};
  const ClipVertex* cv[3] = {&a, &b, &c};
  // Twice the signed area; positive for clockwise triangles on the screen (y grows downwards).
  const float area = (s[1].X - s[0].X) * (s[2].Y - s[0].Y) - (s[2].X - s[0].X) * (s[1].Y - s[0].Y);
  if (area == 0 || (state.CullBack && area < 0)) return;
  const int32_t minX = std::max(0, static_cast<int32_t>(std::floor(std::min({s[0].X, s[1].X, s[2].X}))));
  const int32_t maxX = std::min(Width_ - 1, static_cast<int32_t>(std::ceil(std::max({s[0].X, s[1].X, s[2].X}))));
  const int32_t minY = std::max(0, static_cast<int32_t>(std::floor(std::min({s[0].Y, s[1].Y, s[2].Y}))));
  const int32_t maxY = std::min(Height_ - 1, static_cast<int32_t>(std::ceil(std::max({s[0].Y, s[1].Y, s[2].Y}))));
  if (minX > maxX || minY > maxY) return;
  // Each edge's weight and every attribute over w are planes on the screen: value = A x + B y + C,
  // stepped along the row. Edge i is the one opposite vertex i; its weight is vertex i's share.
  const float sign = area < 0 ? -1.0f : 1.0f;
  float edgeA[3], edgeB[3], edgeC[3];
  for (int i = 0; i < 3; ++i) {
    const Screen& p = s[(i + 1) % 3];
    const Screen& q = s[(i + 2) % 3];
    edgeA[i] = -(q.Y - p.Y) * sign;
    edgeB[i] = (q.X - p.X) * sign;
    edgeC[i] = ((q.Y - p.Y) * p.X - (q.X - p.X) * p.Y) * sign;
  }
  constexpr int kAttributes = 8;  // r, g, b, a, u, v over w; 1 / w; z
  float attr[3][kAttributes];
  for (int i = 0; i < 3; ++i) {
    const float w = s[i].InvW;
    const ClipVertex& v = *cv[i];
    const float values[kAttributes] = {v.R * w, v.G * w, v.B * w, v.A * w, v.U * w, v.V * w, w, s[i].Z};
    std::copy(values, values + kAttributes, attr[i]);
  }
  const float invArea = 1.0f / std::fabs(area);
  float planeA[kAttributes], planeB[kAttributes], planeC[kAttributes];
  for (int k = 0; k < kAttributes; ++k) {
    planeA[k] = (edgeA[0] * attr[0][k] + edgeA[1] * attr[1][k] + edgeA[2] * attr[2][k]) * invArea;
    planeB[k] = (edgeB[0] * attr[0][k] + edgeB[1] * attr[1][k] + edgeB[2] * attr[2][k]) * invArea;
    planeC[k] = (edgeC[0] * attr[0][k] + edgeC[1] * attr[1][k] + edgeC[2] * attr[2][k]) * invArea;
  }
  for (int32_t y = minY; y <= maxY; ++y) {
    const float py = static_cast<float>(y) + 0.5f;
    const float px0 = static_cast<float>(minX) + 0.5f;
    float e[3], in[kAttributes];
    for (int i = 0; i < 3; ++i) e[i] = edgeA[i] * px0 + edgeB[i] * py + edgeC[i];
    for (int k = 0; k < kAttributes; ++k) in[k] = planeA[k] * px0 + planeB[k] * py + planeC[k];
    size_t at = static_cast<size_t>(y) * static_cast<size_t>(Width_) + static_cast<size_t>(minX);
    for (int32_t x = minX; x <= maxX; ++x, ++at) {
      const bool inside = e[0] >= 0 && e[1] >= 0 && e[2] >= 0;
      const float z = in[7];
      if (inside && z >= 0 && z <= 1 && (!state.DepthTest || z < Depth_[at])) Shade(in, at, z, texture, state);
      for (int i = 0; i < 3; ++i) e[i] += edgeA[i];
      for (int k = 0; k < kAttributes; ++k) in[k] += planeA[k];
    }
  }
}

void RenderTarget::Shade(const float* in, size_t at, float z, const Texture& texture, const DrawState& state) {
  const float perspective = 1.0f / in[6];
  float texel[4];
  SampleBilinear(texture, in[4] * perspective, in[5] * perspective, texel);
  const float alpha = texel[3] * in[3] * perspective;
  if (alpha <= 0) return;  // nothing to see, and nothing written to depth
  float rgb[3];
  for (int k = 0; k < 3; ++k) rgb[k] = texel[k] * in[k] * perspective;
  uint32_t& target = Color_[at];
  if (state.Blend) {
    const float under[3] = {static_cast<float>((target >> 16) & 0xFF) / 255.0f,
                            static_cast<float>((target >> 8) & 0xFF) / 255.0f,
                            static_cast<float>(target & 0xFF) / 255.0f};
    for (int k = 0; k < 3; ++k) rgb[k] = rgb[k] * alpha + under[k] * (1 - alpha);
  }
  target = ToByte(rgb[0]) << 16 | ToByte(rgb[1]) << 8 | ToByte(rgb[2]);
  if (state.DepthWrite) Depth_[at] = z;
}

}  // namespace d3dim9
