#include "audio/pcm_format.h"

namespace host::audio {

std::size_t PcmFormat::bytesFor(std::chrono::nanoseconds duration) const {
    uint64_t frames = uint64_t{rate} * static_cast<uint64_t>(duration.count()) / 1'000'000'000u;
    return static_cast<std::size_t>(frames * frameBytes());
}

bool checkFormat(const PcmFormat& format, log::FieldCheck& check) {
    const uint32_t bits = format.bitsPerSample;
    return check
        .require(format.rate >= kMinRate && format.rate <= kMaxRate, "rate %u refused: %u to %u Hz",
                 format.rate, kMinRate, kMaxRate)
        .require(format.channels >= 1 && format.channels <= kMaxChannels,
                 "channels %u refused: 1 to %u", format.channels, kMaxChannels)
        .require(bits == 8 || bits == 16 || bits == 24 || bits == 32,
                 "sample width %u refused: 8, 16, 24 or 32 bits", bits)
        .passed();
}

}  // namespace host::audio
