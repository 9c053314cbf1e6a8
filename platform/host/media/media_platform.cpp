#include "media/media_platform.h"

#include <cerrno>
#include <utility>

#include "host_state.h"

namespace host::media {

using Lock = std::lock_guard<std::mutex>;

template <typename F>
int MediaPlatform::whenInitialised(F f) {
    Lock lock(mMutex);
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
    Lock lock(mMutex);
    int chn;
    if (!mHandles.channelOf(handle, kind, &chn)) return -EINVAL;
    Channel* channel = mChannels.find(chn);
    if (!channel) return -ENODEV;
    return f(*channel);
}

int MediaPlatform::init() {
    Lock lock(mMutex);
    ++mInitCount;
    return 0;
}

int MediaPlatform::release() {
    Lock lock(mMutex);
    if (mInitCount == 0) return -EPERM;
    if (--mInitCount == 0) destroyAll();
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
    return withChannel(chn, [](Channel& c) { return c.enable(); });
}

int MediaPlatform::disable(int chn) {
    return withChannel(chn, [](Channel& c) {
        c.disable();
        return 0;
    });
}

int MediaPlatform::destroy(int chn) {
    return whenInitialised([=] { return mChannels.destroy(chn); });
}

int MediaPlatform::startReceiving(int chn) {
    return withChannel(chn, [](Channel& c) { return c.startReceiving(); });
}

int MediaPlatform::stopReceiving(int chn) {
    return withChannel(chn, [](Channel& c) { return c.stopReceiving(); });
}

int MediaPlatform::startSending(int chn) {
    return withChannel(chn, [](Channel& c) { return c.startSending(); });
}

int MediaPlatform::stopSending(int chn) {
    return withChannel(chn, [](Channel& c) { return c.stopSending(); });
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
    Lock lock(mMutex);
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

void MediaPlatform::reset() {
    Lock lock(mMutex);
    mInitCount = 0;
    mChannels.reset();
    mHandles.clear();
}

int MediaPlatform::liveChannels() {
    Lock lock(mMutex);
    return static_cast<int>(mChannels.size());
}

int MediaPlatform::initCount() {
    Lock lock(mMutex);
    return mInitCount;
}

void MediaPlatform::destroyAll() {
    mChannels.clear();
    mHandles.clear();
}

MediaPlatform& media() {
    static MediaPlatform* platform = new MediaPlatform;  // outlives every static destructor
    return *platform;
}

}  // namespace host::media

namespace hostctl {

void resetMedia() { host::media::media().reset(); }
int mediaLiveChannels() { return host::media::media().liveChannels(); }
int mediaInitCount() { return host::media::media().initCount(); }

}  // namespace hostctl
