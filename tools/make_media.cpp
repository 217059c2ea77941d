// The media kit: writes the pictures and the clip that the subtests expect beside the program.
//   make-media <directory>
#include <sys/stat.h>

#include <cstdio>
#include <string>
#include <vector>

#include "media/Ball.h"
#include "media/ClockClip.h"
#include "media/RotateScreen.h"

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
  // The retry prompt of RotationTest names media\rotate_screen.bmp.
  mkdir((directory + "/media").c_str(), 0755);
  const struct {
    std::string Path;
    std::vector<uint8_t> Bytes;
  } pictures[] = {{directory + "/ball.bmp", media::BallBitmapFile()},
                  {directory + "/media/rotate_screen.bmp", media::RotateScreenBitmapFile()}};
  for (const auto& picture : pictures)
    if (!WriteFile(picture.Path, picture.Bytes)) {
      std::fprintf(stderr, "make-media: cannot write %s\n", picture.Path.c_str());
      return 1;
    }
  std::string error;
  if (!media::WriteClockClip(directory + "/clock.avi", error)) {
    std::fprintf(stderr, "make-media: %s\n", error.c_str());
    return 1;
  }
  return 0;
}
