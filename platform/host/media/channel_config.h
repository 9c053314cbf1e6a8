// What a channel is created with, and which attributes and profiles the platform
// accepts. Each make...() returns nothing for attributes the platform refuses, after a
// record naming the first field refused, its value and the values accepted.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <variant>

#include "audio/pcm_format.h"
#include "log/field_check.h"
#include "media/channel_kind.h"
#include "rts_av.h"

namespace host::media {

// Sample format of an audio stream.
using AudioFormat = audio::PcmFormat;

// Encode channels deliver plain PCM (RTS_AUDIO_ENCODE_PCM) only: the host has no G.711
// or AAC encode channel (AAC comes from the support library's encoder pack), and a
// channel of such a type would deliver nothing, so other types are refused.
struct AudioEncodeAttr {
    int type;          // RTS_AUDIO_ENCODE_PCM
    uint32_t bitrate;  // bits per second; 0 follows from the input
};

// Overlay channels have no attributes (monostate); capture and playback channels both
// keep an rts_audio_attr, whose device name is then terminated.
using ChannelConfig = std::variant<std::monostate, rts_isp_attr, rts_h264_attr, rts_mjpeg_attr,
                                   rts_audio_attr, AudioFormat, AudioEncodeAttr>;

std::optional<ChannelConfig> makeIspConfig(const rts_isp_attr* attr);
std::optional<ChannelConfig> makeH264Config(const rts_h264_attr* attr);
std::optional<ChannelConfig> makeMjpegConfig(const rts_mjpeg_attr* attr);
// Capture and playback channels take the same formats (audio::checkFormat()).
std::optional<ChannelConfig> makeAudioDeviceConfig(const rts_audio_attr* attr);
std::optional<ChannelConfig> makeAudioPlaybackConfig(const rts_audio_attr* attr);
std::optional<ChannelConfig> makeResampleConfig(uint32_t rate, uint32_t bitsPerSample,
                                                uint32_t channels);
std::optional<ChannelConfig> makeAudioEncodeConfig(int type, uint32_t bitrate);

// How many buffers a channel of `kind` queues for its reader: an H.264 channel as many
// as its attributes ask (1 to 64), the others a few.
std::size_t queueDepth(ChannelKind kind, const ChannelConfig& config);

// Whether a channel of `kind` accepts `profile`; false for kinds without a profile. A
// profile refused breaks `check`.
bool validProfile(ChannelKind kind, const rts_av_profile& profile, log::FieldCheck& check);

}  // namespace host::media
