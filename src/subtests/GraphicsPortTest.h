#pragma once

#include "framework/KestDiag.h"

class GraphicsPortTest : public KestDiag {
 public:
  GraphicsPortTest();
  ~GraphicsPortTest() override;
  bool Run() override;
};
