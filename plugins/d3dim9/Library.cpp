// d3dim9.dll: renders the scene for a fixed number of frames full-screen in the current display
// mode and reports on it. The call order is CreateD3DIM9Test, SetTestMode, LaunchD3DIM9Test, then
// GetPublicStatus or GetPublicChecksum, and DeleteD3DIM9Test; SetTimerExpired may come at any time
// from another thread, through a handle of its own on the same loaded library.
//
// Results of LaunchD3DIM9Test: 1 the scene ran to its end; -1 no window or device for it; -2 the
// device refused the scene's textures; -3 the scene did not end as it should (the device was lost,
// the window was closed, or a stop was asked for).
#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "Backend.h"
#include "Scene.h"

#if defined(_WIN32)
#define D3DIM9_EXPORT extern "C" __declspec(dllexport)
#else
#define D3DIM9_EXPORT extern "C" __attribute__((visibility("default")))
#endif

namespace d3dim9 {
namespace {

constexpr int32_t kInteractive = 1;
constexpr int32_t kMaxWrongKeys = 3;
constexpr uint32_t kVkF1 = 0x70;
constexpr uint32_t kVkNumpad0 = 0x60;
// An operator who has not answered in five minutes is not coming back: the picture is not confirmed.
constexpr uint32_t kAnswerMilliseconds = 300000;

const char* const kHelperNames[] = {"D3DX9_24.dll", "D3DX9_25.dll", "D3DX9_26.dll"};

struct Test {
  std::unique_ptr<Backend> System;
  uintptr_t Modules[3] = {};
  Helpers Exports;
  Scene Picture;
  bool Created = false;
  int32_t Mode = 2;
  bool GraphicsPort = false;
  int32_t Status = 0;
  uint32_t Checksum = 0;
  bool RejectedEarly = false;  // F1 while the scene ran
};

Test& T() {
  static Test test;
  return test;
}

// Written by the timer's thread, read by the launch.
std::atomic<bool> stopRequested{false};

template <typename F>
bool Find(Backend& system, uintptr_t module, const char* name, F& out) {
  out = reinterpret_cast<F>(system.HelperExport(module, name));
  return out != nullptr;
}

bool BindHelpers(Test& t) {
  Backend& s = *t.System;
  Helpers& h = t.Exports;
  const uintptr_t matrices = t.Modules[0], textures = t.Modules[1], meshes = t.Modules[2];
  return Find(s, matrices, "D3DXMatrixIdentity", h.Identity) && Find(s, matrices, "D3DXMatrixMultiply", h.Multiply) &&
         Find(s, matrices, "D3DXMatrixRotationX", h.RotationX) && Find(s, matrices, "D3DXMatrixRotationY", h.RotationY) &&
         Find(s, matrices, "D3DXMatrixTranslation", h.Translation) &&
         Find(s, matrices, "D3DXMatrixScaling", h.Scaling) && Find(s, matrices, "D3DXMatrixLookAtLH", h.LookAt) &&
         Find(s, matrices, "D3DXMatrixPerspectiveFovLH", h.Perspective) &&
         Find(s, textures, "D3DXDecodeBitmap", h.DecodeBitmap) && Find(s, textures, "D3DXFreeImage", h.FreeImage) &&
         Find(s, meshes, "D3DXCreateCoin", h.CreateCoin) && Find(s, meshes, "D3DXCreateBox", h.CreateBox) &&
         Find(s, meshes, "D3DXCreatePlane", h.CreatePlane) && Find(s, meshes, "D3DXFreeMesh", h.FreeMesh);
}

void Release(Test& t) {
  if (t.System)
    for (uintptr_t& module : t.Modules) {
      if (module != 0) t.System->FreeHelper(module);
      module = 0;
    }
  t.System.reset();
  t.Exports = Helpers();
  t.Picture = Scene();
  t.Created = false;
}

int32_t Failed(Test& t) {
  Release(t);
  return 0;
}

int32_t Create() {
  Test& t = T();
  Release(t);
  stopRequested = false;
  t.Status = 0;
  t.Checksum = 0;
  t.System = MakeBackend();
  for (int i = 0; i < 3; ++i) {
    t.Modules[i] = t.System->LoadHelper(kHelperNames[i]);
    if (t.Modules[i] == 0) return Failed(t);
  }
  if (!BindHelpers(t) || !t.System->CreateRuntime()) return Failed(t);
  std::vector<std::vector<uint8_t>> pictures(TextureCount);
  for (int i = 0; i < TextureCount; ++i)
    if (!t.System->ReadPicture(kPictureNames[i], pictures[static_cast<size_t>(i)])) return Failed(t);
  std::string error;
  if (!t.Picture.Build(t.Exports, pictures, error)) return Failed(t);
  t.Created = true;
  return 1;
}

// The operator's verdict on the last frame: the digit shown is a pass; F1 (also while the scene
// ran), a wrong digit three times, or no answer, a failure. False when the wait was cut short.
bool AskOperator(Test& t) {
  const int32_t digit = 1 + static_cast<int32_t>(t.System->Seed() % 9);
  t.System->ShowDigit(digit, "Press the number you see if the scene looked right, F1 if it did not");
  if (t.RejectedEarly) return true;
  for (int32_t wrong = 0; wrong < kMaxWrongKeys;) {
    const uint32_t key = t.System->WaitKey(stopRequested, kAnswerMilliseconds);
    if (key == 0) return false;
    if (key == kNoKeyInTime) return true;
    if (key == static_cast<uint32_t>('0' + digit) || key == kVkNumpad0 + static_cast<uint32_t>(digit)) {
      t.Status = 1;
      return true;
    }
    if (key == kVkF1) return true;
    if ((key >= '0' && key <= '9') || (key >= kVkNumpad0 && key <= kVkNumpad0 + 9)) ++wrong;
  }
  return true;
}

int32_t RunScene(Test& t) {
  Backend& s = *t.System;
  int32_t width = 0, height = 0;
  if (!s.OpenDevice(t.GraphicsPort ? "Direct3D 9 port test" : "Direct3D 9 rendering test", width, height)) return -1;
  for (int i = 0; i < TextureCount; ++i)
    if (s.CreateTexture(t.Picture.Picture(static_cast<SceneTexture>(i))) != i) return -2;
  const float aspect = static_cast<float>(width) / static_cast<float>(height > 0 ? height : 1);
  t.RejectedEarly = false;
  for (int32_t frame = 0; frame < kSceneFrames;) {
    uint32_t key = 0;
    if (stopRequested || !s.WaitNextFrame(key)) return -3;
    if (key == kVkF1) t.RejectedEarly = true;
    d3dx::Matrix view, projection, viewProjection, transform;
    t.Picture.Camera(frame, aspect, view, projection);
    t.Exports.Multiply(&viewProjection, &view, &projection);
    s.BeginFrame(kSkyColor, view, projection);
    for (const DrawItem& item : t.Picture.Frame(frame)) {
      t.Exports.Multiply(&transform, &item.World, &viewProjection);
      s.Draw(*item.Triangles, item.Texture, item.World, transform, item.State);
    }
    const PresentResult shown = s.EndFrame();
    if (shown == PresentResult::DeviceLost) return -3;
    // A frame the device has not finished is drawn again; a hung device never gets further.
    if (shown == PresentResult::Shown) ++frame;
  }
  t.Checksum = s.ScreenChecksum();
  if (t.Mode != kInteractive) {
    // Unattended, a port passes when its scene reached the screen; the checksum judges the rest.
    t.Status = !t.GraphicsPort || t.Checksum != 0 ? 1 : 0;
    return 1;
  }
  // Only a person in front of the port's monitor can tell that the picture is on that screen; the
  // port test's timer ends the wait.
  return AskOperator(t) ? 1 : -3;
}

}  // namespace
}  // namespace d3dim9

using d3dim9::T;

D3DIM9_EXPORT int32_t CreateD3DIM9Test() { return d3dim9::Create(); }

// 1 interactive (the operator confirms the picture), 2 unattended (the checksum judges it).
D3DIM9_EXPORT int32_t SetTestMode(int32_t mode) {
  T().Mode = mode;
  return 1;
}

D3DIM9_EXPORT int32_t LaunchD3DIM9Test() {
  d3dim9::Test& t = T();
  if (!t.Created) return -1;
  t.Status = 0;
  t.Checksum = 0;
  const int32_t result = d3dim9::RunScene(t);
  t.System->CloseDevice();
  return result;
}

D3DIM9_EXPORT int32_t GetPublicStatus() { return T().Status; }

D3DIM9_EXPORT int32_t GetPublicChecksum() { return static_cast<int32_t>(T().Checksum); }

D3DIM9_EXPORT int32_t DeleteD3DIM9Test() {
  d3dim9::Release(T());
  return 1;
}

D3DIM9_EXPORT int32_t SetGraphicsPortTest(int32_t on) {
  T().GraphicsPort = on != 0;
  return 1;
}

D3DIM9_EXPORT int32_t SetTimerExpired(int32_t expired) {
  d3dim9::stopRequested = expired != 0;
  return 1;
}
