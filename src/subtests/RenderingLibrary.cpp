#include "subtests/RenderingLibrary.h"

#include "framework/KestException.h"
#include "framework/Kestout.h"
#include "screen/MissingFiles.h"

std::string MissingRenderingFiles() {
  return FindMissingFiles(
      {"D3DX9_24.dll", "D3DX9_25.dll", "D3DX9_26.dll", "D3DIM9.dll", "COIN.BMP", "BW.BMP", "BLOCKS.BMP"});
}

int32_t LaunchOutcome(int32_t result) {
  if (result == -1) {
    Kestout::LogMessage(CategoryServiceErrors, 218, "");
    throw new KestException(990669);
  }
  if (result == -2) {
    Kestout::LogMessage(CategoryServiceErrors, 219, "");
    throw new KestException(990670);
  }
  return result == -3 ? -2 : result;
}
