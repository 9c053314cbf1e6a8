#include "module/bitmap.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "log/host_log.h"

namespace module {

namespace {

// Byte offsets in the file: a 14-byte file header, then an info header of at
// least 40 bytes, whose larger versions carry the channel masks at the offsets
// where a 40-byte header with BI_BITFIELDS keeps them after itself.
constexpr size_t kFileHeaderSize = 14;
constexpr size_t kMinInfoSize = 40;
constexpr size_t kMasksOffset = kFileHeaderSize + kMinInfoSize;
constexpr size_t kAlphaMaskOffset = kMasksOffset + 12;
constexpr size_t kPrefixSize = kAlphaMaskOffset + 4;

constexpr uint32_t kBiRgb = 0;
constexpr uint32_t kBiBitfields = 3;

uint16_t le16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | p[1] << 8); }

uint32_t le32(const uint8_t* p) {
    return uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24;
}

// Where the pixels are and how to convert them.
struct Layout {
    uint32_t width = 0;
    uint32_t height = 0;
    bool bottomUp = true;
    uint16_t bits = 0;
    bool alphaChannel = false;  // the fourth byte of a 32-bit pixel may be alpha
    uint64_t dataOffset = 0;
    uint32_t stride = 0;  // bytes per row in the file, padded to 4
};

class BmpFile {
public:
    explicit BmpFile(const char* path) : mStream(path, std::ios::binary) {
        if (!mStream) {
            mOpenError = errno != 0 ? errno : EIO;
            return;
        }
        mStream.seekg(0, std::ios::end);
        const std::streamoff end = mStream.tellg();
        mSize = end > 0 ? static_cast<uint64_t>(end) : 0;
    }

    bool IsOpen() const { return mOpenError == 0; }
    int OpenError() const { return mOpenError; }
    uint64_t Size() const { return mSize; }

    bool ReadAt(uint64_t offset, uint8_t* dest, size_t n) {
        if (offset > mSize || n > mSize - offset) return false;
        mStream.clear();
        mStream.seekg(static_cast<std::streamoff>(offset));
        mStream.read(reinterpret_cast<char*>(dest), static_cast<std::streamsize>(n));
        return mStream.gcount() == static_cast<std::streamsize>(n);
    }

private:
    std::ifstream mStream;
    int mOpenError = 0;
    uint64_t mSize = 0;
};

// Why a file is refused; empty while it is not.
using Refusal = std::string;

// Only the standard BGRA layout is taken from BI_BITFIELDS files.
Refusal parseMasks(const uint8_t* prefix, uint32_t infoSize, Layout* layout) {
    const Refusal other = "32-bit pixels with masks other than BGRA are not supported";
    if (le32(prefix + kMasksOffset) != 0x00ff0000 ||
        le32(prefix + kMasksOffset + 4) != 0x0000ff00 ||
        le32(prefix + kMasksOffset + 8) != 0x000000ff)
        return other;
    if (infoSize < kAlphaMaskOffset + 4 - kFileHeaderSize) return {};
    const uint32_t alphaMask = le32(prefix + kAlphaMaskOffset);
    if (alphaMask != 0 && alphaMask != 0xff000000) return other;
    layout->alphaChannel = alphaMask != 0;
    return {};
}

Refusal parseDimensions(const uint8_t* prefix, Layout* layout) {
    const auto width = static_cast<int32_t>(le32(prefix + 18));
    const auto height = static_cast<int64_t>(static_cast<int32_t>(le32(prefix + 22)));
    const int64_t absHeight = height < 0 ? -height : height;
    if (width <= 0 || static_cast<uint32_t>(width) > kMaxBitmapSide || absHeight == 0 ||
        absHeight > kMaxBitmapSide)
        return std::to_string(width) + " x " + std::to_string(absHeight) +
               " pixels are not supported (sides of 1 to " + std::to_string(kMaxBitmapSide) + ")";
    layout->width = static_cast<uint32_t>(width);
    layout->height = static_cast<uint32_t>(absHeight);
    layout->bottomUp = height > 0;
    return {};
}

Refusal parseFormat(const uint8_t* prefix, size_t got, uint32_t infoSize, Layout* layout,
                    uint64_t* headersEnd) {
    const uint32_t compression = le32(prefix + 30);
    layout->bits = le16(prefix + 28);
    if (layout->bits != 24 && layout->bits != 32)
        return std::to_string(layout->bits) + "-bit pixels are not supported (24 or 32)";
    if (compression == kBiRgb) {
        layout->alphaChannel = layout->bits == 32;
        return {};
    }
    if (layout->bits != 32 || compression != kBiBitfields)
        return "compression " + std::to_string(compression) +
               " is not supported (uncompressed, or 32-bit with BGRA masks)";
    // The masks follow a plain 40-byte header, and end before the pixels.
    if (*headersEnd < kAlphaMaskOffset) *headersEnd = kAlphaMaskOffset;
    layout->alphaChannel = true;
    if (got < kAlphaMaskOffset) return "truncated: the file ends within its masks";
    return parseMasks(prefix, infoSize, layout);
}

Refusal parseHeaders(BmpFile& file, Layout* layout) {
    uint8_t prefix[kPrefixSize] = {};
    const size_t got = file.Size() < kPrefixSize ? static_cast<size_t>(file.Size()) : kPrefixSize;
    if (got < kMasksOffset || !file.ReadAt(0, prefix, got))
        return "truncated: " + std::to_string(file.Size()) + " bytes, shorter than the headers";
    if (prefix[0] != 'B' || prefix[1] != 'M') return "not a BMP file (no \"BM\" at its start)";

    const uint32_t infoSize = le32(prefix + 14);
    if (infoSize < kMinInfoSize || le16(prefix + 26) != 1)
        return "unsupported header (an info header of 40 bytes or more, one plane)";
    if (Refusal why = parseDimensions(prefix, layout); !why.empty()) return why;
    uint64_t headersEnd = kFileHeaderSize + uint64_t{infoSize};
    if (Refusal why = parseFormat(prefix, got, infoSize, layout, &headersEnd); !why.empty())
        return why;

    layout->dataOffset = le32(prefix + 10);
    layout->stride = (layout->width * layout->bits + 31) / 32 * 4;
    const uint64_t dataSize = uint64_t{layout->stride} * layout->height;
    const std::string size = ", the file has " + std::to_string(file.Size());
    if (headersEnd > file.Size())
        return "truncated: the headers need " + std::to_string(headersEnd) + " bytes" + size;
    if (layout->dataOffset < headersEnd || layout->dataOffset > file.Size())
        return "the pixels' offset " + std::to_string(layout->dataOffset) +
               " lies outside the file past its headers (" + std::to_string(headersEnd) + " to " +
               std::to_string(file.Size()) + ")";
    if (dataSize > file.Size() - layout->dataOffset)
        return "truncated: the pixels need " + std::to_string(dataSize) + " bytes from offset " +
               std::to_string(layout->dataOffset) + size;
    return {};
}

void convertRow(const uint8_t* in, uint8_t* out, const Layout& layout, bool* sawAlpha) {
    const size_t step = layout.bits / 8;
    for (uint32_t x = 0; x < layout.width; ++x, in += step, out += 4) {
        out[0] = in[0];
        out[1] = in[1];
        out[2] = in[2];
        out[3] = layout.alphaChannel ? in[3] : 0xff;
        if (out[3] != 0) *sawAlpha = true;
    }
}

// Many tools leave the alpha byte of 32-bit files 0: such a picture is opaque.
void makeOpaque(Buf& pixels) {
    uint8_t* p = pixels.Data();
    for (uint32_t i = 3; i < pixels.size; i += 4) p[i] = 0xff;
}

std::shared_ptr<Buf> readPixels(BmpFile& file, const Layout& layout) {
    auto pixels = std::make_shared<Buf>();
    const uint32_t outStride = layout.width * 4;
    pixels->Malloc(outStride * layout.height);
    if (!pixels->block) return nullptr;
    pixels->size = pixels->capacity;

    std::vector<uint8_t> row(layout.stride);
    bool sawAlpha = false;
    for (uint32_t y = 0; y < layout.height; ++y) {
        if (!file.ReadAt(layout.dataOffset + uint64_t{y} * layout.stride, row.data(), row.size()))
            return nullptr;
        const uint32_t outRow = layout.bottomUp ? layout.height - 1 - y : y;
        convertRow(row.data(), pixels->Data() + size_t{outRow} * outStride, layout, &sawAlpha);
    }
    if (!sawAlpha) makeOpaque(*pixels);
    return pixels;
}

std::shared_ptr<Buf> refuse(const char* path, const std::string& why) {
    host::log::report(host::log::kWarning, "GetPureBitmap(\"%s\"): %s", path, why.c_str());
    return nullptr;
}

}  // namespace

std::shared_ptr<Buf> GetPureBitmap(const char* path, BmpInfo* info) {
    if (info) std::memset(info, 0, sizeof(*info));
    if (!path) return refuse("(null)", "no path given");
    if (!info) return refuse(path, "no BmpInfo given for what it finds");

    BmpFile file(path);
    if (!file.IsOpen()) return refuse(path, std::strerror(file.OpenError()));
    Layout layout;
    if (Refusal why = parseHeaders(file, &layout); !why.empty()) return refuse(path, why);
    std::shared_ptr<Buf> pixels = readPixels(file, layout);
    if (!pixels) return refuse(path, "cannot read its pixels (out of memory, or a read failed)");

    info->width = layout.width;
    info->height = layout.height;
    info->format = kBitmapFormatBgra8888;
    info->bits = static_cast<uint8_t>(layout.bits);
    return pixels;
}

}  // namespace module
