// Writes the bitmap fuzzer's hand-made seeds into the folder given: a few valid files
// of each kind the loader takes, and headers broken in each way it must refuse, so the
// fuzzer starts next to every branch of the parser.
#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "bitmap_files.h"

namespace {

using bitmap_files::bmp;
using bitmap_files::Bytes;

// Padded rows of patterned pixels.
Bytes rows(int32_t width, int32_t height, uint16_t bits) {
    const uint32_t stride = (static_cast<uint32_t>(width) * bits + 31) / 32 * 4;
    Bytes out(std::size_t{stride} * static_cast<uint32_t>(height < 0 ? -height : height));
    for (std::size_t i = 0; i < out.size(); ++i) out[i] = static_cast<uint8_t>(i * 37);
    return out;
}

Bytes image(uint16_t bits, int32_t height = 2, uint32_t compression = 0, const Bytes& masks = {}) {
    return bmp(3, height, bits, compression, rows(3, height, bits), masks);
}

// `file` with `bytes` bytes at `at` set to `value`.
Bytes changed(Bytes file, std::size_t at, uint32_t value, int bytes) {
    bitmap_files::put(file, at, value, bytes);
    return file;
}

const Bytes kBgraMasks = {0, 0, 0xff, 0, 0, 0xff, 0, 0, 0xff, 0, 0, 0, 0, 0, 0, 0xff};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    const Bytes good = image(24);
    const Bytes threeMasks(kBgraMasks.begin(), kBgraMasks.begin() + 12);
    const std::vector<std::pair<std::string, Bytes>> seeds = {
        {"rgb24-bottom-up", good},
        {"rgb32-top-down", image(32, -2)},
        {"bitfields32-v3", image(32, 2, 3, threeMasks)},
        // A 56-byte info header carries the alpha mask too.
        {"bitfields32-alpha", changed(image(32, 2, 3, kBgraMasks), 14, 56, 4)},
        {"bad-magic", changed(good, 1, 'A', 1)},
        {"truncated-header", Bytes(good.begin(), good.begin() + 30)},
        {"truncated-pixels", Bytes(good.begin(), good.end() - 3)},
        {"offset-past-end", changed(good, 10, 0xfffffff0u, 4)},
        {"offset-in-header", changed(good, 10, 20, 4)},
        {"info-size-past-end", changed(good, 14, 0xffffffffu, 4)},
        {"old-core-header", changed(good, 14, 12, 4)},
        {"two-planes", changed(good, 26, 2, 2)},
        {"16-bit", image(16)},
        {"rle8", image(8, 2, 1)},
        {"bitfields-without-masks", image(32, 2, 3)},
        {"zero-width", changed(good, 18, 0, 4)},
        {"negative-width", changed(good, 18, static_cast<uint32_t>(-3), 4)},
        {"too-wide", changed(good, 18, 9000, 4)},
        {"most-negative-height", changed(good, 22, 0x80000000u, 4)},
    };
    for (const auto& [name, bytes] : seeds) {
        const std::string path = std::string(argv[1]) + "/" + name + ".bmp";
        if (!bitmap_files::writeFile(path, bytes)) {
            std::fprintf(stderr, "cannot write %s\n", path.c_str());
            return 1;
        }
    }
    return 0;
}
