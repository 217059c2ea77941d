#include "subtests/ExtendedVideoMemoryTest.h"

#include "framework/KestArgument.h"
#include "framework/KestConstraint.h"
#include "subtests/NotBuiltYet.h"

ExtendedVideoMemoryTest::ExtendedVideoMemoryTest() {
  SetDescription("This Test tests the video memory via direct hardware access bypassing the operating system");
  AddArgument("-Controller", KestArgument::TypeString, "",
              "Controller to be tested. If blank, all controllers in the system will be tested",
              false, nullptr, false, false);
  AddArgument("-TestType", KestArgument::TypeString, "SequentialWRC",
              "Test algorithm to used for testing",
              false, new KestConstraint("SequentialWRC,RandomWRC"), false, false);
  AddArgument("-StartAddr", KestArgument::TypeInteger, "0",
              "The beginning of the test span expressed in percentage",
              false, new KestConstraint(0, 100), false, false);
  AddArgument("-EndAddr", KestArgument::TypeInteger, "100",
              "The end of the test span expressed in percentage",
              false, new KestConstraint(0, 100), false, false);
  AddArgument("-Coverage", KestArgument::TypeInteger, "100",
              "Percent coverage of the test span",
              false, new KestConstraint(1, 100), false, false);
  AddArgument("-BAR", KestArgument::TypeInteger, "0",
              "The BAR to use for starting address. It should be used only if test fails to determine the address dynamically",
              false, new KestConstraint(0, 5), false, true);
  AddArgument("-MemorySize", KestArgument::TypeInteger, "0",
              "The size of the test span expressed in MB. It should be used only if test fails to determine the size dynamically",
              false, nullptr, false, true);
  AddArgument("-Timeout", KestArgument::TypeInteger, "0",
              "Number of seconds before test stops running regardless of any other condition",
              false, new KestConstraint(0, KestConstraint::EqualToOrGreaterThan), false, false);
  AddArgument("-Retries", KestArgument::TypeInteger, "3",
              "Number of retries on failure",
              false, new KestConstraint(0, 10), false, false);
}

ExtendedVideoMemoryTest::~ExtendedVideoMemoryTest() = default;

bool ExtendedVideoMemoryTest::Run() { return NotBuiltYet(*this); }
