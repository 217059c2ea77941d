#pragma once

#include <cstdint>

#include "framework/KestDiag.h"

// Drives d3dim9.dll, the rendering library beside the program, for one run of its scene.
class DX93DRenderingTest : public KestDiag {
 public:
  DX93DRenderingTest();
  ~DX93DRenderingTest() override;
  bool Run() override;

 private:
  // 1 a pass; -1 no library, -2 the launch failed, -3 the checksum's verdict negative; else a failure.
  int32_t RunRenderingSequence();

  bool Calibrate = false;
  bool Interactive = true;
  bool VerifyChecksum = true;
};
