#pragma once

#include "framework/KestDiag.h"

class DX93DRenderingTest : public KestDiag {
 public:
  DX93DRenderingTest();
  ~DX93DRenderingTest() override;
  bool Run() override;
};
