// Writes the bitmap fuzzer's hand-made seeds into the folder given: a few valid files
// of each kind the loader takes, and the files broken in each way it must refuse, so the
// fuzzer starts next to every branch of the parser.
#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "bitmap_files.h"
#include "platform/broken_bitmaps.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    using bitmap_files::bmp;
    using bitmap_files::Bytes;
    // 3 x 2 patterned pixels: 24 bytes of rows at 24 bits (padded) and at 32.
    Bytes rows(24);
    for (std::size_t i = 0; i < rows.size(); ++i) rows[i] = static_cast<uint8_t>(i * 37);
    const Bytes bgraMasks = {0, 0, 0xff, 0, 0, 0xff, 0, 0, 0xff, 0, 0, 0, 0, 0, 0, 0xff};
    const Bytes threeMasks(bgraMasks.begin(), bgraMasks.begin() + 12);
    std::vector<std::pair<std::string, Bytes>> seeds = {
        {"rgb24-bottom-up", bmp(3, 2, 24, 0, rows)},
        {"rgb32-top-down", bmp(3, -2, 32, 0, rows)},
        {"bitfields32-v3", bmp(3, 2, 32, 3, rows, threeMasks)},
        // A 56-byte info header carries the alpha mask too.
        {"bitfields32-alpha",
         broken_bitmaps::changed(bmp(3, 2, 32, 3, rows, bgraMasks), 14, 56, 4)},
    };
    for (const broken_bitmaps::BrokenBitmap& b : broken_bitmaps::all())
        seeds.emplace_back(b.name, b.file);
    for (const auto& [name, bytes] : seeds) {
        const std::string path = std::string(argv[1]) + "/" + name + ".bmp";
        if (!bitmap_files::writeFile(path, bytes)) {
            std::fprintf(stderr, "cannot write %s\n", path.c_str());
            return 1;
        }
    }
    return 0;
}
