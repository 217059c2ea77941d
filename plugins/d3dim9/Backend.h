// What the library needs of the system it runs on: its helper libraries and pictures, and a
// Direct3D 9 device on a full-screen window. The win32 backend passes each step to Direct3D 9;
// the sim backend rasterises in software and shows the picture through the simulated machine's
// window system, so that it is on that machine's frame buffer.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Raster.h"
#include "d3dx/D3DX9.h"

namespace d3dim9 {

enum class PresentResult { Shown, StillDrawing, DeviceLost };

constexpr uint32_t kNoKeyInTime = 0x10000;

class Backend {
 public:
  virtual ~Backend() = default;

  // Helper libraries and pictures, by file name beside the library.
  virtual uintptr_t LoadHelper(const char* name) = 0;
  virtual void* HelperExport(uintptr_t module, const char* name) = 0;
  virtual void FreeHelper(uintptr_t module) = 0;
  virtual bool ReadPicture(const char* name, std::vector<uint8_t>& bytes) = 0;

  // Direct3DCreate9: false when the system has no Direct3D 9.
  virtual bool CreateRuntime() = 0;
  // A top-most window over the whole screen and a device on it in the current display mode.
  virtual bool OpenDevice(const std::string& title, int32_t& width, int32_t& height) = 0;
  // A texture on the device, its index from 0; -1 when the device refuses it.
  virtual int32_t CreateTexture(const Texture& picture) = 0;
  virtual void BeginFrame(uint32_t clearColor, const d3dx::Matrix& view, const d3dx::Matrix& projection) = 0;
  // `transform` is world, view and projection in one.
  virtual void Draw(const std::vector<d3dx::Vertex>& triangles, int32_t texture, const d3dx::Matrix& world,
                    const d3dx::Matrix& transform, const DrawState& state) = 0;
  virtual PresentResult EndFrame() = 0;
  // Waits for the next frame's time, handling the window's messages; false when the window went.
  // `key` is the last key pressed meanwhile, or 0.
  virtual bool WaitNextFrame(uint32_t& key) = 0;
  // Sum of the 0x00RRGGBB words of the window's pixels as the screen shows them.
  virtual uint32_t ScreenChecksum() = 0;
  // Writes the digit (and a line for the operator) over the picture on the screen.
  virtual void ShowDigit(int32_t digit, const std::string& prompt) = 0;
  // The virtual key of the next key pressed; kNoKeyInTime when none came within `milliseconds`, 0
  // when `stop` was set or the window went first.
  virtual uint32_t WaitKey(const std::atomic<bool>& stop, uint32_t milliseconds) = 0;
  virtual void CloseDevice() = 0;
  // Something that differs from run to run, for the confirmation digit.
  virtual uint32_t Seed() = 0;
};

std::unique_ptr<Backend> MakeBackend();

}  // namespace d3dim9
