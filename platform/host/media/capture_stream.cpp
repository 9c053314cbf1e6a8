#include "media/capture_stream.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "audio/capture_period.h"
#include "audio/sample_gain.h"
#include "audio/sync_beep.h"
#include "log/host_log.h"
#include "media/monotonic_clock.h"
#include "media/stream_sink.h"
#include "media/sync_marks.h"
#include "media/volume_gains.h"

namespace host::media {
namespace {

using Clock = std::chrono::steady_clock;

Clock::duration durationOf(uint64_t frames, uint32_t rate) {
    return std::chrono::microseconds(audio::microsecondsOf(frames, rate));
}

}  // namespace

int CaptureStream::open(StreamSink& sink, int captureChannel, const rts_audio_attr& attr,
                        std::unique_ptr<CaptureStream>* stream) {
    audio::PcmFormat format{attr.rate, attr.format, attr.channels};
    std::unique_ptr<audio::PcmInput> input;
    if (int rc = audio::openPcmInput(std::string(attr.dev_node), format, &input); rc != 0)
        return rc;
    stream->reset(new CaptureStream(sink, captureChannel, format, std::move(input)));
    return 0;
}

CaptureStream::CaptureStream(StreamSink& sink, int captureChannel, const audio::PcmFormat& format,
                             std::unique_ptr<audio::PcmInput> input)
    : mSink(sink),
      mChannel(captureChannel),
      mFormat(format),
      mInput(std::move(input)),
      mCaptured(audio::maxCapturePeriodFrames(format.rate) * format.frameBytes()),
      mThread([this] { run(); }) {}

CaptureStream::~CaptureStream() {
    {
        std::lock_guard<std::mutex> lock(mWakeMutex);
        mStopping = true;
    }
    mWake.notify_all();
    mThread.join();
}

CaptureCounts CaptureStream::counts() const {
    return {mPeriodsRead.load(std::memory_order_relaxed),
            mInputErrors.load(std::memory_order_relaxed)};
}

bool CaptureStream::sleepUntil(Clock::time_point deadline) {
    std::unique_lock<std::mutex> lock(mWakeMutex);
    return !mWake.wait_until(lock, deadline, [this] { return mStopping; });
}

void CaptureStream::run() {
    if (mInput->keepsTime())
        followDevice();
    else
        paceByClock();
}

void CaptureStream::paceByClock() {
    // With sync marks the stream starts on the grid through the whole seconds, so that a
    // frame starts at each of them and the beep can begin exactly there.
    bool marks = syncMarks();
    auto anchor = [this, &marks] {
        marks = syncMarks();
        const uint64_t nowUs = monotonicMicroseconds();
        return marks ? audio::syncGridStart(nowUs, mFormat.rate) : nowUs;
    };
    uint64_t startUs = anchor();
    uint64_t index = 0;
    for (;;) {
        uint64_t first = audio::capturePeriodStart(index, mFormat.rate);
        uint64_t next = audio::capturePeriodStart(++index, mFormat.rate);
        bool read = readPeriod(next - first);
        // Published once its period has passed, as a card would deliver it, and paced
        // from the start rather than from the last period, so the rate does not drift.
        Clock::time_point due = monotonicTimePoint(startUs) + durationOf(next, mFormat.rate);
        if (!sleepUntil(due)) return;
        if (read && marks)
            audio::writeSyncBeep(
                mCaptured.data(), next - first, mFormat,
                static_cast<uint32_t>((audio::frameOfSecond(startUs, mFormat.rate) + first) %
                                      mFormat.rate));
        if (read) deliver(next - first, startUs + audio::microsecondsOf(first, mFormat.rate));
        if (due + audio::kCaptureMaxLag < Clock::now() || marks != syncMarks()) {
            startUs = anchor();
            index = 0;
        }
    }
}

void CaptureStream::followDevice() {
    const Clock::duration spacing =
        durationOf(audio::capturePeriodStart(1, mFormat.rate), mFormat.rate) / 2;
    Clock::time_point nextRead = Clock::now();
    uint64_t lastStampUs = 0;
    for (uint64_t index = 0;; ++index) {
        if (!sleepUntil(nextRead)) return;
        nextRead = Clock::now() + spacing;
        std::size_t frames = audio::capturePeriodStart(index + 1, mFormat.rate) -
                             audio::capturePeriodStart(index, mFormat.rate);
        if (!readPeriod(frames)) continue;
        // The first sample was captured the buffer's and the card's backlog's time ago;
        // stamps still never go back, whatever the card reports.
        uint64_t ageUs = audio::microsecondsOf(frames + mInput->framesWaiting(), mFormat.rate);
        uint64_t nowUs = monotonicMicroseconds();
        lastStampUs = std::max(nowUs > ageUs ? nowUs - ageUs : 0, lastStampUs + 1);
        deliver(frames, lastStampUs);
    }
}

bool CaptureStream::readPeriod(std::size_t frames) {
    ++mPeriod;
    int rc = mInput->read(mCaptured.data(), frames * mFormat.frameBytes());
    if (rc == 0) {
        mPeriodsRead.fetch_add(1, std::memory_order_relaxed);
        return true;
    }
    // The first failure is reported; a device that keeps failing would flood the log.
    if (mInputErrors.fetch_add(1, std::memory_order_relaxed) == 0)
        log::report(log::kWarning, "capture chn %d: the microphone failed a read: %s", mChannel,
                    std::strerror(-rc));
    return false;
}

void CaptureStream::deliver(std::size_t frames, uint64_t timestampUs) {
    const std::size_t bytes = frames * mFormat.frameBytes();
    if (mSink.captureRouteOf(mChannel, &mRoute) && !mRoute.targets.empty()) {
        captureGain().apply(mCaptured.data(), bytes, mFormat);
        for (const CaptureTarget& target : mRoute.targets) {
            std::optional<Samples> samples =
                target.accepted ? samplesFor(target, bytes) : std::nullopt;
            if (samples)
                mSink.publish(target.channel, samples->data, samples->bytes, timestampUs, 0);
            else
                mSink.countDropped(target.channel);
        }
    }
    dropIdleConversions();
}

std::optional<CaptureStream::Samples> CaptureStream::samplesFor(const CaptureTarget& target,
                                                                std::size_t bytes) {
    // A resample channel of the captured format passes the samples on untouched.
    if (target.resampler == kNoChannel || target.format == mFormat)
        return Samples{mCaptured.data(), bytes};
    Conversion& conversion = mConversions[target.resampler];
    // Once a period, for the resample channel's reader and its encoders alike.
    if (conversion.period != mPeriod) {
        conversion.period = mPeriod;
        conversion.ok = convert(target.format, conversion, bytes);
    }
    if (!conversion.ok) return std::nullopt;
    return Samples{conversion.samples.data(), conversion.samples.size()};
}

bool CaptureStream::convert(const AudioFormat& format, Conversion& conversion, std::size_t bytes) {
    // Formats libswresample refused are not tried again while the conversion lives.
    if (!conversion.created) {
        conversion.created = true;
        if (audio::Resampler::create(mFormat, format, &conversion.resampler) != 0)
            log::report(log::kWarning,
                        "capture chn %d: cannot convert to %u Hz, %u bits, %u channels", mChannel,
                        format.rate, format.bitsPerSample, format.channels);
    }
    return conversion.resampler &&
           conversion.resampler->convert(mCaptured.data(), bytes, &conversion.samples) == 0;
}

void CaptureStream::dropIdleConversions() {
    for (auto it = mConversions.begin(); it != mConversions.end();) {
        bool used = std::any_of(mRoute.targets.begin(), mRoute.targets.end(),
                                [&](const CaptureTarget& t) { return t.resampler == it->first; });
        it = used ? std::next(it) : mConversions.erase(it);
    }
}

}  // namespace host::media
