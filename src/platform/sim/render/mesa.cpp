// The GL calls of the program are defined here and forward to the same calls of the opened library,
// so the OpenGL subtest still draws with real GL. A call made before any context (or without the
// library) does nothing, as GL does without a current context.
#include "platform/sim/render/mesa.h"

#include <dlfcn.h>

#include <GL/gl.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>

#include "platform/sim/system/host_module.h"

// Every GL call the program makes: result, name, parameters, arguments.
#define RASTERSCAN_GL_CALLS(X)                                                                                      \
  X(void, glBegin, (GLenum mode), (mode))                                                                            \
  X(void, glEnd, (), ())                                                                                             \
  X(void, glVertex3f, (GLfloat x, GLfloat y, GLfloat z), (x, y, z))                                                  \
  X(void, glTexCoord2f, (GLfloat s, GLfloat t), (s, t))                                                              \
  X(void, glTexImage1D,                                                                                              \
    (GLenum target, GLint level, GLint internalFormat, GLsizei width, GLint border, GLenum format, GLenum type,       \
     const GLvoid* pixels),                                                                                          \
    (target, level, internalFormat, width, border, format, type, pixels))                                           \
  X(void, glTexImage2D,                                                                                              \
    (GLenum target, GLint level, GLint internalFormat, GLsizei width, GLsizei height, GLint border, GLenum format,   \
     GLenum type, const GLvoid* pixels),                                                                             \
    (target, level, internalFormat, width, height, border, format, type, pixels))                                   \
  X(void, glTexParameteri, (GLenum target, GLenum name, GLint value), (target, name, value))                          \
  X(void, glTexEnvf, (GLenum target, GLenum name, GLfloat value), (target, name, value))                             \
  X(void, glPixelStorei, (GLenum name, GLint value), (name, value))                                                  \
  X(void, glRotatef, (GLfloat angle, GLfloat x, GLfloat y, GLfloat z), (angle, x, y, z))                             \
  X(void, glEnable, (GLenum cap), (cap))                                                                             \
  X(void, glDisable, (GLenum cap), (cap))                                                                            \
  X(void, glClear, (GLbitfield mask), (mask))                                                                        \
  X(void, glClearColor, (GLclampf red, GLclampf green, GLclampf blue, GLclampf alpha), (red, green, blue, alpha))    \
  X(void, glFinish, (), ())                                                                                          \
  X(void, glFlush, (), ())                                                                                           \
  X(void, glViewport, (GLint x, GLint y, GLsizei width, GLsizei height), (x, y, width, height))                      \
  X(void, glScissor, (GLint x, GLint y, GLsizei width, GLsizei height), (x, y, width, height))                       \
  X(void, glShadeModel, (GLenum mode), (mode))                                                                       \
  X(void, glPushMatrix, (), ())                                                                                      \
  X(void, glPopMatrix, (), ())                                                                                       \
  X(void, glOrtho,                                                                                                   \
    (GLdouble left, GLdouble right, GLdouble bottom, GLdouble top, GLdouble nearVal, GLdouble farVal),               \
    (left, right, bottom, top, nearVal, farVal))                                                                     \
  X(void, glMatrixMode, (GLenum mode), (mode))                                                                       \
  X(void, glLoadIdentity, (), ())                                                                                    \
  X(void, glNewList, (GLuint list, GLenum mode), (list, mode))                                                       \
  X(void, glEndList, (), ())                                                                                         \
  X(GLuint, glGenLists, (GLsizei range), (range))                                                                    \
  X(void, glCallList, (GLuint list), (list))

namespace platform {
namespace sim {
namespace {

struct GlCalls {
#define RASTERSCAN_GL_POINTER(result, name, parameters, arguments) result(GLAPIENTRY* name) parameters = nullptr;
  RASTERSCAN_GL_CALLS(RASTERSCAN_GL_POINTER)
#undef RASTERSCAN_GL_POINTER
};

struct Loaded {
  MesaLibrary Library;
  GlCalls Gl;
  bool Open = false;
};

template <typename Function>
bool Bind(void* module, const char* name, Function& out) {
  out = reinterpret_cast<Function>(dlsym(module, name));
  return out != nullptr;
}

Loaded Load() {
  // Mesa's rasterizers differ in the last bit of a few pixels, which a calibrated sum sees: the
  // machine always renders with llvmpipe (its thread count and vector width change nothing).
  setenv("GALLIUM_DRIVER", "llvmpipe", 1);
  Loaded loaded;
  std::string error;
  void* module = OpenHostModule(RASTERSCAN_MESA_LIBRARY, error);
  if (module == nullptr) {
    std::fprintf(stderr, "error: no OpenGL renderer: %s\n", error.c_str());
    return loaded;
  }
  MesaLibrary& mesa = loaded.Library;
  const char* missing = nullptr;
  if (!Bind(module, "OSMesaCreateContextExt", mesa.CreateContextExt)) missing = "OSMesaCreateContextExt";
  if (!Bind(module, "OSMesaMakeCurrent", mesa.MakeCurrent)) missing = "OSMesaMakeCurrent";
  if (!Bind(module, "OSMesaDestroyContext", mesa.DestroyContext)) missing = "OSMesaDestroyContext";
#define RASTERSCAN_GL_BIND(result, name, parameters, arguments) \
  if (!Bind(module, #name, loaded.Gl.name)) missing = #name;
  RASTERSCAN_GL_CALLS(RASTERSCAN_GL_BIND)
#undef RASTERSCAN_GL_BIND
  if (missing != nullptr) {
    std::fprintf(stderr, "error: no OpenGL renderer: %s has no %s\n", RASTERSCAN_MESA_LIBRARY, missing);
    return Loaded();
  }
  // The library stays for the life of the process: Mesa keeps threads and state of its own.
  loaded.Open = true;
  return loaded;
}

const Loaded& Library() {
  static std::once_flag once;
  static Loaded loaded;
  std::call_once(once, [] { loaded = Load(); });
  return loaded;
}

// The calls before the library was opened find it still unopened without opening it.
std::atomic<const GlCalls*> Bound{nullptr};

}  // namespace

const MesaLibrary* Mesa() {
  const Loaded& loaded = Library();
  if (!loaded.Open) return nullptr;
  Bound.store(&loaded.Gl);
  return &loaded.Library;
}

}  // namespace sim
}  // namespace platform

extern "C" {
#define RASTERSCAN_GL_FORWARD(result, name, parameters, arguments)                  \
  result GLAPIENTRY name parameters {                                                 \
    const platform::sim::GlCalls* gl = platform::sim::Bound.load();                   \
    return gl != nullptr ? gl->name arguments : result();                             \
  }
RASTERSCAN_GL_CALLS(RASTERSCAN_GL_FORWARD)
#undef RASTERSCAN_GL_FORWARD
}
