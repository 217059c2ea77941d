#pragma once

#include "framework/KestDiag.h"

class GPUTest : public KestDiag {
 public:
  GPUTest();
  ~GPUTest() override;
  bool Run() override;
};
