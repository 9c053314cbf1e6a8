// The exported overlay functions: the running timestamp of each channel.
#include "kq_api.h"
#include "rts_api_checks.h"
#include "rts_log.h"

using kq::isValidChannel;
using kq::startedContext;
using kq::VideoContext;

namespace {

// The context for an overlay call on `channel`, or null (logged) when the channel is
// not 0 or 1 or the library is not started: nothing outside the two pipes is touched.
VideoContext* overlayContext(const char* function, int channel) {
    if (!isValidChannel(channel)) return nullptr;
    return startedContext(function);
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
