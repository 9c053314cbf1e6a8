#include "media/channel.h"

#include <cerrno>
#include <utility>

namespace host::media {
namespace {

constexpr int kMaxH264Profile = 2;
constexpr int kMinJpegQuality = 1;
constexpr int kMaxJpegQuality = 100;

}  // namespace

Channel::Channel(ChannelKind kind, ChannelConfig config)
    : mKind(kind), mConfig(std::move(config)) {
    if (deliversBuffers(kind)) mOutput = std::make_unique<ChannelOutput>(queueDepth(kind, mConfig));
}

int Channel::setProfile(const rts_av_profile& profile) {
    if (!validProfile(mKind, profile)) return -EINVAL;
    // A running channel has sized its frames or samples by the current profile.
    if (mEnabled) return -EBUSY;
    mProfile = profile;
    return 0;
}

int Channel::enable() {
    if (mEnabled) return 0;
    if (needsProfile(mKind) && !mProfile) return -EPERM;
    if (needsSource(mKind) && mSource == kNoChannel) return -EPERM;
    mEnabled = true;
    return 0;
}

void Channel::disable() {
    mEnabled = false;
    mReceiving = false;
    mSending = false;
    if (mOutput) mOutput->clear();
}

int Channel::startReceiving() {
    if (!deliversBuffers(mKind)) return -EINVAL;
    if (!mEnabled) return -EPERM;
    mReceiving = true;
    return 0;
}

int Channel::stopReceiving() {
    if (!deliversBuffers(mKind)) return -EINVAL;
    mReceiving = false;
    // An armed callback stays: it does not depend on the reader.
    if (mOutput) mOutput->dropQueued();
    return 0;
}

std::optional<AudioFormat> Channel::deliveredFormat() const {
    if (mKind == ChannelKind::AudioResample) return std::get<AudioFormat>(mConfig);
    if (mKind != ChannelKind::AudioCapture) return std::nullopt;
    const auto& attr = std::get<rts_audio_attr>(mConfig);
    return AudioFormat{attr.rate, attr.format, attr.channels};
}

bool Channel::encodes(const AudioFormat& format) const {
    if (!mProfile) return true;
    const auto& a = mProfile->audio;
    return AudioFormat{a.sampleRate, a.bitsPerSample, a.channels} == format;
}

int Channel::startSending() {
    if (!acceptsBuffers(mKind)) return -EINVAL;
    if (!mEnabled) return -EPERM;
    mSending = true;
    return 0;
}

int Channel::stopSending() {
    if (!acceptsBuffers(mKind)) return -EINVAL;
    mSending = false;
    return 0;
}

int Channel::setH264Profile(int profile) {
    if (mKind != ChannelKind::H264 || profile < 0 || profile > kMaxH264Profile) return -EINVAL;
    mH264Profile = profile;
    return 0;
}

int Channel::setJpegQuality(int quality) {
    if (mKind != ChannelKind::Mjpeg || quality < kMinJpegQuality || quality > kMaxJpegQuality)
        return -EINVAL;
    mJpegQuality = quality;
    return 0;
}

}  // namespace host::media
