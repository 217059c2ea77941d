// D3DX9_24.dll: the matrices of the scene, left-handed as Direct3D's.
#include <cmath>

#include "d3dx/D3DX9.h"

using d3dx::Matrix;
using d3dx::Vec3;

namespace {

Vec3 Sub(const Vec3& a, const Vec3& b) { return Vec3{a.X - b.X, a.Y - b.Y, a.Z - b.Z}; }
float Dot(const Vec3& a, const Vec3& b) { return a.X * b.X + a.Y * b.Y + a.Z * b.Z; }
Vec3 Cross(const Vec3& a, const Vec3& b) {
  return Vec3{a.Y * b.Z - a.Z * b.Y, a.Z * b.X - a.X * b.Z, a.X * b.Y - a.Y * b.X};
}
Vec3 Normalize(const Vec3& v) {
  const float length = std::sqrt(Dot(v, v));
  return length > 0 ? Vec3{v.X / length, v.Y / length, v.Z / length} : v;
}

}  // namespace

D3DX_EXPORT void D3DXMatrixIdentity(Matrix* out) {
  *out = Matrix{};
  for (int i = 0; i < 4; ++i) out->M[i][i] = 1;
}

D3DX_EXPORT void D3DXMatrixMultiply(Matrix* out, const Matrix* a, const Matrix* b) {
  Matrix r;
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j)
      r.M[i][j] = a->M[i][0] * b->M[0][j] + a->M[i][1] * b->M[1][j] + a->M[i][2] * b->M[2][j] + a->M[i][3] * b->M[3][j];
  *out = r;  // out may be a or b
}

D3DX_EXPORT void D3DXMatrixRotationX(Matrix* out, float radians) {
  D3DXMatrixIdentity(out);
  const float c = std::cos(radians), s = std::sin(radians);
  out->M[1][1] = c;
  out->M[1][2] = s;
  out->M[2][1] = -s;
  out->M[2][2] = c;
}

D3DX_EXPORT void D3DXMatrixRotationY(Matrix* out, float radians) {
  D3DXMatrixIdentity(out);
  const float c = std::cos(radians), s = std::sin(radians);
  out->M[0][0] = c;
  out->M[0][2] = -s;
  out->M[2][0] = s;
  out->M[2][2] = c;
}

D3DX_EXPORT void D3DXMatrixTranslation(Matrix* out, float x, float y, float z) {
  D3DXMatrixIdentity(out);
  out->M[3][0] = x;
  out->M[3][1] = y;
  out->M[3][2] = z;
}

D3DX_EXPORT void D3DXMatrixScaling(Matrix* out, float x, float y, float z) {
  *out = Matrix{};
  out->M[0][0] = x;
  out->M[1][1] = y;
  out->M[2][2] = z;
  out->M[3][3] = 1;
}

D3DX_EXPORT void D3DXMatrixLookAtLH(Matrix* out, const Vec3* eye, const Vec3* at, const Vec3* up) {
  const Vec3 zAxis = Normalize(Sub(*at, *eye));
  const Vec3 xAxis = Normalize(Cross(*up, zAxis));
  const Vec3 yAxis = Cross(zAxis, xAxis);
  *out = Matrix{};
  const Vec3 axes[3] = {xAxis, yAxis, zAxis};
  for (int c = 0; c < 3; ++c) {
    out->M[0][c] = axes[c].X;
    out->M[1][c] = axes[c].Y;
    out->M[2][c] = axes[c].Z;
    out->M[3][c] = -Dot(axes[c], *eye);
  }
  out->M[3][3] = 1;
}

// Depth runs from 0 at the near plane to 1 at the far plane.
D3DX_EXPORT void D3DXMatrixPerspectiveFovLH(Matrix* out, float fovY, float aspect, float zNear, float zFar) {
  const float yScale = 1.0f / std::tan(fovY / 2);
  *out = Matrix{};
  out->M[0][0] = yScale / aspect;
  out->M[1][1] = yScale;
  out->M[2][2] = zFar / (zFar - zNear);
  out->M[2][3] = 1;
  out->M[3][2] = -zNear * zFar / (zFar - zNear);
}
