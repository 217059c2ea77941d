#include "screen/ScreenCapture.h"

#include <cstdio>
#include <memory>
#include <new>

#include "framework/Kestout.h"
#include "platform/file_attributes.h"
#include "platform/files.h"
#include "platform/window.h"
#include "text/WholeFile.h"

namespace {

const uint32_t kHeadersSize = 54;  // file header 14, info header 40

void PutWord(uint8_t* bytes, size_t at, uint32_t value, size_t size) {
  for (size_t i = 0; i < size; ++i) bytes[at + i] = static_cast<uint8_t>(value >> (8 * i));
}

// BITMAPFILEHEADER and BITMAPINFOHEADER as they lie in the file, little-endian whatever the host.
void EncodeHeaders(const platform::BitmapInfoHeader& h, uint8_t* out) {
  out[0] = 'B';
  out[1] = 'M';
  PutWord(out, 2, h.SizeImage + kHeadersSize, 4);
  PutWord(out, 6, 0, 4);
  PutWord(out, 10, kHeadersSize, 4);
  PutWord(out, 14, h.Size, 4);
  PutWord(out, 18, static_cast<uint32_t>(h.Width), 4);
  PutWord(out, 22, static_cast<uint32_t>(h.Height), 4);
  PutWord(out, 26, h.Planes, 2);
  PutWord(out, 28, h.BitCount, 2);
  PutWord(out, 30, h.Compression, 4);
  PutWord(out, 34, h.SizeImage, 4);
  PutWord(out, 38, static_cast<uint32_t>(h.XPelsPerMeter), 4);
  PutWord(out, 42, static_cast<uint32_t>(h.YPelsPerMeter), 4);
  PutWord(out, 46, h.ClrUsed, 4);
  PutWord(out, 50, h.ClrImportant, 4);
}

}  // namespace

std::string CaptureFileName(const std::string& testName, int32_t width, int32_t height, int32_t bitsPerPixel,
                            int32_t attempt) {
  std::string name =
      testName + "_" + std::to_string(width) + "_" + std::to_string(height) + "_" + std::to_string(bitsPerPixel);
  if (attempt >= 0) name += "_" + std::to_string(attempt);
  return name + ".bmp";
}

void CaptureScreenToBitmap(platform::DirectDrawSurface* surface, const std::string& testName, int32_t attempt,
                           const std::string& directory) {
  if (surface == nullptr) return;
  uintptr_t surfaceDc = 0;
  if (surface->GetDC(surfaceDc) != platform::DdOk) return;
  const platform::Hdc memoryDc = platform::CreateCompatibleDC(surfaceDc);
  platform::SurfaceDesc desc;
  desc.Size = 108;
  surface->GetSurfaceDesc(desc);
  const int32_t width = static_cast<int32_t>(desc.Width);
  const int32_t height = static_cast<int32_t>(desc.Height);
  const platform::HBitmap bitmap = platform::CreateCompatibleBitmap(surfaceDc, width, height);
  const platform::HGdiObj previous = platform::SelectObject(memoryDc, bitmap);
  platform::BitBlt(memoryDc, 0, 0, width, height, surfaceDc, 0, 0, platform::SrcCopy);
  platform::SelectObject(memoryDc, previous);
  platform::DeleteDC(memoryDc);
  surface->ReleaseDC(surfaceDc);

  // A BMP of an 8-bit screen would need the palette, which the file does not carry.
  const int32_t bits = static_cast<int32_t>(desc.PixelFormat.RGBBitCount);
  if (bits != 8) {
    const std::string name = CaptureFileName(testName, width, height, bits, attempt);
    std::string path = name;
    if (directory.size() > 1) {
      std::string folder = directory;
      if (folder.back() != '\\') folder += '\\';
      if (platform::GetFileAttributesA(folder.c_str()) == platform::InvalidFileAttributes) {
        folder = ".\\";
        Kestout::LogMessage(CategoryDebug, 20000, "Invalid Direcotry path provided.. Creating File in current folder");
      }
      path = folder + name;
    }
    SaveBitmapFile(path, bitmap);
  }
  platform::DeleteObject(bitmap);
}

void SaveBitmapFile(const std::string& path, platform::HBitmap bitmap) {
  const platform::Hdc screen = platform::GetDC(0);
  // Room for a colour table or masks behind the header, should a driver write one.
  struct {
    platform::BitmapInfoHeader Header;
    platform::RgbQuad Colors[256];
  } info{};
  info.Header.Size = 40;
  platform::GetDIBits(screen, bitmap, 0, 0, nullptr, reinterpret_cast<platform::BitmapInfo*>(&info),
                      platform::DibRgbColors);
  platform::BitmapInfoHeader& h = info.Header;
  if (h.SizeImage == 0) {
    // Rounds up generously: the 7 is added before the product.
    const uint32_t rows = static_cast<uint32_t>(h.Height < 0 ? -h.Height : h.Height);
    h.SizeImage = rows * (h.BitCount + 7u) * static_cast<uint32_t>(h.Width) / 8;
  }
  const uint32_t allocated = h.SizeImage;
  std::unique_ptr<uint8_t[]> pixels(new (std::nothrow) uint8_t[allocated]);
  std::unique_ptr<WholeFile> picture;
  if (!pixels) {
    Kestout::LogMessage(CategoryServiceErrors, 20000, "Unable to Allocate Bitmap Memory");
  } else {
    h.Compression = platform::BiRgb;
    platform::GetDIBits(screen, bitmap, 0, static_cast<uint32_t>(h.Height), pixels.get(),
                        reinterpret_cast<platform::BitmapInfo*>(&info), platform::DibRgbColors);
    if (h.SizeImage > allocated) h.SizeImage = allocated;
    picture.reset(new WholeFile(path, false));
    if (picture->File() == nullptr) {
      Kestout::LogMessage(CategoryServiceErrors, 20000, "Unable to Create Bitmap File");
    } else {
      uint8_t headers[kHeadersSize];
      EncodeHeaders(h, headers);
      std::fwrite(headers, 1, kHeadersSize, picture->File());
      std::fwrite(pixels.get(), 1, h.SizeImage, picture->File());
    }
  }
  platform::ReleaseDC(0, screen);
  if (picture) picture->Commit();
}
