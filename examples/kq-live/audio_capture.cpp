#include "audio_capture.h"

#include <chrono>
#include <vector>

#include "adts.h"
#include "capture_time.h"
#include "live_log.h"
#include "module/buf.h"
#include "module/multi_audio_source.h"

namespace live {

AudioCapture::~AudioCapture() { stop(); }

void AudioCapture::start(const std::string& mic) {
    mSource = module::MultiAudioSourceAacPcm::Create(mic.c_str(), kFormat);
    mReader = std::thread(&AudioCapture::read, this,
                          mSource->CreateSharedSource(module::I_SourceFactory::CODEC_AAC));
}

void AudioCapture::stop() {
    mStopping = true;
    if (mReader.joinable()) mReader.join();
    // The reader's shared source went with it: this closes the capture chain.
    mSource.reset();
}

void AudioCapture::read(std::shared_ptr<module::I_Source> aac) {
    constexpr unsigned kWaitMs = 100;
    std::shared_ptr<module::Buf> buf;
    AacTimeline timeline(kFormat.sampleRate, kBufferMs);
    while (!mStopping) {
        const int bytes = aac->Read(&buf, kWaitMs, 0);
        const module::MediaInfo* info =
            bytes > 0 ? module::MediaInfo::From(buf->mediaInfo.get()) : nullptr;
        if (!info) {
            // Nothing within the wait, or a source whose device failed (see the log),
            // which reads nothing at once: not a loop to spin in.
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            continue;
        }
        publish(buf->Data(), static_cast<std::size_t>(bytes), info->timeMs, timeline);
    }
}

// One buffer may hold several frames; the stamp is the last one's.
void AudioCapture::publish(const uint8_t* data, std::size_t bytes, uint32_t stampMs,
                           AacTimeline& timeline) {
    std::vector<AdtsHeader> headers;
    for (std::size_t at = 0; at < bytes;) {
        AdtsHeader header{};
        if (!readAdtsHeader(data + at, bytes - at, &header)) {
            logLine(LogLevel::Warning, "AAC buffer of %zu bytes: no whole ADTS frame at byte %zu",
                    bytes, at);
            break;
        }
        headers.push_back(header);
        at += header.frameBytes;
    }
    const int64_t now = monotonicNs();
    const int64_t stamp = stampNs(stampMs, now);
    for (std::size_t i = 0, at = 0; i < headers.size(); at += headers[i++].frameBytes) {
        const int64_t behind = static_cast<int64_t>(headers.size() - 1 - i) * timeline.frameNs();
        const int64_t start = timeline.next(stamp - behind);
        ++mFrames;
        if (!mHub.wanted(kAudio)) continue;
        auto frame = std::make_shared<Frame>();
        frame->stream = kAudio;
        frame->data.assign(data + at, data + at + headers[i].frameBytes);
        frame->captureNs = start;
        frame->arrivalNs = now;
        mHub.publish(frame);
    }
}

}  // namespace live
