#include <windows.h>

// Wine's ntdll exports its version; Windows' does not.
bool RunningUnderWine() {
  HMODULE ntdll = ::GetModuleHandleA("ntdll.dll");
  return ntdll && ::GetProcAddress(ntdll, "wine_get_version") != nullptr;
}
