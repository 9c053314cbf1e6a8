#include "web_camera.h"

#include <chrono>
#include <cstring>

#include "camera.h"
#include "host_platform.h"
#include "kq_api.h"
#include "live_log.h"
#include "module/buf.h"
#include "module/pcm_sink.h"

namespace live {
namespace {

int64_t unixMs() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

// Channel 1's pictures as the web layer takes them: the hub's frames, their bytes shared.
class JpegFrames : public Subscription<SharedBytes> {
public:
    explicit JpegFrames(std::shared_ptr<FrameQueue> queue) : mQueue(std::move(queue)) {}
    ~JpegFrames() override { mQueue->close(); }
    std::optional<SharedBytes> pop(std::chrono::milliseconds timeout) override {
        FramePtr frame = mQueue->pop(timeout);
        if (!frame) return std::nullopt;
        return SharedBytes(frame, &frame->data);
    }
    void close() override { mQueue->close(); }

private:
    std::shared_ptr<FrameQueue> mQueue;
};

// The browser's microphone into the playback sink, a buffer period at most a write, as
// the sink takes them. Holds the talker's lock while open: one talker at a time.
class SinkTalkback : public TalkbackWriter {
public:
    SinkTalkback(std::shared_ptr<module::PcmSink> sink, std::unique_lock<std::mutex> talker)
        : mSink(std::move(sink)), mTalker(std::move(talker)) {}
    ~SinkTalkback() override { close(); }

    int write(const uint8_t* pcm, std::size_t bytes) override {
        if (!mSink) return -1;
        const module::AudioParam& f = Camera::kTalkbackFormat;
        const std::size_t period = f.sampleRate / 1000 * f.frameMs * f.channels * 2;
        for (std::size_t at = 0; at < bytes; at += period) {
            const auto n = static_cast<uint32_t>(std::min(period, bytes - at));
            auto buf = std::make_shared<module::Buf>();
            buf->Malloc(n);
            std::memcpy(buf->Data(), pcm + at, n);
            buf->size = n;
            mSink->Write(buf, n);
        }
        return 0;
    }
    // Plays what is still queued below the sink's start level.
    void close() override {
        if (!mSink) return;
        mSink->Flush();
        mSink.reset();
        mTalker = {};
    }

private:
    std::shared_ptr<module::PcmSink> mSink;
    std::unique_lock<std::mutex> mTalker;
};

}  // namespace

WebCamera::WebCamera(FrameHub& hub, std::shared_ptr<module::PcmSink> speaker)
    : mHub(hub), mSpeaker(std::move(speaker)) {
    followLibraryLog([this](int level, const std::string& text) {
        mLog.publish({level, text, unixMs()});
    });
    setLogListener([this](LogLevel level, const std::string& text) {
        mLog.publish({static_cast<int>(level), "kq-live: " + text, unixMs()});
    });
}

WebCamera::~WebCamera() {
    setLogListener(nullptr);
    followLibraryLog(nullptr);
}

template <class Call>
int WebCamera::serialised(Call call) {
    std::lock_guard<std::mutex> lock(mLibrary);
    return call();
}

int WebCamera::enableTimestamp(int channel, bool on) {
    return serialised([&] { return kq_enable_osd(channel, on), 0; });
}
int WebCamera::setTimestampPosition(int channel, int position) {
    return serialised([&] { return kq_osd_set_position(channel, position), 0; });
}
int WebCamera::setTimestampFormat(int channel, const std::string& format) {
    return serialised([&] { return kq_osd_set_format(channel, format.c_str()), 0; });
}
int WebCamera::setTimestampColour(int channel, const TimestampColour& c) {
    return serialised(
        [&] { return kq_osd_set_color(channel, c[0], c[1], c[2], c[3], c[4], c[5]), 0; });
}
int WebCamera::enableWatermark(int channel, bool on) {
    return serialised([&] { return kq_watermark_enable(channel, on); });
}
int WebCamera::setWatermarkPosition(int channel, int position) {
    return serialised([&] { return kq_watermark_setup_position(channel, position), 0; });
}
int WebCamera::setWatermarkOpacity(int channel, int opacity) {
    return serialised([&] { return kq_watermark_setup_opaque(channel, opacity), 0; });
}
int WebCamera::enablePrivacy(int channel, bool on) {
    return serialised([&] { return kq_enable_privacy_mode(channel, on); });
}
int WebCamera::setFlip(int flip) {
    return serialised([&] { return kq_set_image_flip(flip), 0; });
}
int WebCamera::setImage(int type, int value) {
    return serialised([&] { return kq_isp_set(static_cast<uint32_t>(type), value); });
}

Snapshot WebCamera::snapshot(int channel, int quality) {
    Snapshots::Picture picture = mSnapshots.take(channel, kSnapshotTimeout, [&] {
        return serialised([&] { return kq_trigger_snapshot(channel, quality); });
    });
    if (picture.late)
        logLine(LogLevel::Warning, "snapshot of channel %d failed: no picture within %lld ms",
                channel, static_cast<long long>(kSnapshotTimeout.count()));
    else if (picture.code != 0)
        logLine(LogLevel::Warning, "snapshot of channel %d refused: code %d", channel,
                picture.code);
    return {picture.code, std::move(picture.jpeg)};
}

std::unique_ptr<Subscription<SharedBytes>> WebCamera::subscribeJpegFrames() {
    std::shared_ptr<FrameQueue> queue = mHub.subscribe(kChannel1Video, 2);
    return queue ? std::make_unique<JpegFrames>(std::move(queue)) : nullptr;
}

std::unique_ptr<Subscription<LogRecord>> WebCamera::subscribeLog() { return mLog.subscribe(); }

std::unique_ptr<TalkbackWriter> WebCamera::openTalkback(int rate, int channels) {
    const module::AudioParam& f = Camera::kTalkbackFormat;
    if (rate != static_cast<int>(f.sampleRate) || channels != f.channels) {
        logLine(LogLevel::Warning,
                "talkback at %d Hz, %d channels refused: the speaker plays %u Hz, %u channel", rate,
                channels, f.sampleRate, unsigned{f.channels});
        return nullptr;
    }
    std::unique_lock<std::mutex> talker(mTalker, std::try_to_lock);
    if (!talker.owns_lock() || !mSpeaker) {
        logLine(LogLevel::Warning, "talkback refused: %s",
                mSpeaker ? "someone else is talking" : "no speaker");
        return nullptr;
    }
    return std::make_unique<SinkTalkback>(mSpeaker, std::move(talker));
}

}  // namespace live
