#pragma once

#include "framework/KestDiag.h"

class PaletteTest : public KestDiag {
 public:
  PaletteTest();
  ~PaletteTest() override;
  bool Run() override;
};
