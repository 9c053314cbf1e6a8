#include "camera.h"

#include "capture_time.h"
#include "kq_api.h"
#include "live_log.h"
#include "module/pcm_sink.h"

namespace live {

Camera::Camera(FrameHub& hub)
    : mHub(hub), mFeeds{{&hub, kChannel0Video}, {&hub, kChannel1Video}}, mCapture(hub) {}

Camera::~Camera() { stop(); }

bool Camera::start(const CameraSettings& settings) {
    if (kq_init_kq() != KQ_OK) {
        logLine(LogLevel::Error, "the library did not start (see its log)");
        return false;
    }
    mLibraryStarted = true;
    if (!startChannel(0, KQ_ENC_H264, settings.ch0, settings) ||
        !startChannel(1, KQ_ENC_MJPEG, settings.ch1, settings))
        return false;
    setUpOverlays(settings);
    mCapture.start(settings.mic);
    // A sink runs whatever became of its device; a refused name is in the library's log.
    mSpeaker = module::PcmSink::Create(settings.speaker.c_str(), kTalkbackFormat);
    mPoller = std::thread(&Camera::poll, this);
    return true;
}

void Camera::stop() {
    mStopping = true;
    if (mPoller.joinable()) mPoller.join();
    mCapture.stop();
    mSpeaker.reset();
    if (!mLibraryStarted) return;
    kq_close_encoder(0);
    kq_close_encoder(1);
    kq_uninit();
    mLibraryStarted = false;
}

uint64_t Camera::frames(int stream) const {
    if (stream == kAudio) return mCapture.frames();
    return stream == 0 || stream == 1 ? mFeeds[stream].frames.load() : 0;
}

bool Camera::startChannel(int channel, uint32_t encoding, const examples::VideoSize& size,
                          const CameraSettings& settings) {
    const kq_encoder_param param = {encoding, size.width,       size.height,
                                    size.fps, settings.bitrate, settings.gop};
    int r = kq_open_encoder(channel, &param, &Camera::onFrame, &mFeeds[channel]);
    if (r == KQ_OK) {
        kq_enable_osd(channel, 1);
        r = kq_start_encoder(channel);
    }
    if (r != KQ_OK)
        logLine(LogLevel::Error, "channel %d (%s %ux%u@%u) did not start: %d (see the log)",
                channel, encoding == KQ_ENC_H264 ? "H.264" : "MJPEG", size.width, size.height,
                size.fps, r);
    return r == KQ_OK;
}

// The watermark shows on channel 0 from the start; channel 1's icon shows once its
// privacy mode is switched on.
void Camera::setUpOverlays(const CameraSettings& settings) {
    kq_watermark_setup_logo(0, settings.logo.c_str());
    kq_watermark_setup_position(0, kWatermarkPosition);
    if (kq_watermark_enable(0, 1) != 0)
        logLine(LogLevel::Warning, "no watermark from %s (see the log)", settings.logo.c_str());
    if (kq_privacy_setup_icon(1, settings.icon.c_str()) != 0)
        logLine(LogLevel::Warning, "no privacy icon from %s (see the log)", settings.icon.c_str());
}

void Camera::poll() {
    while (!mStopping) kq_poll_frame(100);
}

// The platform's buffer is valid during the call only: copied once, into the Frame
// every viewer shares.
int Camera::onFrame(const uint8_t* data, uint32_t length, uint32_t timestampMs, uint32_t keyFrame,
                    uint32_t, uint32_t, void* user) {
    auto* feed = static_cast<ChannelFeed*>(user);
    ++feed->frames;
    if (!feed->hub->wanted(feed->stream)) return 0;
    auto frame = std::make_shared<Frame>();
    frame->stream = feed->stream;
    frame->data.assign(data, data + length);
    frame->arrivalNs = monotonicNs();
    frame->captureNs = stampNs(timestampMs, frame->arrivalNs);
    frame->keyFrame = keyFrame != 0;
    feed->hub->publish(frame);
    return 0;
}

}  // namespace live
