// The three helper libraries of d3dim9.dll and what each exports, with C linkage so that the
// library finds them by name:
//   D3DX9_24.dll  matrices: the transforms of the scene's objects and its camera
//   D3DX9_25.dll  textures: pictures decoded from BMP files
//   D3DX9_26.dll  meshes: the coin, the blocks and the floor
// Matrices are row-major and transform row vectors (v * M), as Direct3D's fixed pipeline does.
#pragma once

#include <cstdint>

#if defined(_WIN32)
#define D3DX_EXPORT extern "C" __declspec(dllexport)
#else
#define D3DX_EXPORT extern "C" __attribute__((visibility("default")))
#endif

namespace d3dx {

struct Vec3 {
  float X = 0, Y = 0, Z = 0;
};

struct Matrix {
  float M[4][4] = {};
};

// 32-bit pixels, top row first, as 0xAARRGGBB.
struct Image {
  int32_t Width = 0;
  int32_t Height = 0;
  uint32_t* Pixels = nullptr;
};

struct Vertex {
  float X, Y, Z;
  uint32_t Color;  // 0xAARRGGBB, multiplied with the texture
  float U, V;
};

struct Mesh {
  int32_t VertexCount = 0;
  Vertex* Vertices = nullptr;  // three for each triangle, clockwise seen from the front
};

// D3DX9_24.dll
using MatrixIdentityFn = void (*)(Matrix* out);
using MatrixMultiplyFn = void (*)(Matrix* out, const Matrix* a, const Matrix* b);  // a, then b
using MatrixRotationXFn = void (*)(Matrix* out, float radians);
using MatrixRotationYFn = void (*)(Matrix* out, float radians);
using MatrixTranslationFn = void (*)(Matrix* out, float x, float y, float z);
using MatrixScalingFn = void (*)(Matrix* out, float x, float y, float z);
using MatrixLookAtLHFn = void (*)(Matrix* out, const Vec3* eye, const Vec3* at, const Vec3* up);
using MatrixPerspectiveFovLHFn = void (*)(Matrix* out, float fovY, float aspect, float zNear, float zFar);
// D3DX9_25.dll: 0 on success; the image is freed with D3DXFreeImage.
using DecodeBitmapFn = int32_t (*)(const uint8_t* bytes, uint32_t size, Image* out);
using FreeImageFn = void (*)(Image* image);
// D3DX9_26.dll: freed with D3DXFreeMesh.
using CreateCoinFn = int32_t (*)(int32_t segments, float radius, float thickness, Mesh* out);
using CreateBoxFn = int32_t (*)(float size, Mesh* out);
using CreatePlaneFn = int32_t (*)(float size, float repeat, Mesh* out);
using FreeMeshFn = void (*)(Mesh* mesh);

}  // namespace d3dx
