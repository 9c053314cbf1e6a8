// One video stream: the graph of image, overlay, H.264 and JPEG channels on the media
// platform, its configuration and its callbacks.
#pragma once

#include <atomic>
#include <cstdint>
#include <ctime>
#include <mutex>

#include "camera_support.h"
#include "kq_api.h"
#include "rts_av.h"

namespace kq {

// The snapshot hand-off between the requesting thread, the polling thread and the
// platform's callback thread (there is no state 1).
enum SnapshotState : uint32_t {
    SNAPSHOT_IDLE = 0,
    SNAPSHOT_REQUESTED = 2,
    SNAPSHOT_ARMED = 3,
};

// Refusals of a snapshot request.
constexpr int kSnapshotNotRegistered = -16;
constexpr int kSnapshotBusy = -74;

// An overlay operation that failed without a platform code: an image that could not be
// made or is incomplete, a pack that is not ready, an icon larger than the frame.
constexpr int kOverlayFailed = -1;

// One image the pipe holds in the support library: the watermark logo or the privacy
// icon. The four fields after the handle are set only with a made image.
struct OsdImage {
    osd_image* image = nullptr;
    uint32_t width = 0;     // pixels
    uint32_t height = 0;    // pixels
    uint32_t attrWord = 0;  // the bitmap's format, passed through
    uint32_t attrByte = 0;  // the bitmap's 8-bit attribute, passed through
};

class VideoPipe {
public:
    VideoPipe();
    // Frees the logo and the icon; erases nothing and leaves the packs alone.
    ~VideoPipe();
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

    // One poll step: 1 when a buffer was received (and handed to the frame callback,
    // if one is set), else 0.
    int pollFrame();
    // 0 when the request is placed, -16 without a snapshot callback, -74 while an
    // earlier request is pending, or the platform's code of a refused quality change
    // (the request is placed all the same).
    int requestSnapshot(int channel, int quality);

    // Overlay and mask packs, set up with the graph.
    int initOsdPack();
    int deinitOsdPack();
    int setDefaultOsdAttr();
    int initMaskPack();
    int deinitMaskPack();

    // The running timestamp. The setters draw nothing: a change shows at the next
    // refresh that draws.
    void enableOsd(uint8_t flag) { mOsdEnabled = flag; }
    void setOsdFormat(const char* text);
    void setOsdPosition(uint32_t option) { mTimestampPos = option; }
    void setOsdColor(uint8_t c1, uint8_t c2, uint8_t c3, uint8_t c4, uint8_t c5, uint8_t c6);

    // The watermark logo. A new image or position shows at the next enableWatermark(1);
    // the images outlive a close and reopen of the graph.
    void setWatermarkPosition(uint32_t option) { mWatermarkPos = option; }
    void setWatermarkImage(const void* pixels, uint32_t width, uint32_t height, uint32_t attrWord,
                           uint8_t attrByte);
    void destroyWatermarkImage();
    // Draws (1) or erases (0) the logo now; 0 also when the OSD is not ready.
    int enableWatermark(uint8_t on);

    // The privacy mode: the whole frame masked, with the icon centred on it.
    // setPrivacyIcon: 0, or -1 when the image cannot be made.
    int setPrivacyIcon(const void* pixels, uint32_t width, uint32_t height, uint32_t attrWord,
                       uint8_t attrByte);
    void destroyPrivacyIcon();
    int enablePrivacyMode(uint8_t on) { return on ? imposePrivacyMask() : removePrivacyMask(); }

private:
    int createChannels();
    int enableChannels();
    int disableChannels();
    int destroyChannels();
    int setChannelControls();
    int tearDown(int code);

    void armSnapshot();
    // The platform's one-shot handler; `context` is the pipe.
    static int onSnapshot(void* context, void* unused, rts_av_buffer* buffer);

    // Redraws the timestamp once the second has changed, or erases it once switched off.
    void updateTimestamp();
    // With mOsdMutex held.
    void eraseTimestamp();
    // Sets (x, y) for an item of that size by one of the seven position options; false,
    // and nothing set, for an unknown option.
    bool placeItem(uint32_t option, int32_t itemWidth, int32_t itemHeight, int32_t* x,
                   int32_t* y) const;
    void calcTimestampPosition(uint32_t length);
    void setOsdText(const char* text, uint32_t length, int32_t x, int32_t y, int32_t block);
    // Expands the format for time `now`; the text's length, or 0 when it does not fit.
    // With mOsdMutex held.
    std::size_t formatTimestamp(time_t now, char (&text)[25]);

    void calcWatermarkPosition(uint32_t width, uint32_t height);
    int imposePrivacyMask();
    int removePrivacyMask();
    // Draws the icon centred; 0, or the failure, already logged.
    int drawPrivacyIcon();
    // The image calls into the OSD pack, under mOsdMutex; the platform's codes.
    int drawImage(const OsdImage& record, int32_t x, int32_t y, int32_t block);
    int eraseImage(int32_t block);

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
    // Switched by the application's thread, read by the polling thread.
    std::atomic<uint8_t> mOsdEnabled{0};
    uint8_t mTimestampDrawn = 0;
    char mTimeFormat[32] = "%Y-%m-%d %H:%M:%S";
    std::atomic<uint32_t> mTimestampPos{0};
    const int32_t mTimestampBlock = 0;
    int32_t mTimestampX = 5;
    int32_t mTimestampY = 5;
    time_t mLastTime;
    // Serialises every call into the OSD pack between the application's thread (logo,
    // icon) and the polling thread (timestamp), and guards the format and the colour
    // bytes: a refresh never reads a half-written format, and the support library
    // never reads half-written colours.
    std::mutex mOsdMutex;
    // The format whose expansion was found too long, reported once.
    bool mFormatRejected = false;

    OsdImage mWatermark;
    uint32_t mWatermarkPos = 0;
    const int32_t mWatermarkBlock = 1;
    int32_t mWatermarkX = 5;
    int32_t mWatermarkY = 5;
    mask_pack mMaskPack{};
    OsdImage mPrivacyIcon;
    const int32_t mPrivacyMaskIndex = 1;
    const int32_t mPrivacyIconBlock = 2;
    uint32_t mPrivacyIconX = 0;
    uint32_t mPrivacyIconY = 0;
};

}  // namespace kq
