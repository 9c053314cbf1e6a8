// The watermark logo and the privacy mode in the real pipeline: snapshots decoded by
// ffmpeg and compared, pixel by pixel, with the sample bitmaps the build makes and with
// the picture beneath.
#include <array>
#include <cmath>

#include "e2e/e2e_fixture.h"
#include "module/bitmap.h"

namespace {

using namespace e2e;

// A sample bitmap as the loader gives it: BGRA, rows top-down.
struct Bitmap {
    uint32_t width = 0, height = 0;
    std::shared_ptr<module::Buf> pixels;
    const uint8_t* at(int x, int y) const {
        return pixels->Data() + (std::size_t(y) * width + x) * 4;
    }
};

Bitmap loadSample(const char* name) {
    module::BmpInfo info{};
    Bitmap bitmap;
    bitmap.pixels =
        module::GetPureBitmap((std::string(KQ_SAMPLE_BITMAP_DIR "/") + name).c_str(), &info);
    bitmap.width = info.width;
    bitmap.height = info.height;
    return bitmap;
}

// Mean absolute difference per colour component between `picture` and `expected(bx, by)`
// over the bitmap pixels `wanted(bx, by)` picks, the bitmap placed at (x, y); NaN when
// none is picked.
template <typename Wanted, typename Expected>
double meanError(const Rgb& picture, const Bitmap& bitmap, int x, int y, Wanted wanted,
                 Expected expected) {
    double sum = 0;
    long count = 0;
    for (int by = 0; by < int(bitmap.height); ++by)
        for (int bx = 0; bx < int(bitmap.width); ++bx) {
            if (!wanted(bx, by)) continue;
            const uint8_t* got = picture.at(x + bx, y + by);
            std::array<double, 3> want = expected(bx, by);
            for (int c = 0; c < 3; ++c) sum += std::abs(got[c] - want[c]);
            ++count;
        }
    return count ? sum / (3.0 * count) : NAN;
}

// Whether every alpha of the 3x3 neighbourhood of (bx, by) is `alpha` (outside counts
// as transparent): away from the edges, where 4:2:0 chroma mixes neighbours.
bool alphaAround(const Bitmap& bitmap, int bx, int by, uint8_t alpha) {
    for (int dy = -1; dy <= 1; ++dy)
        for (int dx = -1; dx <= 1; ++dx) {
            int nx = bx + dx, ny = by + dy;
            bool inside = nx >= 0 && ny >= 0 && nx < int(bitmap.width) && ny < int(bitmap.height);
            if ((inside ? bitmap.at(nx, ny)[3] : 0) != alpha) return false;
        }
    return true;
}

// The bitmap's colour at a pixel, RGB.
std::array<double, 3> colourOf(const Bitmap& bitmap, int bx, int by) {
    const uint8_t* p = bitmap.at(bx, by);
    return {double(p[2]), double(p[1]), double(p[0])};
}

// Snapshots are taken at quality 95, and every comparison allows for the colour round
// trip: RGB to full-range YUV, 4:2:0 chroma, JPEG, and back to RGB in ffmpeg. That
// costs about 2.3 per component inside the logo, 2.7 on its soft edge, 0.5 through
// its transparent corners and 1.4 inside the icon.
constexpr int kQuality = 95;
constexpr double kTolerance = 6.0;

class OverlayPictureTest : public PipelineTest {};

struct LogoPlace {
    int option;
    int x, y;  // where the library places a 200x100 logo on 1280x720
};

class LogoPictureTest : public OverlayPictureTest,
                        public ::testing::WithParamInterface<LogoPlace> {};

TEST_P(LogoPictureTest, LogoShowsWhereThePipePlacedItBlendedByItsAlpha) {
    REQUIRE_TOOL("ffmpeg");
    const Bitmap logo = loadSample("logo.bmp");
    ASSERT_TRUE(logo.pixels);
    startStream(0, mjpeg(1280, 720, 10));
    Rgb under = decode(snapshot(0, "under.jpg", kQuality), 1280, 720);

    kq_watermark_setup_logo(0, KQ_SAMPLE_BITMAP_DIR "/logo.bmp");
    kq_watermark_setup_position(0, GetParam().option);
    ASSERT_EQ(kq_watermark_enable(0, 1), 0);
    ASSERT_THAT(drawnImages(), ::testing::ElementsAre(DrawnImage{GetParam().x, GetParam().y, 1}));
    waitForFreshPictures(0);
    Rgb shown = decode(snapshot(0, "logo.jpg", kQuality), 1280, 720);
    ASSERT_FALSE(under.pixels.empty());
    ASSERT_FALSE(shown.pixels.empty());

    const int x = GetParam().x, y = GetParam().y;
    // What the picture should hold: the logo over the picture beneath, by its alpha.
    auto blended = [&](int bx, int by) {
        const double a = logo.at(bx, by)[3] / 255.0;
        std::array<double, 3> over = colourOf(logo, bx, by);
        const uint8_t* below = under.at(x + bx, y + by);
        for (int c = 0; c < 3; ++c) over[c] = a * over[c] + (1 - a) * below[c];
        return over;
    };
    auto opaque = [&](int bx, int by) { return alphaAround(logo, bx, by, 255); };
    auto clear = [&](int bx, int by) { return alphaAround(logo, bx, by, 0); };
    auto edge = [&](int bx, int by) { return !opaque(bx, by) && !clear(bx, by); };
    EXPECT_LE(meanError(shown, logo, x, y, opaque, blended), kTolerance)
        << "the logo's own colours";
    EXPECT_LE(meanError(shown, logo, x, y, clear, blended), kTolerance)
        << "the picture through the transparent corners";
    EXPECT_LE(meanError(shown, logo, x, y, edge, blended), kTolerance) << "the soft edge";
    // And the logo is really there: its colours are far from the picture beneath.
    auto beneath = [&](int bx, int by) {
        const uint8_t* below = under.at(x + bx, y + by);
        return std::array<double, 3>{double(below[0]), double(below[1]), double(below[2])};
    };
    EXPECT_GT(meanError(shown, logo, x, y, opaque, beneath), 5 * kTolerance);
}

INSTANTIATE_TEST_SUITE_P(Options, LogoPictureTest,
                         ::testing::Values(LogoPlace{KQ_POS_TOP_RIGHT, 1075, 5},
                                           LogoPlace{KQ_POS_BOTTOM_RIGHT, 1075, 615},
                                           LogoPlace{KQ_POS_BOTTOM_CENTER, 540, 615}));

// A rectangle of the picture, widened by a margin that JPEG's blocks smear over.
struct Area {
    int x0, y0, x1, y1;
    bool contains(int x, int y) const { return x >= x0 && x < x1 && y >= y0 && y < y1; }
};

TEST_F(OverlayPictureTest, PrivacyMasksAllButTheIconAndTheTimestampUntilSwitchedOff) {
    REQUIRE_TOOL("ffmpeg");
    const Bitmap icon = loadSample("icon.bmp");
    ASSERT_TRUE(icon.pixels);
    startStream(1, mjpeg(640, 360, 10));
    kq_enable_osd(1, 1);
    ASSERT_TRUE(pollUntil([] { return !hostctl::calls("set_osd_text").empty(); }, 10000));
    Rgb before = decode(snapshot(1, "before.jpg", kQuality), 640, 360);

    ASSERT_EQ(kq_privacy_setup_icon(1, KQ_SAMPLE_BITMAP_DIR "/icon.bmp"), 0);
    ASSERT_EQ(kq_enable_privacy_mode(1, 1), 0);
    waitForFreshPictures(1);
    Rgb masked = decode(snapshot(1, "masked.jpg", kQuality), 640, 360);
    ASSERT_FALSE(before.pixels.empty());
    ASSERT_FALSE(masked.pixels.empty());

    // The icon, centred, as it is.
    const int iconX = (640 - int(icon.width)) / 2, iconY = (360 - int(icon.height)) / 2;
    auto inner = [&](int bx, int by) {
        return bx >= 2 && by >= 2 && bx < int(icon.width) - 2 && by < int(icon.height) - 2;
    };
    auto iconColour = [&](int bx, int by) { return colourOf(icon, bx, by); };
    EXPECT_LE(meanError(masked, icon, iconX, iconY, inner, iconColour), kTolerance);

    // The timestamp on top of the mask: its dark box and light text are both there.
    const DrawnText stamp = drawnTexts().back();
    const Area text{stamp.x, stamp.y, stamp.x + stamp.count * 12, stamp.y + 24};
    int dark = 0, light = 0;
    for (int py = text.y0; py < text.y1; ++py)
        for (int px = text.x0; px < text.x1; ++px) {
            const uint8_t* c = masked.at(px, py);
            dark += c[1] < 50;
            light += c[1] > 200;
        }
    EXPECT_GT(dark, (text.x1 - text.x0) * (text.y1 - text.y0) / 3);
    EXPECT_GT(light, 100);

    // Everything else is one colour.
    const int margin = 8;
    const Area keep[] = {{iconX - margin, iconY - margin, iconX + int(icon.width) + margin,
                          iconY + int(icon.height) + margin},
                         {text.x0 - margin, text.y0 - margin, text.x1 + margin, text.y1 + margin}};
    const uint8_t* reference = masked.at(639, 359);
    int off = 0, checked = 0;
    for (int py = 0; py < 360; ++py)
        for (int px = 0; px < 640; ++px) {
            if (keep[0].contains(px, py) || keep[1].contains(px, py)) continue;
            const uint8_t* c = masked.at(px, py);
            ++checked;
            for (int k = 0; k < 3; ++k) off += std::abs(c[k] - reference[k]) > 4;
        }
    EXPECT_EQ(off, 0) << "of " << checked << " pixels outside the icon and the timestamp";

    // Switched off, the test pattern is back as it was.
    ASSERT_EQ(kq_enable_privacy_mode(1, 0), 0);
    waitForFreshPictures(1);
    Rgb after = decode(snapshot(1, "after.jpg", kQuality), 640, 360);
    ASSERT_FALSE(after.pixels.empty());
    EXPECT_GT(bandLuma(after, 0, 16), 200);
    EXPECT_LT(bandLuma(after, 624, 640), 50);
    // Where the icon was, over the bars (the moving box below them differs anyway).
    const int barsBottom = 360 * 60 / 100;
    double difference = 0;
    long compared = 0;
    for (int py = iconY; py < barsBottom; ++py)
        for (int px = iconX; px < iconX + int(icon.width); ++px, ++compared)
            for (int k = 0; k < 3; ++k)
                difference += std::abs(after.at(px, py)[k] - before.at(px, py)[k]);
    EXPECT_LE(difference / (3.0 * compared), kTolerance) << "the bars are back where the icon was";
}

}  // namespace
