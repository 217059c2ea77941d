// The media kit: writes the pictures and the clip that the subtests expect beside the program.
//   make-media <directory>
#include <cstdio>
#include <string>
#include <vector>

#include "media/Ball.h"
#include "media/ClockClip.h"
#include "media/Texture.h"

namespace {

bool WriteFile(const std::string& path, const std::vector<uint8_t>& bytes) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) return false;
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  return std::fclose(file) == 0 && written;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: make-media <directory>\n");
    return 2;
  }
  const std::string directory = argv[1];
  const struct {
    const char* Name;
    std::vector<uint8_t> Bytes;
  } pictures[] = {{"ball.bmp", media::BallBitmapFile()}, {"texture3.bmp", media::TextureBitmapFile()}};
  for (const auto& picture : pictures) {
    const std::string path = directory + "/" + picture.Name;
    if (!WriteFile(path, picture.Bytes)) {
      std::fprintf(stderr, "make-media: cannot write %s\n", path.c_str());
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
