#include "video/test_pattern.h"

#include <algorithm>
#include <cstdio>

#include "video/text_renderer.h"

namespace host::video {
namespace {

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
constexpr Yuv kNoticeBackground = yuvFromRgb(0, 0, 0);

// Where things go, in hundredths of the height. The band above the bars and the rows
// below the counter stay plain, for a timestamp drawn over the picture later.
constexpr uint32_t kBarsTop = 12;
constexpr uint32_t kBarsBottom = 60;
constexpr uint32_t kBoxTop = 64;
constexpr uint32_t kBoxSide = 12;
constexpr uint32_t kCounterTop = 78;
// The counter's font size is the height over this.
constexpr uint32_t kCounterScale = 14;
// The notice's font size is the height over this, made smaller to fit the width, and
// its top in hundredths of the height (across the bars, below their middle).
constexpr uint32_t kNoticeScale = 20;
constexpr uint32_t kNoticeTop = 44;
// The box crosses the frame in this many pictures, then comes back.
constexpr uint32_t kBoxCrossing = 100;

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

void TestPattern::render(uint64_t frameNumber, const PictureLook& look, Frame& frame,
                         const std::string& notice) {
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
    if (!notice.empty()) drawNotice(notice, frame);
}

// Written as it stands, neither shaded nor flipped, so that it stays readable whatever
// the settings: white on a black band.
void TestPattern::drawNotice(const std::string& notice, Frame& frame) {
    if (notice != mNoticeText || frame.width != mNoticeFrameWidth) {
        mNoticeText = notice;
        mNoticeFrameWidth = frame.width;
        // Each character is half the font size wide: shrink the font until the line fits.
        const uint32_t fitting = 2 * (frame.width - 8) / std::max<std::size_t>(notice.size(), 1);
        uint32_t size = std::min({frame.height / kNoticeScale, fitting, kMaxFontSize}) & ~1u;
        if (size < kMinFontSize ||
            textRenderer().render(notice.data(), notice.size(), size, &mNotice) != 0)
            mNotice = {};
    }
    if (mNotice.width == 0) return;
    const int x = (static_cast<int>(frame.width) - static_cast<int>(mNotice.width)) / 2;
    const int y = percentOf(frame.height, kNoticeTop);
    fillRect(frame, x - 4, y - 2, static_cast<int>(mNotice.width) + 8,
             static_cast<int>(mNotice.height) + 4, kNoticeBackground);
    blendMask(frame, mNotice, x, y, kText);
}

}  // namespace host::video
