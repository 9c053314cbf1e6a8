// The exported video interface: library start and stop and the encoder channels.
#include <new>

#include "kq_api.h"
#include "rts_api_checks.h"
#include "rts_log.h"

namespace kq {

VideoContext* gVideoContext = nullptr;

bool isValidChannel(int channel) {
    if (static_cast<uint32_t>(channel) < kChannelCount) return true;
    KQ_ERROR("given ch[%d] not vaild!", channel);
    return false;
}

VideoContext* startedContext(const char* function) {
    if (!gVideoContext) KQ_ERROR("%s: library not started, kq_init_kq first", function);
    return gVideoContext;
}

}  // namespace kq

using kq::gVideoContext;
using kq::isValidChannel;
using kq::startedContext;
using kq::VideoContext;

int kq_init_kq(void) {
    if (gVideoContext) {
        KQ_ERROR("%s: library already started, kq_uninit first", __func__);
        return KQ_FAIL;
    }
    gVideoContext = new (std::nothrow) VideoContext;
    if (!gVideoContext) {
        KQ_ERROR("%s: no memory for the video context", __func__);
        return KQ_FAIL;
    }
    if (gVideoContext->init() != 0) {
        kq_uninit();
        return KQ_FAIL;
    }
    rts_save_isp_setting();
    rts_save_ae_auto();
    KQ_INFO("%s success", __func__);
    return KQ_OK;
}

void kq_uninit(void) {
    VideoContext* context = startedContext(__func__);
    if (!context) return;
    context->release();
    gVideoContext = nullptr;
    delete context;
}

int kq_open_encoder(int channel, const kq_encoder_param* param, kq_frame_callback callback,
                    void* user_data) {
    if (!isValidChannel(channel)) return KQ_INVALID_CHANNEL;
    VideoContext* context = startedContext(__func__);
    if (!context) return KQ_FAIL;
    if (!param) {
        KQ_ERROR("%s ch[%d]: no encoder parameters", __func__, channel);
        return KQ_FAIL;
    }
    // A second graph over the first would lose the first one's platform channels.
    if (context->isPipeOpen(channel)) {
        KQ_ERROR("%s ch[%d]: channel already open, close it first", __func__, channel);
        return KQ_FAIL;
    }
    context->configure(channel, param->enc_type, param->width, param->height, param->fps,
                       param->bitrate, param->gop);
    context->setFrameCallback(channel, callback, user_data);
    if (context->openPipe(channel) != 0) return KQ_FAIL;
    KQ_INFO("%s ch[%d] success", __func__, channel);
    return KQ_OK;
}

int kq_start_encoder(int channel) {
    if (!isValidChannel(channel)) return KQ_INVALID_CHANNEL;
    VideoContext* context = startedContext(__func__);
    if (!context) return KQ_FAIL;
    if (context->startPipe(channel) != 0) return KQ_FAIL;
    KQ_INFO("%s ch[%d] success", __func__, channel);
    return KQ_OK;
}

void kq_close_encoder(int channel) {
    if (!isValidChannel(channel)) return;
    VideoContext* context = startedContext(__func__);
    if (!context) return;
    context->stopPipe(channel);
    context->closePipe(channel);
    KQ_INFO("%s ch[%d] success", __func__, channel);
}

void kq_register_snapshot_callback(int channel, kq_snapshot_callback callback) {
    if (!isValidChannel(channel)) return;
    if (VideoContext* context = startedContext(__func__))
        context->setSnapshotCallback(channel, callback);
}

int kq_poll_frame(int timeout_ms) {
    VideoContext* context = startedContext(__func__);
    return context ? context->pollFrames(timeout_ms) : 0;
}

int kq_trigger_snapshot(int channel, int quality) {
    // An invalid channel answers like a placed request.
    if (!isValidChannel(channel)) return 0;
    VideoContext* context = startedContext(__func__);
    // Without a started library no snapshot callback can be registered.
    if (!context) return kq::kSnapshotNotRegistered;
    return context->triggerSnapshot(channel, quality);
}

void kq_register_timestamp_callback(kq_timestamp_callback) {}

// The interface's not-implemented functions: a notice, nothing else.

#define KQ_NOT_IMPLEMENTED() KQ_WARNING("%s not implemented!", __func__)
#define KQ_NOT_IMPLEMENTED_YET() KQ_WARNING("%s not implemented yet!", __func__)

int kq_encoder_change_fps(int, uint32_t) {
    KQ_NOT_IMPLEMENTED();
    return 0;
}
void kq_force_keyframe(int) { KQ_NOT_IMPLEMENTED(); }
void kq_set_roi(int, int, int, int, int) { KQ_NOT_IMPLEMENTED(); }
void kq_change_bitrate(int, uint32_t) { KQ_NOT_IMPLEMENTED(); }
void kq_motion_detect_enable(int) { KQ_NOT_IMPLEMENTED(); }
void kq_motion_detect_region_setup(int, int, int, int, int) { KQ_NOT_IMPLEMENTED(); }
void kq_motion_detect_region_enable(int, int) { KQ_NOT_IMPLEMENTED(); }
void kq_set_pw_frequency(int) { KQ_NOT_IMPLEMENTED_YET(); }
void kq_get_crop_info(void) { KQ_NOT_IMPLEMENTED_YET(); }
void kq_get_crop_info_mjpg(void) { KQ_NOT_IMPLEMENTED_YET(); }
void kq_get_crop_info_h264(void) { KQ_NOT_IMPLEMENTED_YET(); }
void kq_to_mjpg_crop_size(void) { KQ_NOT_IMPLEMENTED_YET(); }
void kq_to_h264_crop_size(void) { KQ_NOT_IMPLEMENTED_YET(); }
