// BMP files written by the tests for the library's logo and icon loaders: one colour,
// 24-bit (opaque) or 32-bit with an alpha byte, rows bottom-up as most tools write them.
#pragma once

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

inline void writeBitmapFile(const std::string& path, uint32_t width, uint32_t height,
                            uint16_t bits, uint8_t blue = 40, uint8_t green = 160,
                            uint8_t red = 220, uint8_t alpha = 255) {
    const uint32_t stride = (width * bits / 8 + 3) / 4 * 4;
    const uint32_t dataOffset = 54;
    std::vector<uint8_t> file(dataOffset + std::size_t{stride} * height, 0);
    auto put = [&file](std::size_t at, uint32_t value, int bytes) {
        for (int i = 0; i < bytes; ++i) file[at + i] = static_cast<uint8_t>(value >> (8 * i));
    };
    file[0] = 'B';
    file[1] = 'M';
    put(2, static_cast<uint32_t>(file.size()), 4);
    put(10, dataOffset, 4);
    put(14, 40, 4);  // info header size
    put(18, width, 4);
    put(22, height, 4);
    put(26, 1, 2);  // planes
    put(28, bits, 2);
    for (uint32_t row = 0; row < height; ++row) {
        uint8_t* pixel = &file[dataOffset + std::size_t{stride} * row];
        for (uint32_t x = 0; x < width; ++x, pixel += bits / 8) {
            pixel[0] = blue;
            pixel[1] = green;
            pixel[2] = red;
            if (bits == 32) pixel[3] = alpha;
        }
    }
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(file.data()), static_cast<std::streamsize>(file.size()));
}
