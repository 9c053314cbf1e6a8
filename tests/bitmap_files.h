// BMP files built by the tests: for the bitmap loader's own tests, and for the library's
// logo and icon loaders.
#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

namespace bitmap_files {

using Bytes = std::vector<uint8_t>;

inline void put(Bytes& b, std::size_t at, uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) b[at + i] = static_cast<uint8_t>(value >> (8 * i));
}

// A BMP with a 40-byte info header, `extra` bytes between header and pixels (for
// the masks) and the given pixel rows, already padded.
inline Bytes bmp(int32_t width, int32_t height, uint16_t bits, uint32_t compression,
                 const Bytes& rows, const Bytes& extra = {}) {
    Bytes b(54);
    b[0] = 'B';
    b[1] = 'M';
    const std::size_t offset = b.size() + extra.size();
    put(b, 2, static_cast<uint32_t>(offset + rows.size()), 4);
    put(b, 10, static_cast<uint32_t>(offset), 4);
    put(b, 14, 40, 4);
    put(b, 18, static_cast<uint32_t>(width), 4);
    put(b, 22, static_cast<uint32_t>(height), 4);
    put(b, 26, 1, 2);
    put(b, 28, bits, 2);
    put(b, 30, compression, 4);
    b.insert(b.end(), extra.begin(), extra.end());
    b.insert(b.end(), rows.begin(), rows.end());
    return b;
}

// Whether the whole file was written.
inline bool writeFile(const std::string& path, const Bytes& bytes) {
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(out);
}

// A bottom-up file of one colour, 24-bit (opaque) or 32-bit with an alpha byte.
inline void writeBitmapFile(const std::string& path, uint32_t width, uint32_t height, uint16_t bits,
                            uint8_t blue = 40, uint8_t green = 160, uint8_t red = 220,
                            uint8_t alpha = 255) {
    const uint32_t stride = (width * bits / 8 + 3) / 4 * 4;
    Bytes rows(std::size_t{stride} * height, 0);
    for (uint32_t row = 0; row < height; ++row) {
        uint8_t* pixel = &rows[std::size_t{stride} * row];
        for (uint32_t x = 0; x < width; ++x, pixel += bits / 8) {
            pixel[0] = blue;
            pixel[1] = green;
            pixel[2] = red;
            if (bits == 32) pixel[3] = alpha;
        }
    }
    writeFile(path, bmp(static_cast<int32_t>(width), static_cast<int32_t>(height), bits, 0, rows));
}

}  // namespace bitmap_files
