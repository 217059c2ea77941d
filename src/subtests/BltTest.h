#pragma once

#include "framework/KestDiag.h"

class BltTest : public KestDiag {
 public:
  BltTest();
  ~BltTest() override;
  bool Run() override;
};
