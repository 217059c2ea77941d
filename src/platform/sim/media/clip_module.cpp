// The decoder module is opened at the first clip the graph renders, not at start: FFmpeg's libraries
// bring most of the shared libraries the program would otherwise load for every run.
#include <dlfcn.h>

#include <cstdio>
#include <mutex>
#include <string>

#include "platform/sim/media/clip.h"
#include "platform/sim/system/host_module.h"
#include "platform/system.h"

namespace platform {
namespace sim {
namespace {

// Beside the program, wherever it was started from.
std::string ModulePath() {
  std::string path = GetModulePathName();
  path.erase(path.find_last_of('/') + 1);
  return path + RASTERSCAN_CLIP_MODULE;
}

OpenClipFunction* LoadDecoder() {
  const std::string path = ModulePath();
  std::string error;
  void* module = OpenHostModule(path, error);
  if (module == nullptr) {
    std::fprintf(stderr, "error: no clip decoder: %s\n", error.c_str());
    return nullptr;
  }
  auto* open = reinterpret_cast<OpenClipFunction*>(dlsym(module, OpenClipSymbol));
  if (open == nullptr) std::fprintf(stderr, "error: no clip decoder: %s has no %s\n", path.c_str(), OpenClipSymbol);
  // The module stays for the life of the process: clips it made may still be held.
  return open;
}

}  // namespace

HResult OpenClip(std::vector<uint8_t> bytes, std::unique_ptr<Clip>& out) {
  static std::once_flag loaded;
  static OpenClipFunction* open = nullptr;
  std::call_once(loaded, [] { open = LoadDecoder(); });
  // As DirectShow answers a file whose format no installed decoder takes.
  if (open == nullptr) return VfwECannotRender;
  return open(bytes, out);
}

}  // namespace sim
}  // namespace platform
