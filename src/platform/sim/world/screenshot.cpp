#include "platform/sim/screenshot.h"

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <vector>

#include <dirent.h>
#include <sys/stat.h>

#include "platform/sim/display/display_model.h"
#include "platform/sim/host/environment.h"
#include "platform/sim/system/power_sim.h"
#include "platform/sim/window/window_sim.h"

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wsign-conversion"
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
#pragma GCC diagnostic ignored "-Wshadow"
#pragma GCC diagnostic ignored "-Wunused-parameter"
#define STB_IMAGE_WRITE_IMPLEMENTATION
#define STB_IMAGE_WRITE_STATIC
#include <stb/stb_image_write.h>
#pragma GCC diagnostic pop

#include "platform/sim/host/host_file.h"

namespace platform {
namespace sim {

namespace {

struct Shots {
  std::mutex Lock;
  bool Initialised = false;
  std::string Folder;
  long Next = 0;  // 0: not yet looked at the folder
};

Shots& State() {
  static Shots shots;
  return shots;
}

// The folder, read from the environment at the first need; call with the lock held.
const std::string& FolderLocked(Shots& shots) {
  if (!shots.Initialised) {
    shots.Initialised = true;
    shots.Folder = Environment().ScreenshotFolder;
    // A folder that is not there yet is made, as a user naming a new one expects.
    if (!shots.Folder.empty()) mkdir(shots.Folder.c_str(), 0755);
  }
  return shots.Folder;
}

// Letters, digits, '-' and '_' stay; everything else in a title becomes '_'.
std::string FileSafe(const std::wstring& title) {
  std::string out;
  for (wchar_t c : title) {
    bool keep = (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z') || (c >= L'0' && c <= L'9') || c == L'-' || c == L'_';
    out.push_back(keep ? static_cast<char>(c) : '_');
    if (out.size() >= 60) break;
  }
  return out.empty() ? "untitled" : out;
}

// Runs of several processes in one folder go on numbering where the last one stopped.
long FirstFreeNumber(const std::string& folder) {
  long highest = 0;
  if (DIR* dir = opendir(folder.c_str())) {
    while (dirent* entry = readdir(dir)) {
      char* end = nullptr;
      long number = std::strtol(entry->d_name, &end, 10);
      if (end != entry->d_name && *end == '-' && number > highest) highest = number;
    }
    closedir(dir);
  }
  return highest + 1;
}

uint8_t Expand5(uint32_t v) { return static_cast<uint8_t>((v << 3) | (v >> 2)); }
uint8_t Expand6(uint32_t v) { return static_cast<uint8_t>((v << 2) | (v >> 4)); }

}  // namespace

void SetScreenshotFolder(const std::string& folder) {
  std::lock_guard<std::mutex> hold(State().Lock);
  State().Initialised = true;
  State().Folder = folder;
  State().Next = 0;
}

// An RGB picture as a PNG file, put in place only when it is whole; false, and said on standard
// error, when it cannot be.
static bool WritePng(const std::string& path, int32_t width, int32_t height, const std::vector<uint8_t>& rgb) {
  std::string png;
  const auto append = [](void* context, void* data, int size) {
    static_cast<std::string*>(context)->append(static_cast<const char*>(data), static_cast<size_t>(size));
  };
  if (stbi_write_png_to_func(append, &png, width, height, 3, rgb.data(), width * 3) == 0) return false;
  std::string error;
  if (WriteHostFile(path, png, error)) return true;
  std::fprintf(stderr, "error: cannot write the screenshot %s: %s\n", path.c_str(), error.c_str());
  return false;
}

bool WriteSurfacePng(const Surface& surface, const std::string& path) {
  if (surface.Width <= 0 || surface.Height <= 0) return false;
  const int32_t bytes = surface.BytesPerPixel();
  std::vector<uint8_t> rgb(static_cast<size_t>(surface.Width) * static_cast<size_t>(surface.Height) * 3);
  uint8_t* out = rgb.data();
  for (int32_t y = 0; y < surface.Height; ++y) {
    const uint8_t* row = surface.Row(y);
    for (int32_t x = 0; x < surface.Width; ++x, out += 3) {
      const uint8_t* p = row + x * bytes;
      switch (surface.Bits) {
        case 8: {
          const PaletteEntry& e = surface.Palette[p[0]];
          out[0] = e.Red;
          out[1] = e.Green;
          out[2] = e.Blue;
          break;
        }
        case 16: {
          const uint32_t v = static_cast<uint32_t>(p[0] | (p[1] << 8));
          out[0] = Expand5(v >> 11);
          out[1] = Expand6((v >> 5) & 0x3F);
          out[2] = Expand5(v & 0x1F);
          break;
        }
        default:  // 24 and 32: blue, green, red
          out[0] = p[2];
          out[1] = p[1];
          out[2] = p[0];
          break;
      }
    }
  }
  return WritePng(path, surface.Width, surface.Height, rgb);
}

bool ScreenshotsWanted() {
  Shots& shots = State();
  std::lock_guard<std::mutex> hold(shots.Lock);
  return !FolderLocked(shots).empty();
}

void SaveScreenshot(const std::wstring& title) {
  Shots& shots = State();
  std::lock_guard<std::mutex> hold(shots.Lock);
  if (FolderLocked(shots).empty()) return;
  if (shots.Next == 0) shots.Next = FirstFreeNumber(shots.Folder);
  char number[16];
  std::snprintf(number, sizeof number, "%04ld", shots.Next++);
  const std::string path = shots.Folder + "/" + number + "-" + FileSafe(title) + ".png";
  ForceFrameBufferFaults(ScreenSurface());
  const Surface& screen = ScreenSurface();
  if (MonitorDark() || PrimaryMonitorsShowNothing()) {
    // A monitor in power saving, or behind a broken link, shows nothing of the frame buffer.
    const std::vector<uint8_t> black(static_cast<size_t>(screen.Width) * static_cast<size_t>(screen.Height) * 3, 0);
    if (screen.Width > 0 && screen.Height > 0) WritePng(path, screen.Width, screen.Height, black);
  } else {
    WriteSurfacePng(screen, path);
  }
}

}  // namespace sim
}  // namespace platform
