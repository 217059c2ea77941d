#pragma once

#include "framework/KestDiag.h"

class OpenGL3DRenderingTest : public KestDiag {
 public:
  OpenGL3DRenderingTest();
  ~OpenGL3DRenderingTest() override;
  bool Run() override;
};
