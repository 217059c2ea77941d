#include "subtests/GPUTest.h"

#include "framework/KestArgument.h"
#include "framework/KestConstraint.h"
#include "subtests/NotBuiltYet.h"

GPUTest::GPUTest() {
  SetDescription("This Test the Graphic Processsing Unit ");
  AddArgument("-Controller", KestArgument::TypeString, "",
              "Controller to be tested .Default All the controller are tested",
              nullptr, ArgumentFlag::GuiHidden);
  AddArgument("-BenchmarkLevel", KestArgument::TypeString, "low",
              "Benchmark level to be compared with for Pass / Fail",
              new KestConstraint("low,medium,high"), ArgumentFlag::GuiHidden);
  AddArgument("-LowFPS", KestArgument::TypeInteger, "5",
              "Number of frame per second on low end video card",
              new KestConstraint(1, KestConstraint::EqualToOrGreaterThan), ArgumentFlag::GuiHidden);
  AddArgument("-MediumFPS", KestArgument::TypeInteger, "10",
              "Number of frame per second on medium end video card",
              new KestConstraint(1, KestConstraint::EqualToOrGreaterThan), ArgumentFlag::GuiHidden);
  AddArgument("-HighFPS", KestArgument::TypeInteger, "20",
              "Number of frame per second on high end video card",
              new KestConstraint(1, KestConstraint::EqualToOrGreaterThan), ArgumentFlag::GuiHidden);
}

GPUTest::~GPUTest() = default;

bool GPUTest::Run() { return NotBuiltYet(*this); }
