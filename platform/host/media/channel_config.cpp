#include "media/channel_config.h"

#include <algorithm>
#include <cstring>

#include "audio/pcm_format.h"

namespace host::media {
namespace {

using log::FieldCheck;

constexpr uint32_t kMaxIspBuffers = 8;
constexpr std::size_t kMaxQueueDepth = 64;
constexpr std::size_t kDefaultQueueDepth = 4;
constexpr uint32_t kMaxH264Bitrate = 100'000'000;
constexpr int32_t kMaxQp = 51;
constexpr uint32_t kMinFrameSide = 16;
constexpr uint32_t kMaxFrameSide = 4096;
constexpr uint64_t kMaxFps = 120;
// The highest plain PCM stream: the highest rate and channel count, 32 bits.
constexpr uint32_t kMaxAudioBitrate = audio::kMaxRate * 32 * audio::kMaxChannels;

// NV12 halves both sides for its chroma plane, so odd sizes cannot be laid out.
FieldCheck& requireFrameSide(FieldCheck& check, const char* side, uint32_t pixels) {
    return check.require(pixels >= kMinFrameSide && pixels <= kMaxFrameSide && pixels % 2 == 0,
                         "%s %u refused: even %ss of %u to %u", side, pixels, side, kMinFrameSide,
                         kMaxFrameSide);
}

// A name of 1 to 63 characters, terminated within its 64 bytes.
bool checkDeviceName(const rts_audio_attr& attr, FieldCheck& check) {
    std::size_t length = strnlen(attr.dev_node, sizeof attr.dev_node);
    return check.require(length > 0, "empty device name refused")
        .require(length < sizeof attr.dev_node,
                 "device name refused: not terminated within its %zu bytes", sizeof attr.dev_node)
        .passed();
}

bool checkVideoProfile(const rts_av_profile& profile, FieldCheck& check) {
    const auto& v = profile.video;
    check.require(profile.format == RTS_PIX_FMT_NV12, "format %u refused: NV12 (%d)",
                  profile.format, RTS_PIX_FMT_NV12);
    requireFrameSide(check, "width", v.width);
    requireFrameSide(check, "height", v.height);
    // rate = denominator / numerator, compared without division or overflow.
    return check
        .require(v.numerator >= 1 && v.denominator >= 1 &&
                     uint64_t{v.denominator} <= kMaxFps * v.numerator,
                 "frame rate %u/%u refused: 1 to %llu frames per second", v.denominator,
                 v.numerator, static_cast<unsigned long long>(kMaxFps))
        .passed();
}

bool checkAudioProfile(const rts_av_profile& profile, FieldCheck& check) {
    const auto& a = profile.audio;
    return check
               .require(profile.format == RTS_AUDIO_FMT_PCM, "format %u refused: PCM (%d)",
                        profile.format, RTS_AUDIO_FMT_PCM)
               .passed() &&
           audio::checkFormat({a.sampleRate, a.bitsPerSample, a.channels}, check);
}

// The attributes of an audio capture or playback channel.
std::optional<ChannelConfig> makeAudioAttrConfig(const char* call, const rts_audio_attr* attr) {
    FieldCheck check(call);
    if (!check.require(attr, "null attributes refused").passed()) return std::nullopt;
    if (!checkDeviceName(*attr, check)) return std::nullopt;
    if (!audio::checkFormat({attr->rate, attr->format, attr->channels}, check)) return std::nullopt;
    return *attr;
}

}  // namespace

std::optional<ChannelConfig> makeIspConfig(const rts_isp_attr* attr) {
    FieldCheck check("rts_av_create_isp_chn");
    if (!check.require(attr, "null attributes refused").passed()) return std::nullopt;
    check
        .require(attr->bufferCount >= 1 && attr->bufferCount <= kMaxIspBuffers,
                 "buffer count %u refused: 1 to %u", attr->bufferCount, kMaxIspBuffers)
        .require(attr->mode <= 1, "mode %u refused: 0 (video) or 1 (still pictures)", attr->mode);
    if (!check.passed()) return std::nullopt;
    return *attr;
}

std::optional<ChannelConfig> makeH264Config(const rts_h264_attr* attr) {
    FieldCheck check("rts_av_create_h264_chn");
    if (!check.require(attr, "null attributes refused").passed()) return std::nullopt;
    check
        .require(attr->bitrate >= 1 && attr->bitrate <= kMaxH264Bitrate,
                 "bitrate %u refused: 1 to %u bit/s", attr->bitrate, kMaxH264Bitrate)
        .require(attr->gop >= 1, "gop %u refused: 1 or more frames", attr->gop)
        .require(attr->qp >= -1 && attr->qp <= kMaxQp,
                 "qp %d refused: 0 to %d, or -1 for rate control by bitrate", attr->qp, kMaxQp);
    if (!check.passed()) return std::nullopt;
    return *attr;
}

std::optional<ChannelConfig> makeMjpegConfig(const rts_mjpeg_attr* attr) {
    FieldCheck check("rts_av_create_mjpeg_chn");
    if (!check.require(attr, "null attributes refused").passed()) return std::nullopt;
    return *attr;
}

std::optional<ChannelConfig> makeAudioDeviceConfig(const rts_audio_attr* attr) {
    return makeAudioAttrConfig("rts_av_create_audio_capture_chn", attr);
}

std::optional<ChannelConfig> makeAudioPlaybackConfig(const rts_audio_attr* attr) {
    return makeAudioAttrConfig("rts_av_create_audio_playback_chn", attr);
}

std::optional<ChannelConfig> makeResampleConfig(uint32_t rate, uint32_t bitsPerSample,
                                                uint32_t channels) {
    FieldCheck check("rts_av_create_audio_resample_chn");
    AudioFormat format{rate, bitsPerSample, channels};
    if (!audio::checkFormat(format, check)) return std::nullopt;
    return format;
}

std::optional<ChannelConfig> makeAudioEncodeConfig(int type, uint32_t bitrate) {
    FieldCheck check("rts_av_create_audio_encode_chn");
    check
        .require(type == RTS_AUDIO_ENCODE_PCM, "type %d refused: PCM (%d)", type,
                 RTS_AUDIO_ENCODE_PCM)
        .require(bitrate <= kMaxAudioBitrate, "bitrate %u refused: 0 (from the input) to %u bit/s",
                 bitrate, kMaxAudioBitrate);
    if (!check.passed()) return std::nullopt;
    return AudioEncodeAttr{type, bitrate};
}

std::size_t queueDepth(ChannelKind kind, const ChannelConfig& config) {
    if (kind != ChannelKind::H264) return kDefaultQueueDepth;
    std::size_t asked = std::get<rts_h264_attr>(config).queueDepth;
    return std::clamp<std::size_t>(asked, 1, kMaxQueueDepth);
}

bool validProfile(ChannelKind kind, const rts_av_profile& profile, FieldCheck& check) {
    switch (kind) {
        case ChannelKind::Isp: return checkVideoProfile(profile, check);
        case ChannelKind::AudioEncode: return checkAudioProfile(profile, check);
        default:
            return check
                .require(false, "profile refused: only image and audio encode channels take one")
                .passed();
    }
}

}  // namespace host::media
