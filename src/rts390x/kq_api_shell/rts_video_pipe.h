// One video stream: the graph of image, overlay, H.264 and JPEG channels on the media
// platform, its configuration and its callbacks.
#pragma once

#include <atomic>
#include <cstdint>

#include "camera_support.h"
#include "kq_api.h"
#include "rts_av.h"

namespace kq {

class VideoPipe {
public:
    VideoPipe();
    ~VideoPipe() = default;
    VideoPipe(const VideoPipe&) = delete;
    VideoPipe& operator=(const VideoPipe&) = delete;

    // Configuration, kept across close and reopen.
    void setDefaults();
    void setH264Config(uint32_t width, uint32_t height, uint32_t fps, uint32_t bitrate,
                       uint32_t gop);
    void setMjpegConfig(uint32_t width, uint32_t height, uint32_t fps);
    void setFrameCallback(kq_frame_callback callback, void* userData);
    void setSnapshotCallback(kq_snapshot_callback callback);

    // Life of the channel graph. A failed create or enable leaves no channel behind.
    int create();
    int enable();
    int disable();
    int destroy();
    int startRecv();
    int stopRecv();

    // Whether the graph exists (created and not yet destroyed).
    bool isOpen() const { return mRecvChn >= 0; }

    // Overlay and mask packs, set up with the graph.
    int initOsdPack();
    int deinitOsdPack();
    int setDefaultOsdAttr();
    int initMaskPack();
    int deinitMaskPack();

private:
    int createChannels();
    int enableChannels();
    int disableChannels();
    int destroyChannels();
    int setChannelControls();
    int tearDown(int code);

    bool osdReady() const { return mOsdPack.ready != 0; }
    bool maskReady() const { return mMaskPack.ready != 0; }
    uint32_t frameWidth() const { return mIspProfile.video.width; }
    uint32_t frameHeight() const { return mIspProfile.video.height; }

    kq_frame_callback mFrameCallback = nullptr;
    void* mFrameUserData = nullptr;
    rts_av_callback mSnapshotRecord{};
    std::atomic<uint32_t> mSnapshotState{0};
    int32_t mSnapshotChannel = -1;
    kq_snapshot_callback mSnapshotCallback = nullptr;

    uint32_t mEncType = KQ_ENC_H264;
    uint32_t mH264Profile = 0;
    uint32_t mMjpegQuality = 80;

    int32_t mIspChn = -1;
    int32_t mOsdChn = -1;
    int32_t mEncChn = -1;
    int32_t mJpgChn = -1;
    int32_t mRecvChn = -1;  // the delivery channel: mEncChn for H.264, mJpgChn for MJPEG

    rts_isp_attr mIspAttr{};
    rts_av_profile mIspProfile{};
    rts_mjpeg_attr mMjpegAttr{};
    rts_h264_attr mH264Attr{};
    rts_h264_ctrl* mH264Ctrl = nullptr;
    rts_mjpeg_ctrl* mMjpegCtrl = nullptr;

    osd_pack mOsdPack{};
    uint32_t mFontSize = 0;
    mask_pack mMaskPack{};
};

}  // namespace kq
