#include "subtests/VideoMemoryTest.h"

#include "framework/KestArgument.h"
#include "framework/KestConstraint.h"
#include "screen/ScreenArguments.h"
#include "subtests/NotBuiltYet.h"

VideoMemoryTest::VideoMemoryTest() {
  SetDescription("This Test Tests the video memory");
  AddArgument("-Retries", KestArgument::TypeInteger, "1", kRetriesDescription,
              new KestConstraint(0, 10));
}

VideoMemoryTest::~VideoMemoryTest() = default;

bool VideoMemoryTest::Run() { return NotBuiltYet(*this); }
