#include "media/media_platform.h"

#include <utility>

#include "media/channel_routes.h"
#include "media/video_stream.h"

namespace host::media {

using Guard = std::lock_guard<std::mutex>;

int MediaPlatform::init() {
    Guard lock(mMutex);
    ++mInitCount;
    return 0;
}

int MediaPlatform::release() {
    OutOfService out;  // outlives the lock
    Lock lock(mMutex);
    if (mInitCount == 0) return -EPERM;
    if (--mInitCount == 0) destroyAll(lock, out);
    return 0;
}

int MediaPlatform::create(ChannelKind kind, std::optional<ChannelConfig> config) {
    return whenInitialised(
        [&] { return config ? mChannels.add(kind, std::move(*config)) : -EINVAL; });
}

int MediaPlatform::setProfile(int chn, const rts_av_profile* profile) {
    return withChannel(
        chn, [profile](Channel& c) { return profile ? c.setProfile(*profile) : -EINVAL; });
}

int MediaPlatform::bind(int src, int dst) {
    return whenInitialised([=] { return mChannels.bind(src, dst); });
}

int MediaPlatform::enable(int chn) {
    return withChannel(chn, [&](Channel& c) {
        if (c.enabled()) return 0;
        if (int rc = checkFormatFed(mChannels, c); rc != 0) return rc;
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

int MediaPlatform::disable(int chn) {
    OutOfService out;  // outlives the lock
    return withChannel(chn, [&](Channel& c) {
        c.disable();
        stopStreams(chn, out);
        mSpeakers.silence(chn, out);
        return 0;
    });
}

int MediaPlatform::destroy(int chn) {
    OutOfService out;  // outlives the lock
    Lock lock(mMutex);
    if (mInitCount == 0) return -ENODEV;
    if (!mChannels.find(chn)) return -ENOENT;
    destroyChannel(lock, chn, out);
    return 0;
}

int MediaPlatform::startReceiving(int chn) {
    return withChannel(chn, [](Channel& c) { return c.startReceiving(); });
}

int MediaPlatform::stopReceiving(int chn) {
    return withChannel(chn, [](Channel& c) { return c.stopReceiving(); });
}

int MediaPlatform::startSending(int chn) {
    OutOfService out;  // outlives the lock
    return withChannel(chn, [&](Channel& c) {
        bool wasSending = c.sending();
        int rc = c.startSending();
        if (rc != 0 || wasSending || c.kind() != ChannelKind::AudioPlayback) return rc;
        rc = mSpeakers.open(chn, std::get<rts_audio_attr>(c.config()), out);
        if (rc != 0) c.stopSending();
        return rc;
    });
}

int MediaPlatform::stopSending(int chn) {
    OutOfService out;  // outlives the lock
    return withChannel(chn, [&](Channel& c) {
        int rc = c.stopSending();
        if (rc == 0) mSpeakers.silence(chn, out);
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
    Channel* target = findMaskTarget(mChannels, width, height);
    if (!target) return -ENODEV;
    target->setMaskPack(pack);
    return 0;
}

void MediaPlatform::detachMask(uint32_t pack) {
    Guard lock(mMutex);
    mChannels.forEach([pack](int, Channel& c) {
        if (c.maskPack() == pack) c.setMaskPack(kNoPack);
    });
}

void MediaPlatform::reset() {
    OutOfService out;  // outlives the lock
    Lock lock(mMutex);
    mInitCount = 0;
    destroyAll(lock, out);
    mSpeakers.clear();  // `out` holds them until they are stopped
    mAudioQueues.clear(&out.pools);
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

// ---- Tear-down ---------------------------------------------------------------------------

void MediaPlatform::stopStreams(int chn, OutOfService& out) {
    if (auto it = mStreams.find(chn); it != mStreams.end()) {
        out.streams.push_back(std::move(it->second));
        mStreams.erase(it);
    }
    if (auto it = mCaptures.find(chn); it != mCaptures.end()) {
        out.captures.push_back(std::move(it->second));
        mCaptures.erase(it);
    }
}

void MediaPlatform::retirePool(Channel& c) {
    if (c.output() && c.output()->pool().taken() > 0)
        mRetiredPools.push_back(c.output()->releasePool());
}

void MediaPlatform::destroyChannel(Lock& lock, int chn, OutOfService& out) {
    stopStreams(chn, out);
    mSpeakers.silence(chn, out);
    if (ChannelOutput* output = mChannels.find(chn)->output()) output->clear();
    mCallbacks.cancel(lock, chn);
    // The wait above let other threads in: the channel may be gone already.
    Channel* c = mChannels.find(chn);
    if (!c) return;
    retirePool(*c);
    mChannels.destroy(chn);
    mSpeakers.prune(mChannels, out);
}

void MediaPlatform::destroyAll(Lock& lock, OutOfService& out) {
    for (auto& [chn, stream] : mStreams) out.streams.push_back(std::move(stream));
    mStreams.clear();
    for (auto& [chn, stream] : mCaptures) out.captures.push_back(std::move(stream));
    mCaptures.clear();
    mSpeakers.silenceAll(out);
    mCallbacks.cancel(lock, kNoChannel);
    mChannels.forEach([this](int, Channel& c) { retirePool(c); });
    mChannels.clear();
    mHandles.clear();
    mSpeakers.prune(mChannels, out);
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
