// Screen capture: what the primary surface shows, saved as a Windows BMP file (16, 24 or 32 bits,
// no colour table; 8-bit screens are not captured).
#pragma once

#include <cstdint>
#include <string>

#include "platform/ddraw.h"
#include "platform/gdi.h"

// "<testName>_<width>_<height>_<bits>_<attempt>.bmp"; a negative attempt is left out with its
// underscore.
std::string CaptureFileName(const std::string& testName, int32_t width, int32_t height, int32_t bitsPerPixel,
                            int32_t attempt);

// Copies `surface` into a bitmap and saves it under `directory` (a name of one character is
// ignored; one that is not there gives way to the current folder, with a message).
void CaptureScreenToBitmap(platform::DirectDrawSurface* surface, const std::string& testName, int32_t attempt,
                           const std::string& directory);

// Writes `bitmap` as a BMP file at `path`, in the format GetDIBits gives it at its own depth.
void SaveBitmapFile(const std::string& path, platform::HBitmap bitmap);
