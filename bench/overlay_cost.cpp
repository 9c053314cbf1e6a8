// The overlay channel's CPU time per 1920x1080 frame: the timestamp, a 200x100 logo with
// a soft alpha edge and a full-frame privacy mask, each alone and all three together,
// against the same frame with nothing drawn. Measured on the drawing function the video
// stream calls for every picture, on this thread alone.
#include <time.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "bench_report.h"
#include "camera_support.h"
#include "host_control.h"
#include "media/media_platform.h"
#include "module/bitmap.h"
#include "support/overlay_drawing.h"
#include "video/test_pattern.h"

namespace {

constexpr uint32_t kWidth = 1920;
constexpr uint32_t kHeight = 1080;
constexpr uint32_t kFontSize = 64;  // what the library picks for frames this wide
constexpr uint32_t kLogoWidth = 200;
constexpr uint32_t kLogoHeight = 100;
constexpr int kWarmUpFrames = 20;
constexpr int kFrames = 300;
constexpr double kTargetMs = 1.0;

double threadCpuMs() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return now.tv_sec * 1e3 + now.tv_nsec / 1e6;
}

// An orange logo, opaque inside and fading to transparent over its outer 12 pixels.
std::vector<uint8_t> softEdgedLogo() {
    constexpr int kEdge = 12;
    std::vector<uint8_t> bgra;
    for (int y = 0; y < static_cast<int>(kLogoHeight); ++y) {
        for (int x = 0; x < static_cast<int>(kLogoWidth); ++x) {
            int inset = std::min({x, y, static_cast<int>(kLogoWidth) - 1 - x,
                                  static_cast<int>(kLogoHeight) - 1 - y});
            auto alpha = static_cast<uint8_t>(std::min(255, 255 * inset / kEdge));
            bgra.insert(bgra.end(), {0x20, 0x90, 0xf0, alpha});
        }
    }
    return bgra;
}

// One image channel feeding one overlay channel with its overlay and mask packs, as
// the camera library builds a stream.
class OverlayChannel {
public:
    bool build() {
        if (rts_av_init() != 0) return false;
        rts_isp_attr attr{3, 0};
        mIsp = rts_av_create_isp_chn(&attr);
        rts_av_profile profile{};
        profile.format = RTS_PIX_FMT_NV12;
        profile.video = {kWidth, kHeight, 1, 25};
        int osd = rts_av_create_osd_chn();
        return rts_av_set_profile(mIsp, &profile) == 0 && rts_av_bind(mIsp, osd) == 0 &&
               init_osd_pack(&mOsd, kFontSize, 0, kWidth, kHeight) == 0 &&
               set_default_osd_attr(&mOsd, osd) == 0 &&
               init_mask_pack(&mMask, kWidth, kHeight) == 0 && rts_av_enable_chn(mIsp) == 0 &&
               rts_av_enable_chn(osd) == 0 && createLogo();
    }

    ~OverlayChannel() { destroy_osd_image(&mLogo); }

    // Each true when the platform took the call.
    bool showTimestamp(bool on) {
        const std::string text = on ? "2024-06-30 23:59:59" : "";
        return set_osd_text(&mOsd, text.c_str(), static_cast<int>(text.size()), 5, 5, 0) == 0;
    }
    bool showLogo(bool on) {
        if (!on) return erase_osd_image(&mOsd, 1) == 0;
        // Bottom right, 5 pixels from the edges, as the library places it.
        return draw_osd_image(&mOsd, mLogo, kLogoWidth, kLogoHeight, module::kBitmapFormatBgra8888,
                              32, kWidth - 5 - kLogoWidth, kHeight - 5 - kLogoHeight, 1) == 0;
    }
    bool showMask(bool on) {
        return (on ? enable_rect_mask(&mMask, 1, kWidth, kHeight, 0, 0)
                   : disable_mask(&mMask, 1)) == 0;
    }

    // The mean CPU milliseconds of drawing the overlay into a fresh picture.
    double msPerFrame() {
        host::media::StreamRoute route;
        host::media::media().routeOf(mIsp, &route);
        host::video::Frame picture, frame;
        picture.resize(kWidth, kHeight);
        host::video::TestPattern().render(0, {}, picture);
        double total = 0;
        for (int i = -kWarmUpFrames; i < kFrames; ++i) {
            frame.pixels = picture.pixels;  // no allocation: the sizes match
            frame.width = kWidth;
            frame.height = kHeight;
            double start = threadCpuMs();
            host::support::drawOverlay(route.overlayPack, route.maskPack, frame);
            if (i >= 0) total += threadCpuMs() - start;
        }
        return total / kFrames;
    }

private:
    bool createLogo() {
        std::vector<uint8_t> pixels = softEdgedLogo();
        mLogo = create_osd_image(pixels.data(), kLogoWidth, kLogoHeight,
                                 module::kBitmapFormatBgra8888, 32);
        return mLogo != nullptr;
    }

    int mIsp = -1;
    osd_pack mOsd{};
    mask_pack mMask{};
    osd_image* mLogo = nullptr;
};

}  // namespace

int main() {
    bench::Report report("bench_overlay_cost: overlay drawing per 1920x1080 frame, one core");
    hostctl::setJournalEnabled(false);
    OverlayChannel channel;
    if (!channel.build()) {
        std::fprintf(stderr, "the overlay channel could not be built\n");
        return 1;
    }

    bool shown = true;
    auto measure = [&](bool timestamp, bool logo, bool mask) {
        shown = channel.showTimestamp(timestamp) && channel.showLogo(logo) &&
                channel.showMask(mask) && shown;
        return channel.msPerFrame();
    };
    double nothing = measure(false, false, false);
    report.figure("nothing drawn", nothing, "ms/frame", 3);
    report.figure("timestamp (19 characters, 64 px font)", measure(true, false, false), "ms/frame",
                  3);
    report.figure("logo (200x100, 32-bit, soft alpha edge)", measure(false, true, false),
                  "ms/frame", 3);
    report.figure("full-frame mask", measure(false, false, true), "ms/frame", 3);
    double all = measure(true, true, true);
    report.figure("all three", all, "ms/frame", bench::Target::under(kTargetMs), 3);
    report.figure("all three beyond nothing drawn", all - nothing, "ms/frame", 3);
    report.note("mean thread CPU time of " + std::to_string(kFrames) + " frames after " +
                std::to_string(kWarmUpFrames) + " warm-up frames");
    if (!shown) {
        std::fprintf(stderr, "the platform refused an overlay: the figures are void\n");
        return 1;
    }
    return 0;
}
