#include <cstdio>
#include <new>
#include <string>

#include "framework/DiagnosticManager.h"
#include "platform/platform.h"
#include "subtests/BltTest.h"
#include "subtests/DX93DRenderingTest.h"
#include "subtests/ExtendedVideoMemoryTest.h"
#include "subtests/GPUTest.h"
#include "subtests/GraphicsPortTest.h"
#include "subtests/LineTest.h"
#include "subtests/ModeTest.h"
#include "subtests/OpenGL3DRenderingTest.h"
#include "subtests/PaletteTest.h"
#include "subtests/RotationTest.h"
#include "subtests/VideoMemoryTest.h"
#include "subtests/VideoPowerManagementTest.h"

int main(int argc, char** argv) {
  // The console handler goes in first, so that a stop during start-up ends the run the usual way.
  const std::string version = "3.17.0, timestamp: Dec 15 2011 16:38:35 0547\n   (kest: 3.28.0)\n   (ms : 3.26.0)";
  const std::string name = "Raster-scan";
  DiagnosticManager manager(argc, argv, version, name);

  std::string error;
  if (!platform::Startup(error)) {
    std::fprintf(stderr, "error: %s\n", error.c_str());
    return 1;
  }

  // A subtest whose construction fails stays unregistered, and so unknown.
  DiagnosticManager::RegisterTest("ModeTest", new (std::nothrow) ModeTest);
  DiagnosticManager::RegisterTest("VideoMemoryTest", new (std::nothrow) VideoMemoryTest);
  DiagnosticManager::RegisterTest("ExtendedVideoMemoryTest", new (std::nothrow) ExtendedVideoMemoryTest);
  DiagnosticManager::RegisterTest("OpenGL3DRenderingTest", new (std::nothrow) OpenGL3DRenderingTest);
  DiagnosticManager::RegisterTest("BltTest", new (std::nothrow) BltTest);
  DiagnosticManager::RegisterTest("LineTest", new (std::nothrow) LineTest);
  DiagnosticManager::RegisterTest("PaletteTest", new (std::nothrow) PaletteTest);
  DiagnosticManager::RegisterTest("GPUTest", new (std::nothrow) GPUTest);
  DiagnosticManager::RegisterTest("GraphicsPortTest", new (std::nothrow) GraphicsPortTest);
  // These three need what Windows PE lacks.
  if (!IsMiniNT()) {
    DiagnosticManager::RegisterTest("DX93DRenderingTest", new (std::nothrow) DX93DRenderingTest);
    DiagnosticManager::RegisterTest("RotationTest", new (std::nothrow) RotationTest);
    DiagnosticManager::RegisterTest("VideoPowerManagementTest", new (std::nothrow) VideoPowerManagementTest);
  }
  return manager.Run();
}
