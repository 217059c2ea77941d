#pragma once

#include "framework/KestDiag.h"

class ExtendedVideoMemoryTest : public KestDiag {
 public:
  ExtendedVideoMemoryTest();
  ~ExtendedVideoMemoryTest() override;
  bool Run() override;
};
