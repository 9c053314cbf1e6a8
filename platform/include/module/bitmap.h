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

// The widest and highest bitmap GetPureBitmap() loads, in pixels: 8192 x 8192 pixels
// take 256 MiB as BGRA8888, more than any overlay needs.
constexpr uint32_t kMaxBitmapSide = 8192;

// 16 bytes: what GetPureBitmap() found.
struct BmpInfo {
    uint32_t width;   // pixels
    uint32_t height;  // pixels
    uint32_t format;  // kBitmapFormatBgra8888
    uint8_t bits;     // bits per pixel of the file: 24 (opaque) or 32 (with alpha)
    uint8_t reserved[3];
};

// Reads an uncompressed 24- or 32-bit BMP file (BI_RGB, or BI_BITFIELDS with the
// standard BGRA masks; bottom-up or top-down rows) and returns its pixels as
// kBitmapFormatBgra8888, filling `info`. A 24-bit file is opaque (alpha 255); so is a
// 32-bit file whose alpha bytes are all 0, as many tools write them. Null, with `info`
// zeroed, for a missing, malformed, truncated or unsupported file, for a side of 0 or
// above kMaxBitmapSide, and for header fields that point outside the file.
std::shared_ptr<Buf> GetPureBitmap(const char* path, BmpInfo* info);

}  // namespace module

static_assert(sizeof(module::BmpInfo) == 16, "BmpInfo is 16 bytes");
