// Utility library: loading bitmap (BMP) pictures.
#pragma once

#include <cstdint>
#include <memory>

#include "module/buf.h"

namespace module {

enum : uint32_t {
    // Pixels top-down, four bytes each in the order blue, green, red, alpha.
    kBitmapFormatBgra8888 = 0x8888
};

// 16 bytes: what GetPureBitmap() found.
struct BmpInfo {
    uint32_t width;   // pixels
    uint32_t height;  // pixels
    uint32_t format;  // kBitmapFormatBgra8888
    uint8_t bits;     // bits per pixel of the file: 24 (opaque) or 32 (with alpha)
    uint8_t reserved[3];
};

// Reads an uncompressed 24- or 32-bit BMP file and returns its pixels as
// kBitmapFormatBgra8888, filling `info`. Null for a missing, malformed, truncated or
// unsupported file.
std::shared_ptr<Buf> GetPureBitmap(const char* path, BmpInfo* info);

}  // namespace module

static_assert(sizeof(module::BmpInfo) == 16, "BmpInfo is 16 bytes");
