#pragma once

#include "framework/KestDiag.h"

class VideoMemoryTest : public KestDiag {
 public:
  VideoMemoryTest();
  ~VideoMemoryTest() override;
  bool Run() override;
};
