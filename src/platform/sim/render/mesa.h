// Mesa's off-screen renderer, opened at the first OpenGL context and not at start: linked in, it and
// the compiler it brings would be loaded by every run of the program, -help included.
#pragma once

#include <GL/osmesa.h>

namespace platform {
namespace sim {

// The context calls of the opened library.
struct MesaLibrary {
  OSMesaContext(GLAPIENTRY* CreateContextExt)(GLenum format, GLint depthBits, GLint stencilBits, GLint accumBits,
                                              OSMesaContext sharelist) = nullptr;
  GLboolean(GLAPIENTRY* MakeCurrent)(OSMesaContext context, void* buffer, GLenum type, GLsizei width,
                                     GLsizei height) = nullptr;
  void(GLAPIENTRY* DestroyContext)(OSMesaContext context) = nullptr;
};

// Opens the library once; null, said once on the error stream, when it cannot be opened. The GL
// calls the program makes are bound to it then.
const MesaLibrary* Mesa();

}  // namespace sim
}  // namespace platform
