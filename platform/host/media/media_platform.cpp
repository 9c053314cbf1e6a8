#include "media/media_platform.h"

#include <cerrno>
#include <utility>

#include "media/video_stream.h"
#include "media/volume_gains.h"

namespace host::media {

using Guard = std::lock_guard<std::mutex>;

template <typename F>
int MediaPlatform::whenInitialised(F f) {
    Guard lock(mMutex);
    if (mInitCount == 0) return -ENODEV;
    return f();
}

template <typename F>
int MediaPlatform::withChannel(int chn, F f) {
    return whenInitialised([&] {
        Channel* channel = mChannels.find(chn);
        return channel ? f(*channel) : -ENOENT;
    });
}

template <typename F>
int MediaPlatform::withHandle(HandleId handle, ChannelKind kind, F f) {
    Guard lock(mMutex);
    int chn;
    if (!mHandles.channelOf(handle, kind, &chn)) return -EINVAL;
    Channel* channel = mChannels.find(chn);
    if (!channel) return -ENODEV;
    return f(*channel);
}

int MediaPlatform::init() {
    Guard lock(mMutex);
    ++mInitCount;
    return 0;
}

int MediaPlatform::release() {
    Stopped stopped;  // outlives the lock
    Lock lock(mMutex);
    if (mInitCount == 0) return -EPERM;
    if (--mInitCount == 0) destroyAll(lock, stopped);
    return 0;
}

int MediaPlatform::create(ChannelKind kind, std::optional<ChannelConfig> config) {
    return whenInitialised([&] {
        return config ? mChannels.add(kind, std::move(*config)) : -EINVAL;
    });
}

int MediaPlatform::setProfile(int chn, const rts_av_profile* profile) {
    return withChannel(chn, [profile](Channel& c) {
        return profile ? c.setProfile(*profile) : -EINVAL;
    });
}

int MediaPlatform::bind(int src, int dst) {
    return whenInitialised([=] { return mChannels.bind(src, dst); });
}

int MediaPlatform::enable(int chn) {
    return withChannel(chn, [&](Channel& c) {
        if (c.enabled()) return 0;
        if (int rc = checkFormatFed(c); rc != 0) return rc;
        if (int rc = c.enable(); rc != 0) return rc;
        if (c.kind() == ChannelKind::Isp && !mStreams.count(chn))
            mStreams[chn] = std::make_unique<VideoStream>(*this, chn);
        if (c.kind() == ChannelKind::AudioCapture && !mCaptures.count(chn)) {
            const auto& attr = std::get<rts_audio_attr>(c.config());
            if (int rc = CaptureStream::open(*this, chn, attr, &mCaptures[chn]); rc != 0) {
                mCaptures.erase(chn);
                c.disable();
                return rc;
            }
        }
        return 0;
    });
}

int MediaPlatform::checkFormatFed(const Channel& c) {
    if (c.kind() != ChannelKind::AudioEncode) return 0;
    // Without a source, the channel's own rules refuse it.
    Channel* source = mChannels.find(c.source());
    std::optional<AudioFormat> fed = source ? source->deliveredFormat() : std::nullopt;
    return fed && !c.encodes(*fed) ? -EINVAL : 0;
}

int MediaPlatform::disable(int chn) {
    Stopped stopped;  // outlives the lock
    return withChannel(chn, [&](Channel& c) {
        c.disable();
        stopped.streams.push_back(takeStream(chn));
        stopped.captures.push_back(takeCapture(chn));
        silenceSpeaker(chn, stopped);
        return 0;
    });
}

int MediaPlatform::destroy(int chn) {
    Stopped stopped;  // outlives the lock
    Lock lock(mMutex);
    if (mInitCount == 0) return -ENODEV;
    if (!mChannels.find(chn)) return -ENOENT;
    destroyChannel(lock, chn, stopped);
    return 0;
}

int MediaPlatform::startReceiving(int chn) {
    return withChannel(chn, [](Channel& c) { return c.startReceiving(); });
}

int MediaPlatform::stopReceiving(int chn) {
    return withChannel(chn, [](Channel& c) { return c.stopReceiving(); });
}

int MediaPlatform::startSending(int chn) {
    Stopped stopped;  // outlives the lock
    return withChannel(chn, [&](Channel& c) {
        bool wasSending = c.sending();
        int rc = c.startSending();
        if (rc != 0 || wasSending || c.kind() != ChannelKind::AudioPlayback) return rc;
        rc = openSpeaker(chn, c, stopped);
        if (rc != 0) c.stopSending();
        return rc;
    });
}

int MediaPlatform::stopSending(int chn) {
    Stopped stopped;  // outlives the lock
    return withChannel(chn, [&](Channel& c) {
        int rc = c.stopSending();
        if (rc == 0) silenceSpeaker(chn, stopped);
        return rc;
    });
}

bool MediaPlatform::active(int chn) {
    return withChannel(chn, [](Channel& c) { return c.enabled() ? 1 : 0; }) == 1;
}

int MediaPlatform::queryControl(int chn, ChannelKind kind, HandleId* handle) {
    return withChannel(chn, [&](Channel& c) {
        if (!handle || c.kind() != kind) return -EINVAL;
        HandleId id = mHandles.add(kind, chn);
        if (id == kNoHandle) return -ENOSPC;
        *handle = id;
        return 0;
    });
}

void MediaPlatform::releaseControl(HandleId handle, ChannelKind kind) {
    Guard lock(mMutex);
    mHandles.release(handle, kind);
}

int MediaPlatform::setH264Profile(HandleId handle, int profile) {
    return withHandle(handle, ChannelKind::H264,
                      [profile](Channel& c) { return c.setH264Profile(profile); });
}

int MediaPlatform::setJpegQuality(HandleId handle, int quality) {
    return withHandle(handle, ChannelKind::Mjpeg,
                      [quality](Channel& c) { return c.setJpegQuality(quality); });
}

int MediaPlatform::attachOverlay(int chn, uint32_t pack) {
    return withChannel(chn, [pack](Channel& c) {
        if (c.kind() != ChannelKind::Osd) return -EINVAL;
        c.setOverlayPack(pack);
        return 0;
    });
}

int MediaPlatform::attachMask(uint32_t width, uint32_t height, uint32_t pack) {
    Guard lock(mMutex);
    Channel* newest = nullptr;
    mChannels.forEach([&](int, Channel& c) {
        if (c.kind() != ChannelKind::Osd || c.maskPack() != kNoPack) return;
        Channel* source = mChannels.find(c.source());
        if (!source || source->kind() != ChannelKind::Isp || !source->profile()) return;
        const rts_av_profile& profile = *source->profile();
        if (profile.video.width == width && profile.video.height == height) newest = &c;
    });
    if (!newest) return -ENODEV;
    newest->setMaskPack(pack);
    return 0;
}

void MediaPlatform::detachMask(uint32_t pack) {
    Guard lock(mMutex);
    mChannels.forEach([pack](int, Channel& c) {
        if (c.maskPack() == pack) c.setMaskPack(kNoPack);
    });
}

void MediaPlatform::reset() {
    Stopped stopped;  // outlives the lock
    Lock lock(mMutex);
    mInitCount = 0;
    destroyAll(lock, stopped);
    mSpeakers.clear();  // stopped holds them until they are stopped
    mAudioQueues.clear(&stopped.pools);
    mChannels.reset();
    mRetiredPools.clear();
}

int MediaPlatform::liveChannels() {
    Guard lock(mMutex);
    return static_cast<int>(mChannels.size());
}

int MediaPlatform::initCount() {
    Guard lock(mMutex);
    return mInitCount;
}

int MediaPlatform::liveAudioQueues() {
    Guard lock(mMutex);
    return static_cast<int>(mAudioQueues.size());
}

int MediaPlatform::liveControlHandles() {
    Guard lock(mMutex);
    return static_cast<int>(mHandles.size());
}

// ---- Buffers -----------------------------------------------------------------------------

int MediaPlatform::poll(int chn) {
    return withChannel(chn, [](Channel& c) {
        if (!c.output()) return -EINVAL;
        if (!c.receiving()) return -EPERM;
        return c.output()->hasQueued() ? 0 : -EAGAIN;
    });
}

int MediaPlatform::receive(int chn, rts_av_buffer** buffer) {
    return withChannel(chn, [buffer](Channel& c) {
        if (!buffer || !c.output()) return -EINVAL;
        if (!c.receiving()) return -EPERM;
        *buffer = c.output()->take();
        return *buffer ? 0 : -EAGAIN;
    });
}

int MediaPlatform::putBuffer(rts_av_buffer* buffer) {
    Guard lock(mMutex);
    return giveBack(buffer);
}

int MediaPlatform::giveBack(rts_av_buffer* buffer) {
    if (!buffer) return -EINVAL;
    if (BufferPool* pool = mAudioQueues.poolHolding(buffer)) {
        pool->giveBack(buffer);
        return 0;
    }
    int rc = -EINVAL;
    mChannels.forEach([&](int, Channel& c) {
        if (rc != 0 && c.output() && c.output()->pool().holds(buffer)) {
            c.output()->pool().giveBack(buffer);
            rc = 0;
        }
    });
    if (rc == 0) return 0;
    for (auto it = mRetiredPools.begin(); it != mRetiredPools.end(); ++it) {
        if (!(*it)->holds(buffer)) continue;
        (*it)->giveBack(buffer);
        if ((*it)->taken() == 0) mRetiredPools.erase(it);
        return 0;
    }
    return -EINVAL;
}

int MediaPlatform::setCallback(int chn, const rts_av_callback* record) {
    return withChannel(chn, [record](Channel& c) {
        if (!record || !record->handler || !c.output()) return -EINVAL;
        if (!c.enabled()) return -EPERM;
        return c.output()->arm(*record);
    });
}

// ---- Producing ---------------------------------------------------------------------------

void MediaPlatform::publish(int chn, const uint8_t* data, std::size_t length, uint64_t timestampUs,
                            uint32_t flags) {
    Guard lock(mMutex);
    Channel* c = mChannels.find(chn);
    if (!c || !c->enabled() || !c->wanted()) return;
    handOut(chn, *c, data, length, timestampUs, flags);
}

void MediaPlatform::handOut(int chn, Channel& c, const uint8_t* data, std::size_t length,
                            uint64_t timestampUs, uint32_t flags) {
    std::optional<CallbackJob> job =
        c.output()->publish(data, length, timestampUs, flags, c.receiving());
    if (job) enqueueCallback(chn, *job);
}

void MediaPlatform::countDropped(int chn) {
    Guard lock(mMutex);
    if (Channel* c = mChannels.find(chn); c && c->output()) c->output()->countDropped();
}

bool MediaPlatform::routeOf(int isp, StreamRoute* route) {
    route->encoders.clear();  // keeps its capacity
    route->overlayPack = kNoPack;
    route->maskPack = kNoPack;
    Guard lock(mMutex);
    Channel* camera = mChannels.find(isp);
    if (!camera || !camera->enabled() || !camera->profile()) return false;
    route->profile = *camera->profile();
    int overlay = kNoChannel;
    mChannels.forEach([&](int id, Channel& c) {
        if (c.kind() == ChannelKind::Osd && c.source() == isp && c.enabled() && overlay < 0) {
            overlay = id;
            route->overlayPack = c.overlayPack();
            route->maskPack = c.maskPack();
        }
    });
    mChannels.forEach([&](int id, Channel& c) {
        bool fed = c.source() == isp || (overlay >= 0 && c.source() == overlay);
        bool encoder = c.kind() == ChannelKind::H264 || c.kind() == ChannelKind::Mjpeg;
        if (!fed || !encoder || !c.enabled() || !c.wanted() || c.scripted()) return;
        rts_h264_attr h264{};
        if (c.kind() == ChannelKind::H264) h264 = std::get<rts_h264_attr>(c.config());
        route->encoders.push_back({id, c.kind(), h264, c.h264Profile(), c.jpegQuality()});
    });
    return true;
}

namespace {

// Adds `chn` to the route when somebody takes its buffers and it is not scripted.
void addTarget(int chn, const Channel& c, int resampler, const AudioFormat& format,
               CaptureRoute* route) {
    if (!c.wanted() || c.scripted()) return;
    bool accepted = c.kind() != ChannelKind::AudioEncode || c.encodes(format);
    route->targets.push_back({chn, resampler, format, accepted});
}

}  // namespace

bool MediaPlatform::captureRouteOf(int capture, CaptureRoute* route) {
    route->targets.clear();  // keeps its capacity
    Guard lock(mMutex);
    Channel* microphone = mChannels.find(capture);
    if (!microphone || !microphone->enabled()) return false;
    const AudioFormat captured = *microphone->deliveredFormat();
    addTarget(capture, *microphone, kNoChannel, captured, route);
    mChannels.forEach([&](int id, Channel& c) {
        if (c.source() != capture || !c.enabled()) return;
        if (c.kind() != ChannelKind::AudioResample) {
            addTarget(id, c, kNoChannel, captured, route);
            return;
        }
        const AudioFormat converted = *c.deliveredFormat();
        addTarget(id, c, id, converted, route);
        mChannels.forEach([&](int encoder, Channel& e) {
            if (e.source() == id && e.enabled()) addTarget(encoder, e, id, converted, route);
        });
    });
    return true;
}

std::optional<CaptureCounts> MediaPlatform::captureCounts(int chn) {
    Guard lock(mMutex);
    auto it = mCaptures.find(chn);
    if (it == mCaptures.end()) return std::nullopt;
    return it->second->counts();
}

int MediaPlatform::setScripted(int chn, bool scripted) {
    return withChannel(chn, [scripted](Channel& c) {
        if (!c.output()) return -EINVAL;
        c.setScripted(scripted);
        return 0;
    });
}

int MediaPlatform::push(int chn, const uint8_t* data, std::size_t length, uint64_t timestampUs,
                        uint32_t flags) {
    return withChannel(chn, [&](Channel& c) {
        if (!c.output() || (!data && length > 0)) return -EINVAL;
        if (!c.enabled()) return -EPERM;
        // Nobody takes it: made and lost, as a real channel would count it.
        if (!c.wanted()) {
            c.output()->countDropped();
            return 0;
        }
        handOut(chn, c, data, length, timestampUs, flags);
        return 0;
    });
}

std::optional<OutputStats> MediaPlatform::stats(int chn) {
    Guard lock(mMutex);
    Channel* c = mChannels.find(chn);
    if (!c || !c->output()) return std::nullopt;
    return c->output()->stats();
}

// ---- Playback ----------------------------------------------------------------------------

int MediaPlatform::openSpeaker(int chn, const Channel& c, Stopped& stopped) {
    const auto& attr = std::get<rts_audio_attr>(c.config());
    std::unique_ptr<audio::PlaybackDevice> device;
    int rc = audio::PlaybackDevice::open(attr.dev_node, {attr.rate, attr.format, attr.channels},
                                         "playback chn " + std::to_string(chn), playbackGain,
                                         &device);
    if (rc != 0) return rc;
    Speaker& slot = mSpeakers[chn];
    if (slot) stopped.speakers.push_back(std::move(slot));
    slot = std::move(device);
    return 0;
}

void MediaPlatform::silenceSpeaker(int chn, Stopped& stopped) {
    auto it = mSpeakers.find(chn);
    if (it != mSpeakers.end()) stopped.speakers.push_back(it->second);
}

void MediaPlatform::pruneSpeakers(Stopped& stopped) {
    std::size_t gone = 0;
    for (auto& [chn, speaker] : mSpeakers) gone += mChannels.find(chn) ? 0 : 1;
    // Ids only grow, so the map's first destroyed channels are the oldest.
    for (auto it = mSpeakers.begin(); it != mSpeakers.end() && gone > kKeptSpeakers;) {
        if (mChannels.find(it->first)) {
            ++it;
            continue;
        }
        stopped.speakers.push_back(std::move(it->second));
        it = mSpeakers.erase(it);
        --gone;
    }
}

int MediaPlatform::send(int chn, const rts_av_buffer* buffer) {
    Speaker speaker;
    const uint8_t* data = nullptr;
    std::size_t bytes = 0;
    int rc = withChannel(chn, [&](Channel& c) {
        if (c.kind() != ChannelKind::AudioPlayback) return -EINVAL;
        if (!c.enabled() || !c.sending()) return -EPERM;
        BufferPool* pool = mAudioQueues.poolHolding(buffer);
        if (!pool) return -EINVAL;
        // The pool's own storage, not the record's address, which the caller could
        // have changed.
        const std::vector<uint8_t>& storage = *pool->storageOf(buffer);
        if (buffer->bytesUsed > storage.size()) return -EINVAL;
        auto it = mSpeakers.find(chn);
        if (it == mSpeakers.end()) return -EPERM;  // not reached: sending means a speaker
        data = storage.data();
        bytes = buffer->bytesUsed;
        speaker = it->second;
        return 0;
    });
    // The caller keeps the buffer until the send returns, so its storage stays put
    // while the speaker waits for room without the lock.
    return rc != 0 ? rc : speaker->send(data, bytes);
}

std::shared_ptr<audio::PlaybackDevice> MediaPlatform::speaker(int chn) {
    Guard lock(mMutex);
    auto it = mSpeakers.find(chn);
    return it == mSpeakers.end() ? nullptr : it->second;
}

int MediaPlatform::newestSpeakerChannel() {
    Guard lock(mMutex);
    return mSpeakers.empty() ? kNoChannel : mSpeakers.rbegin()->first;
}

int MediaPlatform::createAudioQueue(audio_queue* queue, std::size_t bufferBytes) {
    Guard lock(mMutex);
    return mAudioQueues.create(queue, bufferBytes);
}

rts_av_buffer* MediaPlatform::popAudioQueue(audio_queue* queue) {
    Guard lock(mMutex);
    return mAudioQueues.pop(queue);
}

int MediaPlatform::destroyAudioQueue(audio_queue* queue) {
    Guard lock(mMutex);
    return mAudioQueues.destroy(queue, &mRetiredPools);
}

// ---- Callbacks ---------------------------------------------------------------------------

void MediaPlatform::enqueueCallback(int chn, const CallbackJob& job) {
    mCallbacks.push_back({chn, job});
    if (!mCallbackThreadStarted) {
        std::thread thread([this] { runCallbacks(); });
        mCallbackThreadId = thread.get_id();
        thread.detach();  // lives as long as the process, like the platform itself
        mCallbackThreadStarted = true;
    }
    mCallbacksChanged.notify_all();
}

void MediaPlatform::runCallbacks() {
    Lock lock(mMutex);
    for (;;) {
        mCallbacksChanged.wait(lock, [this] { return !mCallbacks.empty(); });
        PendingCallback pending = mCallbacks.front();
        mCallbacks.pop_front();
        mRunningCallback = pending.chn;
        lock.unlock();
        // The handler is the caller's code: it runs without the platform's lock and
        // may call the platform itself.
        pending.job.handler(pending.job.context, nullptr, pending.job.buffer);
        lock.lock();
        giveBack(pending.job.buffer);
        mRunningCallback = kNoChannel;
        mCallbacksChanged.notify_all();
    }
}

void MediaPlatform::cancelCallbacks(Lock& lock, int chn) {
    for (auto it = mCallbacks.begin(); it != mCallbacks.end();) {
        if (chn != kNoChannel && it->chn != chn) {
            ++it;
            continue;
        }
        giveBack(it->job.buffer);
        it = mCallbacks.erase(it);
    }
    if (std::this_thread::get_id() == mCallbackThreadId) return;
    mCallbacksChanged.wait(lock, [&] {
        return mRunningCallback == kNoChannel || (chn != kNoChannel && mRunningCallback != chn);
    });
}

void MediaPlatform::waitCallbacksIdle() {
    Lock lock(mMutex);
    mCallbacksChanged.wait(lock,
                           [this] { return mCallbacks.empty() && mRunningCallback == kNoChannel; });
}

// ---- Tear-down ---------------------------------------------------------------------------

std::unique_ptr<VideoStream> MediaPlatform::takeStream(int chn) {
    auto it = mStreams.find(chn);
    if (it == mStreams.end()) return nullptr;
    std::unique_ptr<VideoStream> stream = std::move(it->second);
    mStreams.erase(it);
    return stream;
}

std::unique_ptr<CaptureStream> MediaPlatform::takeCapture(int chn) {
    auto it = mCaptures.find(chn);
    if (it == mCaptures.end()) return nullptr;
    std::unique_ptr<CaptureStream> stream = std::move(it->second);
    mCaptures.erase(it);
    return stream;
}

void MediaPlatform::destroyChannel(Lock& lock, int chn, Stopped& stopped) {
    stopped.streams.push_back(takeStream(chn));
    stopped.captures.push_back(takeCapture(chn));
    silenceSpeaker(chn, stopped);
    if (ChannelOutput* output = mChannels.find(chn)->output()) output->clear();
    cancelCallbacks(lock, chn);
    // The wait above let other threads in: the channel may be gone already.
    Channel* c = mChannels.find(chn);
    if (!c) return;
    if (c->output() && c->output()->pool().taken() > 0)
        mRetiredPools.push_back(c->output()->releasePool());
    mChannels.destroy(chn);
    pruneSpeakers(stopped);
}

void MediaPlatform::destroyAll(Lock& lock, Stopped& stopped) {
    for (auto& [chn, stream] : mStreams) stopped.streams.push_back(std::move(stream));
    mStreams.clear();
    for (auto& [chn, stream] : mCaptures) stopped.captures.push_back(std::move(stream));
    mCaptures.clear();
    for (auto& [chn, speaker] : mSpeakers) stopped.speakers.push_back(speaker);
    cancelCallbacks(lock, kNoChannel);
    mChannels.forEach([this](int, Channel& c) {
        if (c.output() && c.output()->pool().taken() > 0)
            mRetiredPools.push_back(c.output()->releasePool());
    });
    mChannels.clear();
    mHandles.clear();
    pruneSpeakers(stopped);
}

MediaPlatform::Stopped::~Stopped() {
    for (const Speaker& speaker : speakers) speaker->stop();
}

MediaPlatform& media() {
    static MediaPlatform* platform = new MediaPlatform;  // outlives every static destructor
    return *platform;
}

}  // namespace host::media

namespace hostctl {

int liveAudioQueues() { return host::media::media().liveAudioQueues(); }
int liveControlHandles() { return host::media::media().liveControlHandles(); }

}  // namespace hostctl
