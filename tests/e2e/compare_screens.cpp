// Compares two pictures of the same screen pixel for pixel: the simulated machine's screenshot of
// a test card and the X screen's picture of the same card drawn by the Windows build under Wine.
//   compare-screens <first> <second> [<left>,<top>,<right>,<bottom>]...
// The rectangles (right and bottom excluded) are left out: where text is drawn, the fonts of the
// two systems differ, and a confirmation digit is chosen anew in every run. Prints the count of
// differing pixels and the first few; ends with 0 when there are none, 1 when there are, 2 when a
// picture cannot be read or the two differ in size.
#include <cstdio>
#include <string>
#include <vector>

#define STB_IMAGE_IMPLEMENTATION
#include <stb/stb_image.h>

namespace {

struct Box {
  int Left, Top, Right, Bottom;
  bool Holds(int x, int y) const { return x >= Left && x < Right && y >= Top && y < Bottom; }
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: compare-screens <first> <second> [<left>,<top>,<right>,<bottom>]...\n");
    return 2;
  }
  std::vector<Box> ignored;
  for (int i = 3; i < argc; ++i) {
    Box box{};
    if (std::sscanf(argv[i], "%d,%d,%d,%d", &box.Left, &box.Top, &box.Right, &box.Bottom) != 4) {
      std::fprintf(stderr, "compare-screens: not a rectangle: %s\n", argv[i]);
      return 2;
    }
    ignored.push_back(box);
  }
  int width[2], height[2], channels;
  unsigned char* picture[2];
  for (int i = 0; i < 2; ++i) {
    picture[i] = stbi_load(argv[1 + i], &width[i], &height[i], &channels, 3);
    if (picture[i] == nullptr) {
      std::fprintf(stderr, "compare-screens: cannot read %s: %s\n", argv[1 + i], stbi_failure_reason());
      return 2;
    }
  }
  if (width[0] != width[1] || height[0] != height[1]) {
    std::printf("%s is %dx%d, %s %dx%d\n", argv[1], width[0], height[0], argv[2], width[1], height[1]);
    return 2;
  }
  long differing = 0, compared = 0;
  for (int y = 0; y < height[0]; ++y)
    for (int x = 0; x < width[0]; ++x) {
      bool skip = false;
      for (const Box& box : ignored) skip = skip || box.Holds(x, y);
      if (skip) continue;
      ++compared;
      const unsigned char* a = picture[0] + (static_cast<size_t>(y) * width[0] + x) * 3;
      const unsigned char* b = picture[1] + (static_cast<size_t>(y) * width[0] + x) * 3;
      if (a[0] == b[0] && a[1] == b[1] && a[2] == b[2]) continue;
      if (++differing <= 5)
        std::printf("  (%d,%d): %02x%02x%02x against %02x%02x%02x\n", x, y, a[0], a[1], a[2], b[0], b[1], b[2]);
    }
  std::printf("%ld of %ld pixels differ\n", differing, compared);
  stbi_image_free(picture[0]);
  stbi_image_free(picture[1]);
  return differing == 0 ? 0 : 1;
}
