#pragma once

#include "framework/KestDiag.h"

class ModeTest : public KestDiag {
 public:
  ModeTest();
  ~ModeTest() override;
  bool Run() override;
};
