#pragma once

#include "framework/KestDiag.h"

class VideoPowerManagementTest : public KestDiag {
 public:
  VideoPowerManagementTest();
  ~VideoPowerManagementTest() override;
  bool Run() override;
};
