// The sample layout of a playback or capture stream: interleaved frames of `channels` samples,
// 8-bit unsigned (as in WAV) or 16, 24 (packed in three bytes) or 32-bit signed
// little-endian.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

#include "log/field_check.h"

namespace host::audio {

// The formats the host carries in either direction, end to end: capture and playback,
// the resampler, WAV files, ALSA, the tone and the memory speaker.
constexpr uint32_t kMinRate = 8000;
constexpr uint32_t kMaxRate = 48000;
constexpr uint32_t kMaxChannels = 2;

struct PcmFormat {
    uint32_t rate;  // frames per second
    uint32_t bitsPerSample;
    uint32_t channels;

    uint32_t sampleBytes() const { return bitsPerSample / 8; }
    uint32_t frameBytes() const { return sampleBytes() * channels; }
    uint64_t bytesPerSecond() const { return uint64_t{rate} * frameBytes(); }
    // Whole frames of audio lasting at most `duration`, in bytes.
    std::size_t bytesFor(std::chrono::nanoseconds duration) const;
    // The byte a silent sample is made of: 0x80 for unsigned 8-bit, else 0.
    uint8_t silenceByte() const { return bitsPerSample == 8 ? 0x80 : 0x00; }
};

inline bool operator==(const PcmFormat& a, const PcmFormat& b) {
    return a.rate == b.rate && a.bitsPerSample == b.bitsPerSample && a.channels == b.channels;
}
inline bool operator!=(const PcmFormat& a, const PcmFormat& b) { return !(a == b); }

// Whether the host carries `format`: kMinRate to kMaxRate Hz, 1 to kMaxChannels channels,
// 8, 16, 24 or 32 bits. The same for capture and playback; a format outside breaks
// `check` naming its first field outside.
bool checkFormat(const PcmFormat& format, log::FieldCheck& check);

}  // namespace host::audio
