#include "video/test_pattern.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "video/text_renderer.h"

namespace host::video {
namespace {

constexpr int kNeutral = 128;
constexpr double kPi = 3.14159265358979323846;

// Bars from bright to dark, so a mirrored picture shows at once: the left edge is white,
// the right edge black.
constexpr Yuv kBars[] = {
    yuvFromRgb(255, 255, 255), yuvFromRgb(255, 255, 0), yuvFromRgb(0, 255, 255),
    yuvFromRgb(0, 255, 0),     yuvFromRgb(255, 0, 255), yuvFromRgb(255, 0, 0),
    yuvFromRgb(0, 0, 255),     yuvFromRgb(0, 0, 0),
};
constexpr int kBarCount = sizeof(kBars) / sizeof(kBars[0]);
constexpr Yuv kBackground = yuvFromRgb(48, 48, 48);
constexpr Yuv kBox = yuvFromRgb(255, 144, 0);
constexpr Yuv kText = yuvFromRgb(255, 255, 255);

// Where things go, in hundredths of the height. The band above the bars and the rows
// below the counter stay plain, for a timestamp drawn over the picture later.
constexpr uint32_t kBarsTop = 12;
constexpr uint32_t kBarsBottom = 60;
constexpr uint32_t kBoxTop = 64;
constexpr uint32_t kBoxSide = 12;
constexpr uint32_t kCounterTop = 78;
// The counter's font size is the height over this.
constexpr uint32_t kCounterScale = 14;
// The box crosses the frame in this many pictures, then comes back.
constexpr uint32_t kBoxCrossing = 100;

uint8_t clampByte(double value) {
    return static_cast<uint8_t>(std::clamp(std::lround(value), 0L, 255L));
}

int percentOf(uint32_t side, uint32_t percent) { return static_cast<int>(side * percent / 100); }

// Draws in scene coordinates: maps each shape to where a flipped sensor would show it
// and shades each colour by the look.
class Canvas {
public:
    Canvas(Frame& frame, const PictureLook& look) : mFrame(frame), mLook(look) {}

    int width() const { return static_cast<int>(mFrame.width); }
    int height() const { return static_cast<int>(mFrame.height); }

    void fill(int x, int y, int w, int h, Yuv colour) {
        fillRect(mFrame, mapX(x, w), mapY(y, h), w, h, mLook.shade(colour));
    }

    void blend(const AlphaMask& mask, int x, int y, Yuv colour) {
        int w = static_cast<int>(mask.width);
        int h = static_cast<int>(mask.height);
        blendMask(mFrame, mask, mapX(x, w), mapY(y, h), mLook.shade(colour),
                  MaskFlip{mLook.mirror, mLook.upsideDown});
    }

private:
    int mapX(int x, int w) const { return mLook.mirror ? width() - x - w : x; }
    int mapY(int y, int h) const { return mLook.upsideDown ? height() - y - h : y; }

    Frame& mFrame;
    const PictureLook& mLook;
};

// The box's left edge: back and forth across the frame, on even columns so its chroma
// lines up with its luma.
int boxPosition(uint64_t frameNumber, int travel) {
    if (travel <= 0) return 0;
    uint64_t step = std::max<uint64_t>(2, static_cast<uint64_t>(travel) / kBoxCrossing);
    auto t = static_cast<int>(frameNumber * step % (2 * static_cast<uint64_t>(travel)));
    int x = t <= travel ? t : 2 * travel - t;
    return x & ~1;
}

uint32_t counterFontSize(uint32_t height) {
    uint32_t size = height / kCounterScale & ~1u;
    return std::clamp(size, kMinFontSize, kMaxFontSize);
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

void TestPattern::render(uint64_t frameNumber, const PictureLook& look, Frame& frame) {
    if (!frame.valid()) return;
    Canvas canvas(frame, look);
    const int w = canvas.width();
    const int h = canvas.height();
    const int barsTop = percentOf(frame.height, kBarsTop);
    const int barsBottom = percentOf(frame.height, kBarsBottom);

    canvas.fill(0, 0, w, barsTop, kBackground);
    for (int i = 0; i < kBarCount; ++i) {
        int left = w * i / kBarCount;
        int right = w * (i + 1) / kBarCount;
        canvas.fill(left, barsTop, right - left, barsBottom - barsTop, kBars[i]);
    }
    canvas.fill(0, barsBottom, w, h - barsBottom, kBackground);

    const int boxSide = std::max(2, percentOf(frame.height, kBoxSide) & ~1);
    canvas.fill(boxPosition(frameNumber, w - boxSide), percentOf(frame.height, kBoxTop), boxSide,
                boxSide, kBox);

    char counter[32];
    int length = std::snprintf(counter, sizeof counter, "frame %06llu",
                               static_cast<unsigned long long>(frameNumber));
    if (textRenderer().render(counter, static_cast<std::size_t>(length),
                              counterFontSize(frame.height), &mCounter) == 0) {
        int x = (w - static_cast<int>(mCounter.width)) / 2;
        canvas.blend(mCounter, x, percentOf(frame.height, kCounterTop), kText);
    }
}

}  // namespace host::video
