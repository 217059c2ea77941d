// Whether the video renderer that GPUTest plays its clip through has the quality interface the
// test reads the average frame rate from, in the fewest calls: the renderer made as the test makes
// it, then asked for IQualProp. On Windows it has it; Wine's renderer does not.
// Prints one line and ends with 0 when the renderer has it, 1 when not, 2 when a call failed.
#include <windows.h>
#include <dshow.h>

#include <cstdio>

int main() {
  if (FAILED(::CoInitialize(nullptr))) {
    std::printf("renderer quality: no COM\n");
    return 2;
  }
  IBaseFilter* renderer = nullptr;
  const HRESULT made =
      ::CoCreateInstance(CLSID_VideoRenderer, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter, reinterpret_cast<void**>(&renderer));
  if (FAILED(made)) {
    std::printf("renderer quality: no video renderer (0x%08lx)\n", static_cast<unsigned long>(made));
    return 2;
  }
  IQualProp* quality = nullptr;
  const HRESULT asked = renderer->QueryInterface(IID_IQualProp, reinterpret_cast<void**>(&quality));
  std::printf("renderer quality: the video renderer %s IQualProp (0x%08lx)\n", SUCCEEDED(asked) ? "has" : "has no",
              static_cast<unsigned long>(asked));
  if (quality != nullptr) quality->Release();
  renderer->Release();
  ::CoUninitialize();
  return SUCCEEDED(asked) ? 0 : 1;
}
