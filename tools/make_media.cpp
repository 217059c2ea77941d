// The media kit: writes the pictures and the clip that the subtests expect beside the program,
// and puts the rendering library and its helpers (built beside the kit) there too.
//   make-media <directory>
#include <sys/stat.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "media/Ball.h"
#include "media/ClockClip.h"
#include "media/RotateScreen.h"
#include "media/ScenePictures.h"
#include "media/Texture.h"

namespace {

bool WriteFile(const std::string& path, const std::vector<uint8_t>& bytes) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) return false;
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  return std::fclose(file) == 0 && written;
}

bool CopyFile(const std::string& from, const std::string& to) {
  std::FILE* file = std::fopen(from.c_str(), "rb");
  if (file == nullptr) return false;
  std::vector<uint8_t> bytes;
  uint8_t block[65536];
  size_t got = 0;
  while ((got = std::fread(block, 1, sizeof block, file)) > 0) bytes.insert(bytes.end(), block, block + got);
  std::fclose(file);
  return WriteFile(to, bytes);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: make-media <directory>\n");
    return 2;
  }
  const std::string directory = argv[1];
  // The retry prompt of RotationTest names media\rotate_screen.bmp.
  mkdir((directory + "/media").c_str(), 0755);
  const std::pair<const char*, std::vector<uint8_t>> pictures[] = {
      {"ball.bmp", media::BallBitmapFile()},
      {"texture3.bmp", media::TextureBitmapFile()},
      {"COIN.BMP", media::CoinBitmapFile()},
      {"BW.BMP", media::FloorBitmapFile()},
      {"BLOCKS.BMP", media::BlocksBitmapFile()},
      {"media/rotate_screen.bmp", media::RotateScreenBitmapFile()}};
  for (const auto& [name, bytes] : pictures) {
    const std::string path = directory + "/" + name;
    if (!WriteFile(path, bytes)) {
      std::fprintf(stderr, "make-media: cannot write %s\n", path.c_str());
      return 1;
    }
  }
  std::string kit = argv[0];
  kit.erase(kit.find_last_of('/') + 1);
  for (const char* library : {"d3dim9.dll", "D3DX9_24.dll", "D3DX9_25.dll", "D3DX9_26.dll"}) {
    if (!CopyFile(kit + library, directory + "/" + library)) {
      std::fprintf(stderr, "make-media: cannot copy %s%s to %s\n", kit.c_str(), library, directory.c_str());
      return 1;
    }
  }
  std::string error;
  if (!media::WriteClockClip(directory + "/clock.avi", error)) {
    std::fprintf(stderr, "make-media: %s\n", error.c_str());
    return 1;
  }
  return 0;
}
