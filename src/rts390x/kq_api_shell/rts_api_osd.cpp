// The exported overlay functions: the running timestamp, the watermark logo and the
// privacy mode of each channel, with the logo and the icon loaded from bitmap files.
#include <cstring>
#include <memory>

#include "kq_api.h"
#include "module/bitmap.h"
#include "rts_api_checks.h"
#include "rts_log.h"

using kq::isValidChannel;
using kq::kOverlayFailed;
using kq::startedContext;
using kq::VideoContext;

namespace {

// The context for an overlay call on `channel`, or null (logged) when the channel is
// not 0 or 1 or the library is not started: nothing outside the two pipes is touched.
VideoContext* overlayContext(const char* function, int channel) {
    if (!isValidChannel(channel)) return nullptr;
    return startedContext(function);
}

// Loads the bitmap at `path` for `channel` and hands its pixels to
// `makeImage(context, pixels, info)`, which makes the pipe's image from them; the pixels
// are freed before this returns. The channel is checked before the file is opened, the
// library's start only after the file was read; `logLoadFailure` writes the record of a
// file that cannot be loaded. -1 when no image was made.
template <typename LogLoadFailure, typename MakeImage>
int loadImage(const char* function, int channel, const char* path, LogLoadFailure logLoadFailure,
              MakeImage makeImage) {
    if (static_cast<uint32_t>(channel) >= kq::kChannelCount) {
        KQ_ERROR("invalid channel: %d", channel);
        return kOverlayFailed;
    }
    module::BmpInfo info;
    std::memset(&info, 0, sizeof info);
    std::shared_ptr<module::Buf> bitmap = module::GetPureBitmap(path, &info);
    if (!bitmap) {
        logLoadFailure();
        return kOverlayFailed;
    }
    VideoContext* context = startedContext(function);
    int r = context ? makeImage(*context, bitmap->Data(), info) : kOverlayFailed;
    // The image keeps its own copy: the pixels go at once.
    bitmap->Clear();
    return r;
}

}  // namespace

// The overlays need no set-up or refresh of their own: each pipe sets up its packs with
// its graph and redraws the timestamp while it is polled.
int kq_osd_init(void) { return 0; }
int kq_osd_uninit(void) { return 0; }
void kq_osd_update(void) {}

void kq_enable_osd(int channel, int enable) {
    if (VideoContext* context = overlayContext(__func__, channel))
        context->enableOsd(channel, enable != 0);
}

void kq_osd_set_color(int channel, uint8_t c1, uint8_t c2, uint8_t c3, uint8_t c4, uint8_t c5,
                      uint8_t c6) {
    if (VideoContext* context = overlayContext(__func__, channel))
        context->setOsdColor(channel, c1, c2, c3, c4, c5, c6);
}

void kq_osd_set_position(int channel, int option) {
    if (VideoContext* context = overlayContext(__func__, channel))
        context->setOsdPosition(channel, static_cast<uint32_t>(option));
}

void kq_osd_set_format(int channel, const char* format) {
    VideoContext* context = overlayContext(__func__, channel);
    if (!context) return;
    if (!format) {
        KQ_ERROR("%s ch[%d]: no format, the timestamp keeps its format", __func__, channel);
        return;
    }
    context->setOsdFormat(channel, format);
}

int kq_watermark_enable(int channel, int enable) {
    VideoContext* context = overlayContext(__func__, channel);
    return context ? context->enableWatermark(channel, enable != 0) : kOverlayFailed;
}

void kq_watermark_setup_position(int channel, int option) {
    if (VideoContext* context = overlayContext(__func__, channel))
        context->setWatermarkPosition(channel, static_cast<uint32_t>(option));
}

void kq_watermark_setup_opaque(int channel, int value) {
    if (VideoContext* context = overlayContext(__func__, channel))
        context->setWatermarkOpaque(channel, value);
}

void kq_watermark_setup_logo(int channel, const char* bmp_path) {
    loadImage(
        __func__, channel, bmp_path, [] { KQ_ERROR("get logo file failed!"); },
        [channel](VideoContext& context, const void* pixels, const module::BmpInfo& info) {
            context.setWatermarkImage(channel, pixels, info.width, info.height, info.format,
                                      info.bits);
            return 0;
        });
}

int kq_enable_privacy_mode(int channel, int enable) {
    VideoContext* context = overlayContext(__func__, channel);
    return context ? context->enablePrivacyMode(channel, enable != 0) : kOverlayFailed;
}

int kq_privacy_setup_icon(int channel, const char* bmp_path) {
    return loadImage(
        __func__, channel, bmp_path, [] { KQ_ERROR("get icon file failed!"); },
        [channel](VideoContext& context, const void* pixels, const module::BmpInfo& info) {
            return context.setPrivacyIcon(channel, pixels, info.width, info.height, info.format,
                                          info.bits);
        });
}
