// Writes the bitmap fuzzer's hand-made seeds into the folder given: a few valid files
// of each kind the loader takes, and headers broken in each way it must refuse, so the
// fuzzer starts next to every branch of the parser.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

void put(Bytes& b, std::size_t at, uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) b[at + i] = static_cast<uint8_t>(value >> (8 * i));
}

struct Header {
    int32_t width = 3, height = 2;
    uint16_t bits = 24;
    uint32_t compression = 0;
    uint32_t infoSize = 40;
    uint16_t planes = 1;
};

// A BMP with the given header (a positive width), its masks (BI_BITFIELDS) and rows of
// patterned pixels.
Bytes bmp(const Header& h, const Bytes& masks = {}) {
    const uint32_t absHeight = static_cast<uint32_t>(h.height < 0 ? -int64_t{h.height} : h.height);
    const uint32_t stride = (static_cast<uint32_t>(h.width) * h.bits + 31) / 32 * 4;
    Bytes b(14 + std::max<uint32_t>(h.infoSize, 40), 0);
    b[0] = 'B';
    b[1] = 'M';
    put(b, 14, h.infoSize, 4);
    put(b, 18, static_cast<uint32_t>(h.width), 4);
    put(b, 22, static_cast<uint32_t>(h.height), 4);
    put(b, 26, h.planes, 2);
    put(b, 28, h.bits, 2);
    put(b, 30, h.compression, 4);
    if (h.infoSize >= 56 && masks.size() >= 16) {
        for (std::size_t i = 0; i < 16; ++i) b[54 + i] = masks[i];
    } else {
        b.insert(b.end(), masks.begin(), masks.end());
    }
    put(b, 10, static_cast<uint32_t>(b.size()), 4);
    for (uint64_t i = 0; i < uint64_t{stride} * absHeight; ++i)
        b.push_back(static_cast<uint8_t>(i * 37));
    put(b, 2, static_cast<uint32_t>(b.size()), 4);
    return b;
}

const Bytes kBgraMasks = {0, 0, 0xff, 0, 0, 0xff, 0, 0, 0xff, 0, 0, 0, 0, 0, 0, 0xff};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    std::vector<std::pair<std::string, Bytes>> seeds;
    auto seed = [&](const std::string& name, Bytes bytes) { seeds.emplace_back(name, bytes); };
    auto with = [](Header h, auto change) {
        change(h);
        return h;
    };

    seed("rgb24-bottom-up", bmp({}));
    seed("rgb32-top-down", bmp(with({}, [](Header& h) {
             h.bits = 32;
             h.height = -2;
         })));
    seed("bitfields32-v3", bmp(with({},
                                    [](Header& h) {
                                        h.bits = 32;
                                        h.compression = 3;
                                    }),
                               Bytes(kBgraMasks.begin(), kBgraMasks.begin() + 12)));
    seed("bitfields32-v5-alpha", bmp(with({},
                                          [](Header& h) {
                                              h.bits = 32;
                                              h.compression = 3;
                                              h.infoSize = 124;
                                          }),
                                     kBgraMasks));

    Bytes good = bmp({});
    Bytes broken = good;
    broken[1] = 'A';
    seed("bad-magic", broken);
    seed("truncated-header", Bytes(good.begin(), good.begin() + 30));
    seed("truncated-pixels", Bytes(good.begin(), good.end() - 3));
    broken = good;
    put(broken, 10, 0xfffffff0u, 4);
    seed("offset-past-end", broken);
    broken = good;
    put(broken, 10, 20, 4);
    seed("offset-in-header", broken);
    broken = good;
    put(broken, 14, 0xffffffffu, 4);
    seed("info-size-past-end", broken);
    seed("old-core-header", bmp(with({}, [](Header& h) { h.infoSize = 12; })));
    seed("two-planes", bmp(with({}, [](Header& h) { h.planes = 2; })));
    seed("16-bit", bmp(with({}, [](Header& h) { h.bits = 16; })));
    seed("rle8", bmp(with({}, [](Header& h) {
             h.bits = 8;
             h.compression = 1;
         })));
    seed("bitfields-without-masks", bmp(with({}, [](Header& h) {
             h.bits = 32;
             h.compression = 3;
         })));
    broken = good;
    put(broken, 18, 0, 4);
    seed("zero-width", broken);
    broken = good;
    put(broken, 18, static_cast<uint32_t>(-3), 4);
    seed("negative-width", broken);
    broken = good;
    put(broken, 18, 9000, 4);
    seed("too-wide", broken);
    broken = good;
    put(broken, 22, 0x80000000u, 4);
    seed("most-negative-height", broken);

    for (const auto& [name, bytes] : seeds) {
        std::string path = std::string(argv[1]) + "/" + name + ".bmp";
        std::ofstream out(path, std::ios::binary);
        out.write(reinterpret_cast<const char*>(bytes.data()),
                  static_cast<std::streamsize>(bytes.size()));
        if (!out) {
            std::fprintf(stderr, "cannot write %s\n", path.c_str());
            return 1;
        }
    }
    return 0;
}
