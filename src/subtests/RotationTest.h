#pragma once

#include "framework/KestDiag.h"

class RotationTest : public KestDiag {
 public:
  RotationTest();
  ~RotationTest() override;
  bool Run() override;
};
