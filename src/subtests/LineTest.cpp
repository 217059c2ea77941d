#include "subtests/LineTest.h"

#include "framework/KestArgument.h"
#include "screen/ScreenArguments.h"
#include "subtests/NotBuiltYet.h"

LineTest::LineTest() {
  SetDescription("Tests the line acceleration operation of the video card using black lines");
  AddScreenArguments(*this);
  AddModeArguments(*this);
}

LineTest::~LineTest() = default;

bool LineTest::Run() { return NotBuiltYet(*this); }
