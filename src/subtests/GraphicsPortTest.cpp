#include "subtests/GraphicsPortTest.h"

#include "framework/KestArgument.h"
#include "framework/KestConstraint.h"
#include "subtests/NotBuiltYet.h"

GraphicsPortTest::GraphicsPortTest() {
  SetDescription("This subtest will test all the video ports of all the video adapters that are connected to monitors.");
  AddArgument("-INIFile", KestArgument::TypeString, ".\\videoport.ini",
              "An INI file containing ports details of\n\tvideo adapter");
  AddArgument("-Retries", KestArgument::TypeInteger, "3",
              "Number of retries in case of test failure",
              new KestConstraint(0, 10));
  AddArgument("-TimeOut", KestArgument::TypeInteger, "15",
              "Test Time Out in seconds.",
              new KestConstraint(10, 60));
  AddArgument("-TestAllPorts", KestArgument::TypeBoolean, "false",
              "This parameter is used to specify whether test will run\n\t on all port of graphics card one by one");
  AddArgument("-INISection", KestArgument::TypeString, "",
              "The section name in the INI file that will have the information\n\t for the video ports to be tested. If not given, the 4-digit System\n\t ID will be used for the section name. If Value of parameter is AUTO\n\t then test will discovers video card and read the section from INI file");
}

GraphicsPortTest::~GraphicsPortTest() = default;

bool GraphicsPortTest::Run() { return NotBuiltYet(*this); }
