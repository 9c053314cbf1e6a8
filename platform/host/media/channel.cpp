#include "media/channel.h"

#include <cerrno>
#include <string>
#include <utility>

#include "log/host_log.h"

namespace host::media {
namespace {

constexpr int kMaxH264Profile = 2;
constexpr int kMinJpegQuality = 1;
constexpr int kMaxJpegQuality = 100;

}  // namespace

Channel::Channel(int id, ChannelKind kind, ChannelConfig config)
    : mId(id), mKind(kind), mConfig(std::move(config)) {
    if (deliversBuffers(kind)) mOutput = std::make_unique<ChannelOutput>(queueDepth(kind, mConfig));
}

int Channel::setProfile(const rts_av_profile& profile) {
    log::FieldCheck check("rts_av_set_profile: chn " + std::to_string(mId));
    if (!validProfile(mKind, profile, check)) return -EINVAL;
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
    if (mKind == ChannelKind::AudioEncode && mProfile) {
        const auto& a = mProfile->audio;
        return AudioFormat{a.sampleRate, a.bitsPerSample, a.channels};
    }
    if (mKind != ChannelKind::AudioCapture) return std::nullopt;
    const auto& attr = std::get<rts_audio_attr>(mConfig);
    return AudioFormat{attr.rate, attr.format, attr.channels};
}

bool Channel::encodes(const AudioFormat& format) const {
    std::optional<AudioFormat> own = deliveredFormat();
    return !own || *own == format;
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

// Control handles reach only channels of their own kind.
int Channel::setH264Profile(int profile) {
    if (mKind != ChannelKind::H264) return -EINVAL;
    if (profile < 0 || profile > kMaxH264Profile)
        return log::refuse(-EINVAL,
                           "set_h264_video_profile: chn %d: profile %d refused: 0 baseline, "
                           "1 main or 2 high",
                           mId, profile);
    mH264Profile = profile;
    return 0;
}

int Channel::setJpegQuality(int quality) {
    if (mKind != ChannelKind::Mjpeg) return -EINVAL;
    if (quality < kMinJpegQuality || quality > kMaxJpegQuality)
        return log::refuse(-EINVAL, "set_mjpeg_quality: chn %d: quality %d refused: %d to %d", mId,
                           quality, kMinJpegQuality, kMaxJpegQuality);
    mJpegQuality = quality;
    return 0;
}

}  // namespace host::media
