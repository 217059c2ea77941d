#include "subtests/BltTest.h"

#include "framework/KestArgument.h"
#include "screen/ScreenArguments.h"
#include "subtests/NotBuiltYet.h"

BltTest::BltTest() {
  SetDescription("Tests the Blt capability of the Video Card.");
  AddScreenArguments(*this);
  AddModeArguments(*this);
}

BltTest::~BltTest() = default;

bool BltTest::Run() { return NotBuiltYet(*this); }
