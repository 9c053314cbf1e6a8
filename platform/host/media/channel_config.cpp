#include "media/channel_config.h"

#include <algorithm>
#include <cstring>

#include "audio/pcm_format.h"

namespace host::media {
namespace {

constexpr uint32_t kMaxIspBuffers = 8;
constexpr std::size_t kMaxQueueDepth = 64;
constexpr std::size_t kDefaultQueueDepth = 4;
constexpr uint32_t kMaxH264Bitrate = 100'000'000;
constexpr int32_t kMaxQp = 51;
constexpr uint32_t kMinFrameSide = 16;
constexpr uint32_t kMaxFrameSide = 4096;
constexpr uint64_t kMaxFps = 120;
constexpr uint32_t kMinAudioRate = 8000;
constexpr uint32_t kMaxAudioRate = 48000;
constexpr uint32_t kMaxAudioChannels = 2;
// The highest plain PCM stream: 48 kHz, 32 bits, two channels.
constexpr uint32_t kMaxAudioBitrate = kMaxAudioRate * 32 * kMaxAudioChannels;

bool validFrameSide(uint32_t pixels) {
    // NV12 halves both sides for its chroma plane, so odd sizes cannot be laid out.
    return pixels >= kMinFrameSide && pixels <= kMaxFrameSide && pixels % 2 == 0;
}

bool validAudioFormat(const AudioFormat& format) {
    bool knownWidth = format.bitsPerSample == 8 || format.bitsPerSample == 16 ||
                      format.bitsPerSample == 24 || format.bitsPerSample == 32;
    return knownWidth && format.rate >= kMinAudioRate && format.rate <= kMaxAudioRate &&
           format.channels >= 1 && format.channels <= kMaxAudioChannels;
}

// A name of 1 to 63 characters, terminated within its 64 bytes.
bool validDeviceName(const rts_audio_attr* attr) {
    if (!attr) return false;
    std::size_t length = strnlen(attr->dev_node, sizeof attr->dev_node);
    return length > 0 && length < sizeof attr->dev_node;
}

bool validVideoProfile(const rts_av_profile& profile) {
    const auto& v = profile.video;
    // rate = denominator / numerator, compared without division or overflow.
    return profile.format == RTS_PIX_FMT_NV12 && validFrameSide(v.width) &&
           validFrameSide(v.height) && v.numerator >= 1 && v.denominator >= 1 &&
           uint64_t{v.denominator} <= kMaxFps * v.numerator;
}

bool validAudioProfile(const rts_av_profile& profile) {
    const auto& a = profile.audio;
    return profile.format == RTS_AUDIO_FMT_PCM &&
           validAudioFormat({a.sampleRate, a.bitsPerSample, a.channels});
}

}  // namespace

std::optional<ChannelConfig> makeIspConfig(const rts_isp_attr* attr) {
    if (!attr || attr->bufferCount < 1 || attr->bufferCount > kMaxIspBuffers || attr->mode > 1)
        return std::nullopt;
    return *attr;
}

std::optional<ChannelConfig> makeH264Config(const rts_h264_attr* attr) {
    if (!attr || attr->bitrate == 0 || attr->bitrate > kMaxH264Bitrate || attr->gop < 1 ||
        attr->qp < -1 || attr->qp > kMaxQp)
        return std::nullopt;
    return *attr;
}

std::optional<ChannelConfig> makeMjpegConfig(const rts_mjpeg_attr* attr) {
    if (!attr) return std::nullopt;
    return *attr;
}

std::optional<ChannelConfig> makeAudioDeviceConfig(const rts_audio_attr* attr) {
    if (!validDeviceName(attr)) return std::nullopt;
    if (!validAudioFormat({attr->rate, attr->format, attr->channels})) return std::nullopt;
    return *attr;
}

std::optional<ChannelConfig> makeAudioPlaybackConfig(const rts_audio_attr* attr) {
    if (!validDeviceName(attr)) return std::nullopt;
    if (!audio::validPlaybackFormat({attr->rate, attr->format, attr->channels}))
        return std::nullopt;
    return *attr;
}

std::optional<ChannelConfig> makeResampleConfig(uint32_t rate, uint32_t bitsPerSample,
                                                uint32_t channels) {
    AudioFormat format{rate, bitsPerSample, channels};
    if (!validAudioFormat(format)) return std::nullopt;
    return format;
}

std::optional<ChannelConfig> makeAudioEncodeConfig(int type, uint32_t bitrate) {
    if (type != RTS_AUDIO_ENCODE_PCM || bitrate > kMaxAudioBitrate) return std::nullopt;
    return AudioEncodeAttr{type, bitrate};
}

std::size_t queueDepth(ChannelKind kind, const ChannelConfig& config) {
    if (kind != ChannelKind::H264) return kDefaultQueueDepth;
    std::size_t asked = std::get<rts_h264_attr>(config).queueDepth;
    return std::clamp<std::size_t>(asked, 1, kMaxQueueDepth);
}

bool validProfile(ChannelKind kind, const rts_av_profile& profile) {
    switch (kind) {
    case ChannelKind::Isp: return validVideoProfile(profile);
    case ChannelKind::AudioEncode: return validAudioProfile(profile);
    default: return false;
    }
}

}  // namespace host::media
