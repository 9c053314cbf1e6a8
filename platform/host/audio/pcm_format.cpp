#include "audio/pcm_format.h"

namespace host::audio {

std::size_t PcmFormat::bytesFor(std::chrono::nanoseconds duration) const {
    uint64_t frames = uint64_t{rate} * static_cast<uint64_t>(duration.count()) / 1'000'000'000u;
    return static_cast<std::size_t>(frames * frameBytes());
}

bool validPlaybackFormat(const PcmFormat& format) {
    bool knownWidth = format.bitsPerSample == 8 || format.bitsPerSample == 16 ||
                      format.bitsPerSample == 24 || format.bitsPerSample == 32;
    return knownWidth && format.channels >= 1 && format.channels <= kMaxChannels &&
           format.rate >= kMinRate && format.rate <= kMaxRate;
}

}  // namespace host::audio
