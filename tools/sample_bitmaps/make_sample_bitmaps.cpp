// Makes the project's sample bitmaps: the watermark logo and the privacy icon that the
// demo and the tests use. They are drawn here, byte for byte the same on every build,
// rather than kept as binaries nobody can review.
//
//   make_sample_bitmaps FOLDER    writes FOLDER/logo.bmp and FOLDER/icon.bmp
//
// logo.bmp: 200x100, 32-bit BGRA with straight alpha. A rounded badge whose alpha rises
//   from 0 to 255 over its outer 10 pixels, fully transparent outside it, and inside an
//   opaque blue-to-teal gradient with a white camera lens and a white bar. Every opaque
//   area is large and smooth, so that a picture's colour round trip through a video
//   codec keeps it comparable with the bitmap.
// icon.bmp: 160x120, 24-bit, opaque: an amber padlock on a flat dark blue background.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace {

struct Colour {
    uint8_t r, g, b;
};

// Top-down rows of BGRA pixels.
class Picture {
public:
    Picture(int width, int height)
        : mWidth(width), mHeight(height), mPixels(static_cast<size_t>(width) * height * 4) {}

    int width() const { return mWidth; }
    int height() const { return mHeight; }

    void set(int x, int y, Colour c, uint8_t alpha = 255) {
        uint8_t* p = &mPixels[(static_cast<size_t>(y) * mWidth + x) * 4];
        p[0] = c.b;
        p[1] = c.g;
        p[2] = c.r;
        p[3] = alpha;
    }
    const uint8_t* pixel(int x, int y) const {
        return &mPixels[(static_cast<size_t>(y) * mWidth + x) * 4];
    }

private:
    int mWidth;
    int mHeight;
    std::vector<uint8_t> mPixels;
};

// ---- BMP files ------------------------------------------------------------------------

class LittleEndian {
public:
    void u16(uint32_t v) { bytes(v, 2); }
    void u32(uint32_t v) { bytes(v, 4); }
    void zeros(size_t n) { mData.insert(mData.end(), n, 0); }
    void raw(const uint8_t* p, size_t n) { mData.insert(mData.end(), p, p + n); }
    const std::vector<uint8_t>& data() const { return mData; }

private:
    void bytes(uint32_t v, int n) {
        for (int i = 0; i < n; ++i) mData.push_back(static_cast<uint8_t>(v >> (8 * i)));
    }
    std::vector<uint8_t> mData;
};

constexpr uint32_t kFileHeaderSize = 14;
constexpr uint32_t kInfoHeaderSize = 40;  // BITMAPINFOHEADER, for 24-bit
constexpr uint32_t kV4HeaderSize = 108;   // BITMAPV4HEADER, whose masks name the alpha byte
constexpr uint32_t kBiRgb = 0;
constexpr uint32_t kBiBitfields = 3;
constexpr uint32_t kSrgbColourSpace = 0x73524742;  // 'sRGB'
constexpr uint32_t kPixelsPerMetre = 2835;         // 72 dpi

// A bottom-up BMP: 24-bit BI_RGB, or 32-bit BI_BITFIELDS with a V4 header whose alpha
// mask makes other readers keep the alpha channel too.
std::vector<uint8_t> encodeBmp(const Picture& picture, int bits) {
    const uint32_t infoSize = bits == 32 ? kV4HeaderSize : kInfoHeaderSize;
    const uint32_t stride = (static_cast<uint32_t>(picture.width()) * bits / 8 + 3) / 4 * 4;
    const uint32_t imageSize = stride * static_cast<uint32_t>(picture.height());
    const uint32_t dataOffset = kFileHeaderSize + infoSize;

    LittleEndian out;
    out.raw(reinterpret_cast<const uint8_t*>("BM"), 2);
    out.u32(dataOffset + imageSize);
    out.u32(0);  // reserved
    out.u32(dataOffset);

    out.u32(infoSize);
    out.u32(static_cast<uint32_t>(picture.width()));
    out.u32(static_cast<uint32_t>(picture.height()));  // positive: bottom-up
    out.u16(1);                                        // planes
    out.u16(static_cast<uint32_t>(bits));
    out.u32(bits == 32 ? kBiBitfields : kBiRgb);
    out.u32(imageSize);
    out.u32(kPixelsPerMetre);
    out.u32(kPixelsPerMetre);
    out.u32(0);  // colours used
    out.u32(0);  // important colours
    if (bits == 32) {
        out.u32(0x00ff0000);  // red
        out.u32(0x0000ff00);  // green
        out.u32(0x000000ff);  // blue
        out.u32(0xff000000);  // alpha
        out.u32(kSrgbColourSpace);
        out.zeros(36 + 12);  // end points and gamma, unused for sRGB
    }

    const size_t step = static_cast<size_t>(bits) / 8;
    for (int y = picture.height() - 1; y >= 0; --y) {
        for (int x = 0; x < picture.width(); ++x) out.raw(picture.pixel(x, y), step);
        out.zeros(stride - static_cast<uint32_t>(picture.width()) * step);
    }
    return out.data();
}

bool writeFile(const std::string& path, const std::vector<uint8_t>& bytes) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file) {
        std::perror(path.c_str());
        return false;
    }
    const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    const bool closed = std::fclose(file) == 0;
    if (!written || !closed) std::fprintf(stderr, "%s: write failed\n", path.c_str());
    return written && closed;
}

// ---- Shapes ------------------------------------------------------------------------------

double clamp01(double v) { return std::min(1.0, std::max(0.0, v)); }

// Plain sqrt, not hypot: sqrt is exactly rounded everywhere, so the bytes do not depend
// on the processor or the C library.
double distance(double px, double py, double cx, double cy) {
    return std::sqrt((px - cx) * (px - cx) + (py - cy) * (py - cy));
}

// Signed distance from (px, py) to a rounded rectangle: negative inside.
double roundedRectDistance(double px, double py, double left, double top, double right,
                           double bottom, double radius) {
    const double cx = std::max(left + radius, std::min(px, right - radius));
    const double cy = std::max(top + radius, std::min(py, bottom - radius));
    return distance(px, py, cx, cy) - radius;
}

double circleDistance(double px, double py, double cx, double cy, double radius) {
    return distance(px, py, cx, cy) - radius;
}

// How much of a pixel a shape covers, from its signed distance: a 2-pixel soft edge,
// so that shapes have no hard 1-pixel steps.
double coverage(double distance) { return clamp01(0.5 - distance / 2.0); }

Colour mix(Colour a, Colour b, double t) {
    auto channel = [t](uint8_t from, uint8_t to) {
        return static_cast<uint8_t>(std::lround(from + (to - from) * t));
    };
    return {channel(a.r, b.r), channel(a.g, b.g), channel(a.b, b.b)};
}

// ---- The logo ------------------------------------------------------------------------------

constexpr int kLogoWidth = 200;
constexpr int kLogoHeight = 100;
constexpr double kBadgeInset = 2;  // fully transparent pixels around the badge
constexpr double kBadgeRadius = 30;
constexpr double kSoftEdge = 10;  // alpha rises from 0 to 255 over this many pixels
constexpr Colour kBadgeLeft = {24, 84, 196};
constexpr Colour kBadgeRight = {16, 164, 148};
constexpr Colour kWhite = {240, 240, 240};
constexpr Colour kLensCentre = {16, 40, 96};

Picture makeLogo() {
    Picture logo(kLogoWidth, kLogoHeight);
    for (int y = 0; y < kLogoHeight; ++y) {
        for (int x = 0; x < kLogoWidth; ++x) {
            const double px = x + 0.5;
            const double py = y + 0.5;
            const double badge =
                roundedRectDistance(px, py, kBadgeInset, kBadgeInset, kLogoWidth - kBadgeInset,
                                    kLogoHeight - kBadgeInset, kBadgeRadius);
            const double alpha = clamp01(-badge / kSoftEdge);
            Colour c = mix(kBadgeLeft, kBadgeRight, px / kLogoWidth);
            // A lens: a white ring around a dark centre, and a white bar beside it.
            c = mix(c, kWhite, coverage(circleDistance(px, py, 62, 50, 28)));
            c = mix(c, kLensCentre, coverage(circleDistance(px, py, 62, 50, 15)));
            c = mix(c, kWhite, coverage(roundedRectDistance(px, py, 104, 38, 172, 62, 8)));
            logo.set(x, y, c, static_cast<uint8_t>(std::lround(alpha * 255)));
        }
    }
    return logo;
}

// ---- The icon ------------------------------------------------------------------------------

constexpr int kIconWidth = 160;
constexpr int kIconHeight = 120;
constexpr Colour kIconBackground = {28, 44, 92};
constexpr Colour kLockBody = {240, 176, 32};
constexpr Colour kShackle = {200, 204, 212};

// Flat colours with hard edges: every pixel is one of the four colours.
Picture makeIcon() {
    Picture icon(kIconWidth, kIconHeight);
    for (int y = 0; y < kIconHeight; ++y) {
        for (int x = 0; x < kIconWidth; ++x) {
            const double px = x + 0.5;
            const double py = y + 0.5;
            Colour c = kIconBackground;
            // The shackle: the upper half of a ring, with legs down into the body.
            const double ring = distance(px, py, 80, 48);
            const bool upper = py <= 48 && ring >= 18 && ring <= 28;
            const bool legs =
                py > 48 && py < 60 && ((px >= 52 && px <= 62) || (px >= 98 && px <= 108));
            if (upper || legs) c = kShackle;
            if (roundedRectDistance(px, py, 40, 58, 120, 108, 8) <= 0) c = kLockBody;
            // The keyhole: a round head and a slot, in the background colour.
            if (distance(px, py, 80, 78) <= 7 || (px >= 77 && px <= 83 && py >= 78 && py <= 96))
                c = kIconBackground;
            icon.set(x, y, c);
        }
    }
    return icon;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    const std::string folder = argv[1];
    const bool ok = writeFile(folder + "/logo.bmp", encodeBmp(makeLogo(), 32)) &&
                    writeFile(folder + "/icon.bmp", encodeBmp(makeIcon(), 24));
    return ok ? 0 : 1;
}
