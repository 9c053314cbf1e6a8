#include "video/picture_look.h"

#include <algorithm>
#include <cmath>

namespace host::video {
namespace {

constexpr int kNeutral = 128;
constexpr double kPi = 3.14159265358979323846;

uint8_t clampByte(double value) {
    return static_cast<uint8_t>(std::clamp(std::lround(value), 0L, 255L));
}

bool sameShade(const PictureLook& a, const PictureLook& b) {
    return a.brightness == b.brightness && a.contrast == b.contrast &&
           a.saturation == b.saturation && a.hue == b.hue && a.gray == b.gray;
}

// Swaps a plane's rows top for bottom and/or reverses each row in place.
void flipPlane(uint8_t* plane, uint32_t width, uint32_t height, bool mirror, bool upsideDown) {
    if (mirror)
        for (uint32_t row = 0; row < height; ++row)
            std::reverse(plane + std::size_t{row} * width, plane + std::size_t{row + 1} * width);
    if (upsideDown)
        for (uint32_t top = 0, bottom = height - 1; top < bottom; ++top, --bottom)
            std::swap_ranges(plane + std::size_t{top} * width, plane + std::size_t{top + 1} * width,
                             plane + std::size_t{bottom} * width);
}

}  // namespace

Yuv PictureLook::shade(Yuv colour) const {
    // Contrast spreads luma around mid-gray, brightness shifts it; saturation scales the
    // chroma vector and hue turns it, up to half a turn either way.
    double luma =
        (colour.y - kNeutral) * (contrast / double(kNeutral)) + kNeutral + (brightness - kNeutral);
    if (gray) return {clampByte(luma), kNeutral, kNeutral};
    double gain = saturation / double(kNeutral);
    double angle = (hue - kNeutral) * kPi / kNeutral;
    double cb = colour.u - kNeutral;
    double cr = colour.v - kNeutral;
    double u = (cb * std::cos(angle) - cr * std::sin(angle)) * gain + kNeutral;
    double v = (cb * std::sin(angle) + cr * std::cos(angle)) * gain + kNeutral;
    return {clampByte(luma), clampByte(u), clampByte(v)};
}

bool PictureLook::neutralShade() const { return sameShade(*this, PictureLook{}); }

void LookApplier::rebuildTables(const PictureLook& look) {
    for (int y = 0; y < 256; ++y)
        mLuma[y] = look.shade({static_cast<uint8_t>(y), kNeutral, kNeutral}).y;
    for (int cb = 0; cb < 256; ++cb)
        for (int cr = 0; cr < 256; ++cr) {
            Yuv shaded = look.shade({kNeutral, static_cast<uint8_t>(cb), static_cast<uint8_t>(cr)});
            mCb[cb << 8 | cr] = shaded.u;
            mCr[cb << 8 | cr] = shaded.v;
        }
    mTablesFor = look;
    mTablesBuilt = true;
}

void LookApplier::apply(const PictureLook& look, Frame& frame) {
    if (!frame.valid()) return;
    if (!look.neutralShade()) {
        if (!mTablesBuilt || !sameShade(look, mTablesFor)) rebuildTables(look);
        uint8_t* y = frame.y();
        for (std::size_t i = 0; i < frame.lumaSize(); ++i) y[i] = mLuma[y[i]];
        uint8_t* u = frame.u();
        uint8_t* v = frame.v();
        for (std::size_t i = 0; i < frame.chromaSize(); ++i) {
            const int index = u[i] << 8 | v[i];
            u[i] = mCb[index];
            v[i] = mCr[index];
        }
    }
    if (!look.mirror && !look.upsideDown) return;
    flipPlane(frame.y(), frame.width, frame.height, look.mirror, look.upsideDown);
    flipPlane(frame.u(), frame.chromaWidth(), frame.chromaHeight(), look.mirror, look.upsideDown);
    flipPlane(frame.v(), frame.chromaWidth(), frame.chromaHeight(), look.mirror, look.upsideDown);
}

}  // namespace host::video
