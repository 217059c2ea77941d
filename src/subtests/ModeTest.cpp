#include "subtests/ModeTest.h"

#include "framework/KestArgument.h"
#include "framework/KestConstraint.h"
#include "screen/ScreenArguments.h"
#include "subtests/NotBuiltYet.h"

ModeTest::ModeTest() {
  SetDescription("Tests the different video modes using RGB shaded rectangles");
  AddScreenArguments(*this);
  AddModeArguments(*this);
  AddArgument("-BPP", KestArgument::TypeInteger, "0",
              "This value specifies the refresh BPP.",
              false, new KestConstraint(0, KestConstraint::EqualToOrGreaterThan), false, false);
  AddArgument("-Width", KestArgument::TypeInteger, "0",
              "This value specifies the refresh Width.",
              false, new KestConstraint(0, KestConstraint::EqualToOrGreaterThan), false, false);
  AddArgument("-Height", KestArgument::TypeInteger, "0",
              "This value specifies the refresh Height.",
              false, new KestConstraint(0, KestConstraint::EqualToOrGreaterThan), false, false);
  AddArgument("-CheckMode", KestArgument::TypeBoolean, "false",
              " This option will check if test supports the\n\theight, width and refresh rate values provided.",
              false, nullptr, false, true);
  AddArgument("-RefreshRate", KestArgument::TypeInteger, "0",
              "This is refresh rate.",
              false, new KestConstraint(0, KestConstraint::EqualToOrGreaterThan), false, false);
  AddArgument("-CheckRefreshRate", KestArgument::TypeBoolean, "false",
              "This option will select refresh rate to be tested.",
              false, nullptr, false, false);
}

ModeTest::~ModeTest() = default;

bool ModeTest::Run() { return NotBuiltYet(*this); }
