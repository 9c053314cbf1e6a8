// The host platform's overlay channel: images and masks of the camera support library,
// checked on the pixels of frames composited the way the video stream composites them.
#include <algorithm>
#include <cerrno>
#include <climits>
#include <functional>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "camera_support.h"
#include "host_control.h"
#include "media/media_platform.h"
#include "module/bitmap.h"
#include "platform/channels.h"
#include "support/overlay_drawing.h"
#include "video/drawing.h"

using host::video::Frame;
using host::video::Yuv;

namespace {

constexpr uint32_t kWidth = 64;
constexpr uint32_t kHeight = 48;
constexpr Yuv kBackground{5, 90, 170};
constexpr Yuv kMask{host::support::kMaskGrey, host::support::kMaskGrey, host::support::kMaskGrey};

using Bytes = std::vector<uint8_t>;

// BGRA pixels of a width x height image whose pixel (column, row) is pixel(column, row).
template <typename PixelFn>
Bytes bgra(uint32_t width, uint32_t height, PixelFn pixel) {
    Bytes bytes;
    for (uint32_t row = 0; row < height; ++row) {
        for (uint32_t column = 0; column < width; ++column) {
            auto [b, g, r, a] = pixel(column, row);
            bytes.insert(bytes.end(), {b, g, r, a});
        }
    }
    return bytes;
}

struct Bgra {
    uint8_t b, g, r, a;
};

Bytes plain(uint32_t width, uint32_t height, Bgra colour) {
    return bgra(width, height, [&](uint32_t, uint32_t) { return colour; });
}

Bgra grey(uint8_t level) { return {level, level, level, 255}; }

int lumaAt(const Frame& f, int x, int y) { return f.y()[y * f.width + x]; }
Yuv chromaAt(const Frame& f, int cx, int cy) {
    std::size_t i = std::size_t{f.chromaWidth()} * cy + cx;
    return {0, f.u()[i], f.v()[i]};
}

// A channel graph image -> overlay of one size, with the overlay channel attached to
// its own OSD pack, both channels enabled so the overlay draws.
struct Graph {
    int isp = -1, osd = -1;
    osd_pack pack{};

    void build(uint32_t width, uint32_t height) {
        ASSERT_GE(isp = channels::isp(width, height), 0);
        osd = rts_av_create_osd_chn();
        ASSERT_EQ(rts_av_bind(isp, osd), 0);
        ASSERT_EQ(init_osd_pack(&pack, 16, 0, width, height), 0);
        ASSERT_EQ(set_default_osd_attr(&pack, osd), 0);
        ASSERT_EQ(rts_av_enable_chn(isp), 0);
        ASSERT_EQ(rts_av_enable_chn(osd), 0);
    }

    // A frame of the background colour after the overlay channel drew into it.
    Frame composite() const {
        Frame frame;
        host::media::StreamRoute route;
        EXPECT_TRUE(host::media::media().routeOf(isp, &route));
        frame.resize(route.profile.video.width, route.profile.video.height);
        host::video::fillRect(frame, 0, 0, INT_MAX, INT_MAX, kBackground);
        host::support::drawOverlay(route.overlayPack, route.maskPack, frame);
        return frame;
    }
};

class Overlay : public ::testing::Test {
protected:
    void SetUp() override {
        hostctl::reset();
        ASSERT_EQ(rts_av_init(), 0);
        mGraph.build(kWidth, kHeight);
        ASSERT_EQ(init_mask_pack(&mMask, kWidth, kHeight), 0);
    }
    void TearDown() override { hostctl::reset(); }

    osd_image* create(const Bytes& pixels, uint32_t width, uint32_t height, uint8_t bits = 32) {
        return create_osd_image(pixels.data(), width, height, module::kBitmapFormatBgra8888, bits);
    }
    int draw(osd_image* image, uint32_t width, uint32_t height, int x, int y, int block,
             uint8_t bits = 32) {
        return draw_osd_image(&mGraph.pack, image, width, height, module::kBitmapFormatBgra8888,
                              bits, x, y, block);
    }

    Graph mGraph;
    mask_pack mMask{};
};

// Each call refuses what it cannot draw with -EINVAL, and nothing is drawn.
TEST_F(Overlay, CallsRefuseWhatTheyCannotDraw) {
    const Bytes pixels = plain(4, 4, grey(100));
    osd_image* image = create(pixels, 4, 4);
    const uint32_t bgra = module::kBitmapFormatBgra8888;
    osd_pack* pack = &mGraph.pack;
    osd_pack unready{};
    mask_pack unreadyMask{};
    const auto created = [&](const void* from, uint32_t w, uint32_t h, uint32_t format, int bits) {
        osd_image* made = create_osd_image(from, w, h, format, static_cast<uint8_t>(bits));
        return made ? (destroy_osd_image(&made), 0)
                    : hostctl::calls("create_osd_image").back().result;
    };
    const auto drawn = [&](osd_pack* into, uint32_t w, uint32_t h, uint32_t format, int bits,
                           int block) {
        return draw_osd_image(into, image, w, h, format, static_cast<uint8_t>(bits), 0, 0, block);
    };
    const uint32_t tooWide = module::kMaxBitmapSide + 1;
    const struct {
        const char* what;
        std::function<int()> call;
    } refused[] = {
        {"no pixels", [&] { return created(nullptr, 2, 2, bgra, 32); }},
        {"no width", [&] { return created(pixels.data(), 0, 2, bgra, 32); }},
        {"no height", [&] { return created(pixels.data(), 2, 0, bgra, 32); }},
        {"too wide", [&] { return created(pixels.data(), tooWide, 1, bgra, 32); }},
        {"unknown format", [&] { return created(pixels.data(), 2, 2, bgra + 1, 32); }},
        {"16 bits", [&] { return created(pixels.data(), 2, 2, bgra, 16); }},
        {"drawn taller", [&] { return drawn(pack, 4, 5, bgra, 32, 1); }},
        {"drawn wider", [&] { return drawn(pack, 5, 4, bgra, 32, 1); }},
        {"drawn in another format", [&] { return drawn(pack, 4, 4, bgra + 1, 32, 1); }},
        {"drawn with other bits", [&] { return drawn(pack, 4, 4, bgra, 24, 1); }},
        {"drawn in block -1", [&] { return drawn(pack, 4, 4, bgra, 32, -1); }},
        {"drawn in block 8", [&] { return drawn(pack, 4, 4, bgra, 32, 8); }},
        {"drawn without a pack", [&] { return drawn(&unready, 4, 4, bgra, 32, 1); }},
        {"erased in block 8", [&] { return erase_osd_image(pack, 8); }},
        {"erased without a pack", [&] { return erase_osd_image(&unready, 1); }},
        {"erased in no pack", [&] { return erase_osd_image(nullptr, 1); }},
        {"masked without a pack", [&] { return enable_rect_mask(&unreadyMask, 1, 4, 4, 0, 0); }},
        {"mask -1", [&] { return enable_rect_mask(&mMask, -1, 4, 4, 0, 0); }},
        {"mask 8", [&] { return enable_rect_mask(&mMask, 8, 4, 4, 0, 0); }},
        {"mask without width", [&] { return enable_rect_mask(&mMask, 1, 0, 4, 0, 0); }},
        {"mask without height", [&] { return enable_rect_mask(&mMask, 1, 4, 0, 0, 0); }},
        {"mask 8 disabled", [&] { return disable_mask(&mMask, 8); }},
        {"disabled without a pack", [&] { return disable_mask(&unreadyMask, 1); }},
    };
    for (const auto& r : refused) EXPECT_EQ(r.call(), -EINVAL) << r.what;
    const Frame frame = mGraph.composite();
    EXPECT_EQ(std::count(frame.y(), frame.y() + frame.lumaSize(), kBackground.y),
              static_cast<std::ptrdiff_t>(frame.lumaSize()));

    // An injected failure fails the creation whatever its code, and the journal says so.
    hostctl::failCall("create_osd_image", 1, 0);
    EXPECT_EQ(create(pixels, 2, 2), nullptr);
    EXPECT_LT(hostctl::calls("create_osd_image").back().result, 0);
    destroy_osd_image(&image);
}

TEST_F(Overlay, ImagesAreClippedAtEveryEdge) {
    // Grey levels that name their pixel: 20 + 10 * column + row, with an alpha of 0 that
    // a 24-bit image ignores.
    const Bytes pixels = bgra(8, 6, [](uint32_t column, uint32_t row) {
        const auto level = static_cast<uint8_t>(20 + 10 * column + row);
        return Bgra{level, level, level, 0};
    });
    osd_image* image = create(pixels, 8, 6, 24);
    const std::pair<int, int> places[] = {{-3, -2},          {kWidth - 5, kHeight - 3},
                                          {-5, kHeight - 2}, {kWidth - 2, -4},
                                          {-8, 0},           {kWidth, 10},
                                          {INT_MIN, 0},      {INT_MAX, INT_MAX}};
    for (auto [x, y] : places) {
        ASSERT_EQ(draw(image, 8, 6, x, y, 2, 24), 0);
        Frame frame = mGraph.composite();
        for (int py = 0; py < static_cast<int>(kHeight); ++py) {
            for (int px = 0; px < static_cast<int>(kWidth); ++px) {
                int64_t column = int64_t{px} - x, row = int64_t{py} - y;
                bool inside = column >= 0 && column < 8 && row >= 0 && row < 6;
                int expected = inside ? static_cast<int>(20 + 10 * column + row) : kBackground.y;
                ASSERT_EQ(lumaAt(frame, px, py), expected)
                    << x << "," << y << " at " << px << "," << py;
            }
        }
        // Grey is chroma 128: blocks the image covers wholly take it, blocks it misses
        // keep the background's, blocks it touches lie between.
        for (int cy = 0; cy < static_cast<int>(kHeight / 2); ++cy) {
            for (int cx = 0; cx < static_cast<int>(kWidth / 2); ++cx) {
                int covered = 0;
                for (int64_t py : {2 * cy, 2 * cy + 1})
                    for (int64_t px : {2 * cx, 2 * cx + 1})
                        covered += px - x >= 0 && px - x < 8 && py - y >= 0 && py - y < 6;
                int u = chromaAt(frame, cx, cy).u;
                int low = covered == 0 ? kBackground.u : covered == 4 ? 128 : kBackground.u + 1;
                int high = covered == 0 ? kBackground.u : covered == 4 ? 128 : 127;
                ASSERT_TRUE(u >= low && u <= high) << x << "," << y << " block " << cx << "," << cy;
            }
        }
    }
    destroy_osd_image(&image);
}

TEST_F(Overlay, EachBlockHoldsOneItemDrawnInBlockOrder) {
    // An image keeps its own copy of the pixels, which the caller may free at once.
    auto pixels = std::make_unique<Bytes>(plain(4, 4, grey(100)));
    osd_image* low = create(*pixels, 4, 4);
    pixels.reset();
    osd_image* high = create(plain(4, 4, grey(200)), 4, 4);
    osd_image* other = create(plain(4, 4, grey(150)), 4, 4);
    ASSERT_EQ(draw(low, 4, 4, 8, 8, 1), 0);
    Frame frame = mGraph.composite();
    EXPECT_EQ(lumaAt(frame, 8, 8), 100);
    EXPECT_EQ(lumaAt(frame, 11, 11), 100);
    EXPECT_EQ(lumaAt(frame, 12, 12), kBackground.y);
    ASSERT_EQ(draw(high, 4, 4, 8, 8, 2), 0);
    EXPECT_EQ(lumaAt(mGraph.composite(), 8, 8), 200);  // block 2 over block 1
    ASSERT_EQ(draw(other, 4, 4, 8, 8, 2), 0);
    EXPECT_EQ(lumaAt(mGraph.composite(), 8, 8), 150);

    // A text replaces the image of its block, and an image the text.
    ASSERT_EQ(set_osd_text(&mGraph.pack, "ab", 2, 40, 0, 2), 0);
    EXPECT_EQ(lumaAt(mGraph.composite(), 8, 8), 100);
    EXPECT_NE(lumaAt(mGraph.composite(), 40, 0), kBackground.y);
    ASSERT_EQ(draw(high, 4, 4, 20, 20, 2), 0);
    EXPECT_EQ(lumaAt(mGraph.composite(), 40, 0), kBackground.y);

    EXPECT_EQ(erase_osd_image(&mGraph.pack, 2), 0);
    EXPECT_EQ(erase_osd_image(&mGraph.pack, 2), 0);  // already empty
    EXPECT_EQ(erase_osd_image(&mGraph.pack, 1), 0);
    frame = mGraph.composite();
    EXPECT_EQ(lumaAt(frame, 8, 8), kBackground.y);
    EXPECT_EQ(lumaAt(frame, 20, 20), kBackground.y);
    for (osd_image* image : {low, high, other}) destroy_osd_image(&image);
}

// The icon and the timestamp drawn over a mask of the whole frame are the end-to-end
// privacy test's part.
TEST_F(Overlay, MasksAreGreyRectanglesClippedToTheFrame) {
    ASSERT_EQ(enable_rect_mask(&mMask, 1, kWidth, kHeight, 0, 0), 0);
    Frame frame = mGraph.composite();
    EXPECT_EQ(lumaAt(frame, 0, 0), kMask.y);
    EXPECT_EQ(lumaAt(frame, kWidth - 1, kHeight - 1), kMask.y);
    EXPECT_EQ(chromaAt(frame, 0, kHeight / 2 - 1).u, kMask.u);
    EXPECT_EQ(chromaAt(frame, kWidth / 2 - 1, kHeight / 2 - 1).v, kMask.v);

    // The same index moves the rectangle; rectangles are clipped to the frame.
    ASSERT_EQ(enable_rect_mask(&mMask, 1, 4, 4, 40, 40), 0);
    ASSERT_EQ(enable_rect_mask(&mMask, 7, 1000, 1000, -5, kHeight - 2), 0);
    frame = mGraph.composite();
    EXPECT_EQ(lumaAt(frame, 40, 30), kBackground.y);
    EXPECT_EQ(lumaAt(frame, 43, 43), kMask.y);
    EXPECT_EQ(lumaAt(frame, 44, 44), kBackground.y);
    EXPECT_EQ(lumaAt(frame, kWidth - 1, kHeight - 1), kMask.y);
    EXPECT_EQ(lumaAt(frame, kWidth - 1, kHeight - 3), kBackground.y);

    // Masking does not depend on the overlay pack.
    ASSERT_EQ(deinit_osd_pack(&mGraph.pack), 0);
    EXPECT_EQ(lumaAt(mGraph.composite(), 43, 43), kMask.y);

    EXPECT_EQ(disable_mask(&mMask, 1), 0);
    EXPECT_EQ(disable_mask(&mMask, 7), 0);
    EXPECT_EQ(disable_mask(&mMask, 3), 0);  // never on
    frame = mGraph.composite();
    EXPECT_EQ(lumaAt(frame, 43, 43), kBackground.y);
    EXPECT_EQ(lumaAt(frame, kWidth - 1, kHeight - 1), kBackground.y);
}

TEST_F(Overlay, StaleAndStrayImageHandlesAreRefused) {
    osd_image* image = create(plain(4, 4, grey(200)), 4, 4);
    osd_image* destroyed = image;
    ASSERT_EQ(draw(image, 4, 4, 0, 0, 1), 0);
    destroy_osd_image(&image);
    EXPECT_EQ(image, nullptr);
    EXPECT_EQ(hostctl::calls("destroy_osd_image").back().result, 0);
    // An image on screen stays there until its block is erased or replaced.
    EXPECT_EQ(lumaAt(mGraph.composite(), 0, 0), 200);
    destroy_osd_image(&image);  // null: nothing to do
    destroy_osd_image(nullptr);

    osd_image* live = create(plain(4, 4, grey(100)), 4, 4);
    int local = 0;
    for (osd_image* stray : {destroyed, reinterpret_cast<osd_image*>(&local),
                             reinterpret_cast<osd_image*>(uintptr_t{1}),
                             reinterpret_cast<osd_image*>(reinterpret_cast<uintptr_t>(live) + 1)}) {
        EXPECT_EQ(draw(stray, 4, 4, 0, 0, 1), -EINVAL);
        destroy_osd_image(&stray);
        EXPECT_EQ(stray, nullptr);
        EXPECT_EQ(hostctl::calls("destroy_osd_image").back().result, -EINVAL);
    }
    ASSERT_EQ(draw(live, 4, 4, 0, 0, 1), 0);  // the strays freed nothing
    EXPECT_EQ(lumaAt(mGraph.composite(), 0, 0), 100);

    // A reset frees every image: the handles held are refused from then on.
    hostctl::reset();
    EXPECT_EQ(hostctl::liveOsdImages(), 0);
    osd_pack fresh{};
    ASSERT_EQ(init_osd_pack(&fresh, 16, 0, kWidth, kHeight), 0);
    EXPECT_EQ(draw_osd_image(&fresh, live, 4, 4, module::kBitmapFormatBgra8888, 32, 0, 0, 1),
              -EINVAL);
}

// ---- Which overlay channel a mask pack masks -------------------------------------------

bool masked(const Graph& graph) { return lumaAt(graph.composite(), 0, 0) == kMask.y; }

TEST(MaskAttachment, ThePackMasksTheNewestFreeOverlayChannelOfItsSize) {
    hostctl::reset();
    mask_pack first{}, second{}, third{}, small{};
    EXPECT_EQ(init_mask_pack(&first, kWidth, kHeight), -ENODEV);  // no channels at all
    EXPECT_EQ(first.ready, 0u);

    ASSERT_EQ(rts_av_init(), 0);
    Graph older, newer, other;
    older.build(kWidth, kHeight);
    newer.build(kWidth, kHeight);
    other.build(32, 32);

    ASSERT_EQ(init_mask_pack(&first, kWidth, kHeight), 0);
    ASSERT_EQ(enable_rect_mask(&first, 0, kWidth, kHeight, 0, 0), 0);
    EXPECT_TRUE(masked(newer));
    EXPECT_FALSE(masked(older));
    ASSERT_EQ(init_mask_pack(&second, kWidth, kHeight), 0);
    ASSERT_EQ(enable_rect_mask(&second, 0, kWidth, kHeight, 0, 0), 0);
    EXPECT_TRUE(masked(older));
    EXPECT_FALSE(masked(other));
    EXPECT_EQ(init_mask_pack(&third, kWidth, kHeight), -ENODEV);  // every one is taken
    EXPECT_EQ(third.ready, 0u);
    EXPECT_EQ(init_mask_pack(&small, 32, 48), -ENODEV);  // no channel of that size
    ASSERT_EQ(init_mask_pack(&small, 32, 32), 0);

    // A deinitialised pack draws nothing and frees its channel for another pack.
    ASSERT_EQ(deinit_mask_pack(&first), 0);
    EXPECT_FALSE(masked(newer));
    ASSERT_EQ(init_mask_pack(&third, kWidth, kHeight), 0);
    ASSERT_EQ(enable_rect_mask(&third, 0, kWidth, kHeight, 0, 0), 0);
    EXPECT_TRUE(masked(newer));

    // The attachment goes with the channel.
    ASSERT_EQ(rts_av_destroy_chn(newer.osd), 0);
    newer.osd = rts_av_create_osd_chn();
    ASSERT_EQ(rts_av_bind(newer.isp, newer.osd), 0);
    ASSERT_EQ(set_default_osd_attr(&newer.pack, newer.osd), 0);
    ASSERT_EQ(rts_av_enable_chn(newer.osd), 0);
    EXPECT_FALSE(masked(newer));
    EXPECT_EQ(enable_rect_mask(&third, 0, 8, 8, 0, 0), 0);  // a pack without a channel
    mask_pack again{};
    ASSERT_EQ(init_mask_pack(&again, kWidth, kHeight), 0);
    ASSERT_EQ(enable_rect_mask(&again, 0, kWidth, kHeight, 0, 0), 0);
    EXPECT_TRUE(masked(newer));
    hostctl::reset();
}

}  // namespace
