// BMP files broken in each way the bitmap loader refuses, each with the reason its record
// gives: the refusals' test reads them all, and the bitmap fuzzer starts from them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bitmap_files.h"

namespace broken_bitmaps {

using bitmap_files::bmp;
using bitmap_files::Bytes;

struct BrokenBitmap {
    const char* name;  // of the fuzzer's seed file
    Bytes file;
    std::string reason;  // the record's text after "GetPureBitmap("PATH"): "
};

// `file` with `bytes` bytes at `at` set to `value`.
inline Bytes changed(Bytes file, std::size_t at, uint32_t value, int bytes) {
    bitmap_files::put(file, at, value, bytes);
    return file;
}

// A good 3 x 2 24-bit file, which most broken ones start from.
inline Bytes good() { return bmp(3, 2, 24, 0, Bytes(12 * 2, 7)); }

inline std::vector<BrokenBitmap> all() {
    const Bytes file = good(), rows(12 * 2, 7);
    const Bytes rgbaMasks = {0xff, 0, 0, 0, 0, 0xff, 0, 0, 0xff, 0, 0, 0};  // red and blue swapped
    const std::string header = "unsupported header (an info header of 40 bytes or more, one plane)";
    const std::string sides = " pixels are not supported (sides of 1 to 8192)";
    return {
        {"bad-magic", changed(file, 0, 'X', 1), "not a BMP file (no \"BM\" at its start)"},
        {"truncated-header",
         {file.begin(), file.begin() + 40},
         "truncated: 40 bytes, shorter than the headers"},
        {"truncated-pixels",
         {file.begin(), file.end() - 1},
         "truncated: the pixels need 24 bytes from offset 54, the file has 77"},
        {"offset-past-end", changed(file, 10, 0xfffffff0u, 4),
         "the pixels' offset 4294967280 lies outside the file past its headers (54 to 78)"},
        {"offset-in-header", changed(file, 10, 20, 4),
         "the pixels' offset 20 lies outside the file past its headers (54 to 78)"},
        {"info-size-past-end", changed(file, 14, 0xffffffffu, 4),
         "truncated: the headers need 4294967309 bytes, the file has 78"},
        {"two-planes", changed(file, 26, 2, 2), header},
        {"old-core-header", changed(file, 14, 12, 4), header},
        {"too-wide", bmp(9000, 1, 24, 0, Bytes(27000, 0)), "9000 x 1" + sides},
        {"too-tall-top-down", bmp(1, -9000, 32, 0, Bytes(36000, 0)), "1 x 9000" + sides},
        {"most-negative-height", bmp(1, INT32_MIN, 24, 0, rows), "1 x 2147483648" + sides},
        {"zero-height", bmp(3, 0, 24, 0, {}), "3 x 0" + sides},
        {"negative-width", bmp(-3, 2, 24, 0, rows), "-3 x 2" + sides},
        {"16-bit", bmp(2, 2, 16, 0, Bytes(8, 0)), "16-bit pixels are not supported (24 or 32)"},
        {"rle", bmp(3, 2, 24, 1, rows),
         "compression 1 is not supported (uncompressed, or 32-bit with BGRA masks)"},
        {"bitfields-without-masks", bmp(1, 1, 32, 3, Bytes(4, 0)),
         "truncated: the file ends within its masks"},
        {"rgba-masks", bmp(1, 1, 32, 3, Bytes(4, 0), rgbaMasks),
         "32-bit pixels with masks other than BGRA are not supported"},
        {"empty", {}, "truncated: 0 bytes, shorter than the headers"},
    };
}

}  // namespace broken_bitmaps
