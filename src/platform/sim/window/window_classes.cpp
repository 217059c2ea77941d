// Window classes: registered by name or atom, matched without regard to case. The system's control
// classes come in at the first lookup.
#include <string>

#include "platform/handles.h"
#include "platform/sim/window/window_internal.h"
#include "platform/sim/window/window_sim.h"
#include "platform/window.h"

namespace platform {
namespace sim {
namespace wnd {

namespace {

std::wstring Lower(std::wstring text) {
  for (wchar_t& c : text)
    if (c >= L'A' && c <= L'Z') c = static_cast<wchar_t>(c - L'A' + L'a');
  return text;
}

}  // namespace

WindowClass* FindClass(const std::wstring* name, Atom atom) {
  if (!S().SystemClasses) {
    S().SystemClasses = true;
    RegisterSystemClasses();
  }
  const std::wstring key = name ? Lower(*name) : std::wstring();
  for (WindowClass& c : S().Classes)
    if (name ? c.Key == key : c.Id == atom) return &c;
  return nullptr;
}

namespace {

Atom RegisterCommon(const std::wstring& name, Atom requested, uint32_t style, WndProc proc, int32_t windowExtra,
                    HInstance instance, HCursor cursor, HBrush background) {
  Guard hold(S().Lock);
  if (proc == nullptr || name.empty()) {
    SetLastError(ErrorInvalidParameter);
    return 0;
  }
  if (FindClass(&name, 0) != nullptr) {
    SetLastError(ErrorClassAlreadyExists);
    return 0;
  }
  WindowClass c;
  c.Name = name;
  c.Key = Lower(name);
  c.Id = requested ? requested : S().NextAtom++;
  c.Style = style;
  c.Proc = proc;
  c.WindowExtra = windowExtra;
  c.Instance = instance;
  c.Cursor = cursor;
  c.Background = background;
  S().Classes.push_back(c);
  return c.Id;
}

bool UnregisterCommon(const std::wstring* name, Atom atom) {
  Guard hold(S().Lock);
  WindowClass* c = FindClass(name, atom);
  if (c == nullptr) {
    SetLastError(ErrorClassDoesNotExist);
    return false;
  }
  for (const auto& entry : S().Windows) {
    if (entry.second.ClassKey == c->Key) {
      SetLastError(ErrorClassHasWindows);
      return false;
    }
  }
  S().Classes.erase(S().Classes.begin() + (c - S().Classes.data()));
  return true;
}

}  // namespace
}  // namespace wnd
}  // namespace sim

using namespace sim::wnd;

Atom RegisterClassA(const WndClassA* c) {
  if (c == nullptr) return 0;
  const uintptr_t name = reinterpret_cast<uintptr_t>(c->ClassName);
  if (IsAtom(name)) return 0;
  return RegisterCommon(WidenBytes(c->ClassName), 0, c->Style, c->Proc, c->WindowExtra, c->Instance, c->Cursor,
                        c->Background);
}

Atom RegisterClassW(const WndClassW* c) {
  if (c == nullptr || c->ClassName == nullptr || IsAtom(reinterpret_cast<uintptr_t>(c->ClassName))) return 0;
  return RegisterCommon(c->ClassName, 0, c->Style, c->Proc, c->WindowExtra, c->Instance, c->Cursor, c->Background);
}

Atom RegisterClassExA(const WndClassExA* c) {
  if (c == nullptr || c->Size != sizeof(WndClassExA)) {
    SetLastError(ErrorInvalidParameter);
    return 0;
  }
  if (IsAtom(reinterpret_cast<uintptr_t>(c->ClassName))) return 0;
  return RegisterCommon(WidenBytes(c->ClassName), 0, c->Style, c->Proc, c->WindowExtra, c->Instance, c->Cursor,
                        c->Background);
}

bool UnregisterClassA(const char* className, HInstance) {
  const uintptr_t name = reinterpret_cast<uintptr_t>(className);
  if (IsAtom(name)) return UnregisterCommon(nullptr, static_cast<Atom>(name));
  std::wstring wide = WidenBytes(className);
  return UnregisterCommon(&wide, 0);
}

bool UnregisterClassW(const wchar_t* className, HInstance) {
  const uintptr_t name = reinterpret_cast<uintptr_t>(className);
  if (IsAtom(name)) return UnregisterCommon(nullptr, static_cast<Atom>(name));
  std::wstring wide = className ? className : L"";
  return UnregisterCommon(&wide, 0);
}

uint32_t SetClassLongA(Hwnd window, int32_t index, int32_t value) {
  Guard hold(S().Lock);
  Window* w = Find(window);
  if (w == nullptr) {
    SetLastError(ErrorInvalidWindowHandle);
    return 0;
  }
  std::wstring key = w->ClassKey;
  WindowClass* c = FindClass(&key, 0);
  if (index != GclStyle || c == nullptr) {
    SetLastError(ErrorInvalidIndex);
    return 0;
  }
  const uint32_t old = c->Style;
  c->Style = static_cast<uint32_t>(value);
  // The windows of the class redraw by the new style from now on.
  for (auto& entry : S().Windows)
    if (entry.second.ClassKey == c->Key) entry.second.ClassStyle = c->Style;
  return old;
}

}  // namespace platform
