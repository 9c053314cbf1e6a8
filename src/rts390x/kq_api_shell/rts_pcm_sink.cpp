// module::PcmSink: PCM playback through a playback channel. Written buffers wait in a
// jitter buffer; the sink's worker starts playing once 8 are queued, sends a burst of
// up to 4 and then one buffer per buffer period, and waits again whenever the jitter
// buffer runs dry.
#include "module/pcm_sink.h"

#include <atomic>
#include <boost/exception/diagnostic_information.hpp>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <exception>

#include "camera_support.h"
#include "fiber_lock.h"
#include "module/buf.h"
#include "module/data_queue.h"
#include "module/fiber.h"
#include "module/regular_action.h"
#include "rts_av.h"
#include "rts_log.h"

namespace module {
namespace {

// Buffering ends when this many buffers are queued.
constexpr unsigned int kStartLevel = 8;
// Written back to back when buffering ends.
constexpr int kBurst = 4;
// Waiting longer than this for the start level mutes the output.
constexpr std::chrono::nanoseconds kStarvationLimit{5000000000LL};
// The platform takes a device buffer's size as a 16-bit count.
constexpr uint32_t kMaxFrameBytes = 65535;
// A sink that cannot play has no buffer period to keep: its worker waits in steps of
// this many milliseconds, so that a frameMs of 0 does not spin and one of seconds does
// not hold up the sink's destruction.
constexpr unsigned int kUnplayableStepMs = 10;

// Bytes of one device buffer: frameMs of PCM, computed in unsigned 32-bit arithmetic.
uint32_t frameBytesOf(const AudioParam& param) {
    const uint32_t sampleBytes = (uint32_t{param.channels} * param.bitsPerSample) >> 3;
    return sampleBytes * ((uint32_t{param.frameMs} * param.sampleRate) / 1000);
}

bool playable(const AudioParam& param, uint32_t frameBytes) {
    return param.sampleRate && param.channels && param.bitsPerSample && param.frameMs &&
           frameBytes > 0 && frameBytes <= kMaxFrameBytes;
}

}  // namespace

class KQ_LOCAL PcmSink::PrivateImp {
public:
    PrivateImp() = default;
    // Stops the worker, then closes the channel; queued buffers go unplayed.
    ~PrivateImp();

    void start(const char* name, const AudioParam& param);

    void openSink();
    void closeSink();
    int getVolume();
    int setVolume(int volume);
    void mute(bool on);
    bool isMute();

    // The application's side.
    void queue(std::shared_ptr<const Buf> buf, unsigned int len);
    void flush() { mFlushRequested.store(true); }
    bool isRunning() const { return mFiber && mFiber->IsRunning(); }
    int jitterMs() const { return static_cast<int>(mParam.frameMs * mDataQueue.Size()); }

private:
    // The worker's side.
    void Write(std::shared_ptr<const Buf> buf, unsigned int len);
    void buffering();
    void startPlayback(std::atomic<bool>& stop);
    void playback(std::atomic<bool>& stop);
    // Whether the worker goes on: its stop flag, which the worker knows from its first
    // step on, before Create has stored mFiber.
    bool workerRunning() const {
        const std::atomic<bool>* stop = mWorkerStop.load();
        return stop && !stop->load();
    }
    // Up to `count` queued buffers to the device, back to back; false once the jitter
    // buffer is found empty.
    bool sendQueued(int count);

    const char* mName = nullptr;
    AudioParam mParam{};
    // Holds kDefaultEntries buffers (64, well above the start level); a full queue
    // drops its oldest buffer, which queue() reports.
    DataQueue mDataQueue{"rts_pcm_sink", 0, 0};
    std::unique_ptr<Fiber> mFiber;
    std::atomic<bool> mFlushRequested{false};
    int32_t mChn = -1;
    rts_audio_attr mAttr{};
    audio_queue mAudioQueue{};
    bool mMuted = true;
    boost::fibers::mutex mMutex;

    bool mStarted = false;  // by Create
    uint32_t mFrameBytes = 0;
    bool mPlayable = false;    // whether the format gives a device buffer the platform takes
    unsigned int mStepMs = 0;  // the worker's buffering poll; half of it its idle sleep
    std::atomic<const std::atomic<bool>*> mWorkerStop{nullptr};
    // Whether the last write found the jitter buffer full, so that a run of drops is
    // reported once.
    std::atomic<bool> mDropping{false};
    std::shared_ptr<Buf> mTaken;  // the worker's last buffer from the jitter buffer
};

// ---- Opening, closing, volume ------------------------------------------------------------

void PcmSink::PrivateImp::start(const char* name, const AudioParam& param) {
    mStarted = true;
    mName = name;
    mParam = param;
    mFrameBytes = frameBytesOf(param);
    mPlayable = playable(param, mFrameBytes);
    mStepMs = mPlayable ? param.frameMs : kUnplayableStepMs;
    openSink();
    mFiber = std::make_unique<Fiber>(
        "PCM playback", [this](std::atomic<bool>& stop) { startPlayback(stop); },
        std::function<void()>(), std::function<void()>());
}

PcmSink::PrivateImp::~PrivateImp() {
    mFiber.reset();
    // A sink made without Create never started the platform: it has nothing to release.
    if (mStarted) closeSink();
}

void PcmSink::PrivateImp::openSink() {
    FiberLock lock(mMutex);
    if (mChn >= 0) {
        KQ_WARNING("RTS PCM Sink is already openned.");
        return;
    }
    int r = rts_av_init();
    if (r != 0) {
        KQ_ERROR("rts av init fail %d, %s\n", r, errno2str(r));
        return;
    }
    // Checked once the platform is started, so that closeSink's release pairs with it.
    if (!mPlayable) {
        KQ_ERROR(
            "RTS PCM Sink cannot play %u Hz, %u channels, %u bits, %u ms: a device "
            "buffer must hold 1 to %u bytes\n",
            mParam.sampleRate, unsigned{mParam.channels}, unsigned{mParam.bitsPerSample},
            unsigned{mParam.frameMs}, kMaxFrameBytes);
        return;
    }
    std::snprintf(mAttr.dev_node, sizeof mAttr.dev_node, "%s", mName ? mName : "");
    mAttr.format = mParam.bitsPerSample;
    mAttr.channels = mParam.channels;
    mAttr.rate = mParam.sampleRate;
    r = create_audio_queue(&mAudioQueue, static_cast<uint16_t>(mFrameBytes));
    if (r != 0) {
        KQ_PLATFORM_ERROR("create audio queue fail, ret = %d, %s\n", r);
        return;
    }
    mChn = rts_av_create_audio_playback_chn(&mAttr);
    if (mChn < 0) {
        KQ_PLATFORM_ERROR("create playback chn fail, ret = %d, %s\n", mChn);
        return;
    }
    if ((r = rts_av_enable_chn(mChn)) != 0) {
        KQ_PLATFORM_ERROR("enable playback chn fail, ret = %d, %s\n", r);
        rts_av_destroy_chn(mChn);
        mChn = -1;
        return;
    }
    if ((r = rts_av_start_send(mChn)) != 0) {
        KQ_PLATFORM_ERROR("start send fail, ret = %d, %s\n", r);
        rts_av_disable_chn(mChn);
        rts_av_destroy_chn(mChn);
        mChn = -1;
        return;
    }
    KQ_INFO("RTS PCM Sink opened.");
}

void PcmSink::PrivateImp::closeSink() {
    FiberLock lock(mMutex);
    rts_av_stop_send(mChn);
    rts_av_disable_chn(mChn);
    if (mChn >= 0) rts_av_destroy_chn(mChn);
    mChn = -1;
    destroy_audio_queue(&mAudioQueue);
    rts_av_release();
    KQ_INFO("RTS PCM Sink closed");
}

int PcmSink::PrivateImp::getVolume() {
    FiberLock lock(mMutex);
    if (mMuted) return 0;
    int volume = -1;
    int r = get_playback_volume(&volume);
    if (r < 0) {
        KQ_ERROR("get playback volume fail!");
        return r;
    }
    return volume;
}

int PcmSink::PrivateImp::setVolume(int volume) {
    FiberLock lock(mMutex);
    mMuted = volume == 0;
    int r = enable_playback_mute(mMuted);
    if (r < 0) {
        KQ_ERROR("enable playback mute fail!");
        return r;
    }
    if ((r = set_playback_volume(volume)) < 0) {
        KQ_ERROR("set playback volume fail!");
        return r;
    }
    return volume;
}

void PcmSink::PrivateImp::mute(bool on) {
    FiberLock lock(mMutex);
    mMuted = on;
    enable_playback_mute(on);
}

bool PcmSink::PrivateImp::isMute() {
    FiberLock lock(mMutex);
    return mMuted;
}

// ---- The application's side ----------------------------------------------------------------

void PcmSink::PrivateImp::queue(std::shared_ptr<const Buf> buf, unsigned int len) {
    if (!isRunning()) {
        KQ_WARNING("RTS PCM Sink is not running!");
        return;
    }
    // A device buffer holds mFrameBytes: nothing longer is ever copied into one.
    if (!buf || len == 0 || len > mFrameBytes) {
        KQ_WARNING("RTS PCM Sink refuses a buffer of %u bytes: it takes 1 to %u bytes%s", len,
                   mFrameBytes, buf ? "" : " (no buffer given)");
        return;
    }
    mFlushRequested.store(false);
    const uint64_t droppedBefore = mDataQueue.Dropped();
    if (mDataQueue.Write(std::move(buf), len) == 0) {
        KQ_WARNING("RTS PCM Sink could not queue %u bytes: the buffer holds fewer", len);
        return;
    }
    const bool dropping = mDataQueue.Dropped() != droppedBefore;
    if (dropping && !mDropping.exchange(true))
        KQ_WARNING("RTS PCM Sink jitter buffer full (%u buffers): the oldest are dropped",
                   DataQueue::kDefaultEntries);
    else if (!dropping)
        mDropping.store(false);
}

void PcmSink::PrivateImp::Write(std::shared_ptr<const Buf> buf, unsigned int len) {
    if (len == 0) return;
    FiberLock lock(mMutex);
    if (mChn < 0) {
        KQ_WARNING("PcmSink is not opened");
        return;
    }
    rts_av_buffer* device = pop_audio_queue(&mAudioQueue);
    if (!device) {
        KQ_WARNING("pop audio queue fail");
        return;
    }
    std::memcpy(device->data, buf->Data(), len);
    device->bytesUsed = len;
    device->timestamp = 0;
    int r = rts_av_send(mChn, device);
    if (r != 0) KQ_PLATFORM_ERROR("rts av send fail, ret = %d, %s\n", r);
    rts_av_put_buffer(device);
}

// ---- The worker ------------------------------------------------------------------------------

bool PcmSink::PrivateImp::sendQueued(int count) {
    for (int i = 0; i < count; ++i) {
        int len = mDataQueue.Read(&mTaken, 0, 0);
        if (len <= 0) return false;
        Write(mTaken, static_cast<unsigned int>(len));
    }
    return true;
}

void PcmSink::PrivateImp::buffering() {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    bool starving = false;
    while (!mFlushRequested.load() && mDataQueue.Size() < kStartLevel && workerRunning()) {
        // Once muted, the clock is not read again in this phase.
        if (!starving && !isMute() && Clock::now() - start > kStarvationLimit) {
            mute(true);
            starving = true;
        }
        Fiber::SleepMs(mStepMs);
    }
    mFlushRequested.store(false);
    if (workerRunning() && isMute()) mute(false);
    sendQueued(kBurst);
}

void PcmSink::PrivateImp::playback(std::atomic<bool>& stop) {
    RegularAction pacer(std::chrono::nanoseconds(int64_t{mParam.frameMs} * 1000000));
    buffering();
    pacer.Start(true);
    while (!stop.load()) {
        if (!pacer.IsReady()) {
            Fiber::SleepMs(mStepMs / 2);
            continue;
        }
        if (sendQueued(1)) {
            pacer.ActionDone();
        } else {
            buffering();
            pacer.Start(true);
        }
    }
}

void PcmSink::PrivateImp::startPlayback(std::atomic<bool>& stop) {
    mWorkerStop.store(&stop);
    try {
        playback(stop);
    } catch (const std::exception& e) {
        KQ_ERROR("%s", boost::diagnostic_information(e).c_str());
    }
    mTaken.reset();
}

// ---- The public class --------------------------------------------------------------------------

namespace {

void deleteSink(PcmSink* sink) { delete sink; }

}  // namespace

std::shared_ptr<PcmSink> PcmSink::Create(const char* name, const AudioParam& param) {
    std::shared_ptr<PcmSink> sink(new PcmSink, deleteSink);
    sink->mImp->start(name, param);
    return sink;
}

PcmSink::PcmSink() : mImp(std::make_unique<PrivateImp>()) {}

PcmSink::~PcmSink() = default;

void PcmSink::Write(std::shared_ptr<const Buf> buf, unsigned int len) {
    mImp->queue(std::move(buf), len);
}

void PcmSink::Flush() { mImp->flush(); }

bool PcmSink::IsRunning() const { return mImp->isRunning(); }

int PcmSink::JitterMs() const { return mImp->jitterMs(); }

int PcmSink::getVolume() { return mImp->getVolume(); }

int PcmSink::setVolume(int volume) { return mImp->setVolume(volume); }

}  // namespace module
