#include "media/video_stream.h"

#include <cerrno>

#include "media/monotonic_clock.h"
#include "media/picture_look.h"
#include "media/stream_sink.h"
#include "media/sync_marks.h"
#include "support/overlay_drawing.h"

namespace host::media {
namespace {

using Clock = std::chrono::steady_clock;

// A profile's frame rate is denominator / numerator pictures a second.
Clock::duration framePeriod(const rts_av_profile& profile) {
    auto nanoseconds = std::chrono::nanoseconds(uint64_t{1000000000} * profile.video.numerator /
                                                profile.video.denominator);
    return std::chrono::duration_cast<Clock::duration>(nanoseconds);
}

video::H264Settings h264Settings(const EncoderRoute& encoder, const rts_av_profile& profile) {
    video::H264Settings settings{};
    settings.width = profile.video.width;
    settings.height = profile.video.height;
    settings.fpsNum = profile.video.denominator;
    settings.fpsDen = profile.video.numerator;
    settings.bitrate = encoder.h264.bitrate;
    settings.gop = encoder.h264.gop;
    settings.profile = encoder.h264Profile;
    settings.qp = encoder.h264.qp;
    return settings;
}

}  // namespace

VideoStream::VideoStream(StreamSink& sink, int ispChannel)
    : mSink(sink), mIspChannel(ispChannel), mThread([this] { run(); }) {}

VideoStream::~VideoStream() {
    {
        std::lock_guard<std::mutex> lock(mWakeMutex);
        mStopping = true;
    }
    mWake.notify_all();
    mThread.join();
}

bool VideoStream::sleepUntil(Clock::time_point deadline) {
    std::unique_lock<std::mutex> lock(mWakeMutex);
    return !mWake.wait_until(lock, deadline, [this] { return mStopping; });
}

void VideoStream::run() {
    StreamRoute route;
    Clock::time_point next = Clock::now();
    for (;;) {
        bool live = mSink.routeOf(mIspChannel, &route);
        Clock::duration period = live ? framePeriod(route.profile) : std::chrono::milliseconds(40);
        if (live && !route.encoders.empty()) produce(route, next, period);
        dropIdleEncoders(route);
        // Paced from the start, not from the last picture, so the rate does not drift;
        // a stream that fell more than a picture behind starts counting afresh.
        next += period;
        Clock::time_point now = Clock::now();
        if (next + period < now) next = now;
        if (syncMarks())
            next = monotonicTimePoint(onSyncGrid(monotonicMicrosecondsOf(next), period));
        if (!sleepUntil(next)) return;
    }
}

void VideoStream::produce(const StreamRoute& route, Clock::time_point due, Clock::duration period) {
    mFrame.resize(route.profile.video.width, route.profile.video.height);
    // A picture carries the instant it was due, as a sensor's exposure time: stamps keep
    // the frame rate's spacing however late the thread runs, and with sync marks fall
    // exactly on the whole seconds.
    mFrame.timestampUs = monotonicMicrosecondsOf(due);
    mCamera.render(due, mFrameNumber++, pictureLook(support::imageSettings()), mFrame);
    if (syncMarks() && isSyncMark(mFrame.timestampUs, period))
        video::fillRect(mFrame, 0, 0, static_cast<int>(mFrame.width),
                        static_cast<int>(mFrame.height), video::yuvFromRgb(255, 255, 255));
    support::drawOverlay(route.overlayPack, route.maskPack, mFrame);
    for (const EncoderRoute& encoder : route.encoders) {
        uint32_t flags = 0;
        if (encodeFor(encoder, route.profile, &flags) == 0)
            mSink.publish(encoder.channel, mEncoded.data(), mEncoded.size(), mFrame.timestampUs,
                          flags);
        else
            mSink.countDropped(encoder.channel);
    }
}

int VideoStream::encodeFor(const EncoderRoute& encoder, const rts_av_profile& profile,
                           uint32_t* flags) {
    if (encoder.kind == ChannelKind::Mjpeg) {
        *flags = RTS_AV_FLAG_KEYFRAME;  // every JPEG picture stands alone
        return mJpeg.encode(mFrame, encoder.jpegQuality, mEncoded);
    }
    video::H264Encoder* h264 = h264EncoderFor(encoder, profile);
    if (!h264) return -EINVAL;
    bool keyFrame = false;
    int rc = h264->encode(mFrame, mEncoded, &keyFrame);
    *flags = keyFrame ? RTS_AV_FLAG_KEYFRAME : 0;
    return rc;
}

video::H264Encoder* VideoStream::h264EncoderFor(const EncoderRoute& encoder,
                                                const rts_av_profile& profile) {
    video::H264Settings settings = h264Settings(encoder, profile);
    H264Slot& slot = mH264[encoder.channel];
    // A changed profile or rate starts a new stream, with a key frame; refused settings
    // are not tried again until they change.
    if (!slot.created || slot.settings != settings) {
        slot.encoder = video::H264Encoder::create(settings);
        slot.settings = settings;
        slot.created = true;
    }
    return slot.encoder.get();
}

void VideoStream::dropIdleEncoders(const StreamRoute& route) {
    for (auto it = mH264.begin(); it != mH264.end();) {
        bool wanted = false;
        for (const EncoderRoute& encoder : route.encoders) wanted |= encoder.channel == it->first;
        it = wanted ? std::next(it) : mH264.erase(it);
    }
}

}  // namespace host::media
