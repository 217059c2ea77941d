// The operator of a screen subtest run under Wine, from outside the program: it waits for the
// test window, looks at the screen, presses keys and answers the prompt a wrong key brings.
//   wine-operator.exe <window class> <step>...
// Steps, each after the test window is up and in front (the prompt's, while it is up):
//   grab:<file.bmp>  the whole screen, as GDI reads it, into a 24-bit BMP
//   key:<key>        a letter or digit, F1, RETURN or ESCAPE, pressed and released
//   ok               waits for the prompt and clicks its OK button
// Ends with 0 when every step was taken, 1 when a window did not come within 20 seconds.
#include <windows.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

HWND WaitForWindow(const char* className) {
  for (int i = 0; i < 1000; ++i) {
    HWND window = ::FindWindowA(className, nullptr);
    if (window != nullptr && ::IsWindowVisible(window) && ::GetForegroundWindow() == window) return window;
    ::Sleep(20);
  }
  return nullptr;
}

WORD KeyCode(const std::string& name) {
  if (name == "F1") return VK_F1;
  if (name == "RETURN") return VK_RETURN;
  if (name == "ESCAPE") return VK_ESCAPE;
  if (name.size() == 1 && ((name[0] >= 'A' && name[0] <= 'Z') || (name[0] >= '0' && name[0] <= '9'))) return name[0];
  return 0;
}

void Press(WORD key) {
  INPUT input[2]{};
  input[0].type = input[1].type = INPUT_KEYBOARD;
  input[0].ki.wVk = input[1].ki.wVk = key;
  input[1].ki.dwFlags = KEYEVENTF_KEYUP;
  ::SendInput(2, input, sizeof(INPUT));
}

void Click(HWND button) {
  RECT r{};
  ::GetWindowRect(button, &r);
  INPUT input[3]{};
  for (INPUT& i : input) i.type = INPUT_MOUSE;
  input[0].mi.dx = ((r.left + r.right) / 2 * 65536 + 32768) / ::GetSystemMetrics(SM_CXSCREEN);
  input[0].mi.dy = ((r.top + r.bottom) / 2 * 65536 + 32768) / ::GetSystemMetrics(SM_CYSCREEN);
  input[0].mi.dwFlags = MOUSEEVENTF_MOVE | MOUSEEVENTF_ABSOLUTE;
  input[1].mi.dwFlags = MOUSEEVENTF_LEFTDOWN;
  input[2].mi.dwFlags = MOUSEEVENTF_LEFTUP;
  ::SendInput(3, input, sizeof(INPUT));
  // The hand moves on, which gives the prompt's loop its next message.
  ::Sleep(50);
  ::mouse_event(MOUSEEVENTF_MOVE, 2, 2, 0, 0);
}

bool Grab(const char* path) {
  const int width = ::GetSystemMetrics(SM_CXSCREEN);
  const int height = ::GetSystemMetrics(SM_CYSCREEN);
  HDC screen = ::GetDC(nullptr);
  HDC memory = ::CreateCompatibleDC(screen);
  HBITMAP bitmap = ::CreateCompatibleBitmap(screen, width, height);
  HGDIOBJ old = ::SelectObject(memory, bitmap);
  ::BitBlt(memory, 0, 0, width, height, screen, 0, 0, SRCCOPY);
  ::SelectObject(memory, old);
  BITMAPINFOHEADER info{};
  info.biSize = sizeof(info);
  info.biWidth = width;
  info.biHeight = height;
  info.biPlanes = 1;
  info.biBitCount = 24;
  const int row = (width * 3 + 3) & ~3;
  std::vector<unsigned char> pixels(static_cast<size_t>(row) * height);
  ::GetDIBits(memory, bitmap, 0, height, pixels.data(), reinterpret_cast<BITMAPINFO*>(&info), DIB_RGB_COLORS);
  ::DeleteObject(bitmap);
  ::DeleteDC(memory);
  ::ReleaseDC(nullptr, screen);
  BITMAPFILEHEADER file{};
  file.bfType = 0x4D42;
  file.bfOffBits = sizeof(file) + sizeof(info);
  file.bfSize = file.bfOffBits + static_cast<DWORD>(pixels.size());
  info.biSizeImage = static_cast<DWORD>(pixels.size());
  FILE* out = std::fopen(path, "wb");
  if (out == nullptr) return false;
  std::fwrite(&file, sizeof(file), 1, out);
  std::fwrite(&info, sizeof(info), 1, out);
  std::fwrite(pixels.data(), 1, pixels.size(), out);
  return std::fclose(out) == 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: wine-operator <window class> <step>...\n");
    return 2;
  }
  for (int i = 2; i < argc; ++i) {
    const std::string step = argv[i];
    // The prompt stands in front of the test window.
    HWND window = step == "ok" ? ::FindWindowA(argv[1], nullptr) : WaitForWindow(argv[1]);
    if (window == nullptr) {
      std::fprintf(stderr, "wine-operator: no window of class %s in front for '%s'\n", argv[1], step.c_str());
      return 1;
    }
    if (step.rfind("grab:", 0) == 0) {
      ::Sleep(1000);  // the card drawn
      if (!Grab(step.c_str() + 5)) return 1;
    } else if (step.rfind("key:", 0) == 0 && KeyCode(step.substr(4)) != 0) {
      Press(KeyCode(step.substr(4)));
    } else if (step == "ok") {
      HWND prompt = nullptr;
      for (int wait = 0; wait < 1000 && prompt == nullptr; ++wait, ::Sleep(20)) {
        HWND found = ::FindWindowA("PromptWindowClassName", nullptr);
        if (found == nullptr) found = ::FindWindowA("MessageWindowClassName", nullptr);
        if (found != nullptr && ::IsWindowVisible(found)) prompt = found;
      }
      if (prompt == nullptr) {
        std::fprintf(stderr, "wine-operator: no prompt came\n");
        return 1;
      }
      ::Sleep(200);
      Click(::GetDlgItem(prompt, 1005));
      for (int wait = 0; wait < 500 && ::IsWindow(prompt); ++wait) ::Sleep(20);
    } else {
      std::fprintf(stderr, "wine-operator: cannot take the step '%s'\n", step.c_str());
      return 2;
    }
    ::Sleep(200);
  }
  return 0;
}
