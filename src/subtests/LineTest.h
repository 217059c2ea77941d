#pragma once

#include "framework/KestDiag.h"

class LineTest : public KestDiag {
 public:
  LineTest();
  ~LineTest() override;
  bool Run() override;
};
