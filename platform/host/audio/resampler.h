// Converts interleaved PCM from one format to another with libswresample: rate, sample
// width and channel count. A mono source is copied to both channels of a stereo target,
// and a stereo source averaged into a mono one, so the level stays the same.
//
// Rate conversion filters, and the filter holds back a few samples (under a
// millisecond). The resampler is primed with a period of silence when it is made, so
// that from the first conversion on each buffer of a period's frames yields the target
// period's frames, the filter's delay then lying within the output.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "audio/pcm_format.h"

struct SwrContext;

namespace host::audio {

class Resampler {
public:
    // 0, or -EINVAL when libswresample cannot convert between the formats (16, 32 and
    // 8-bit unsigned samples go straight to it; 24-bit ones are widened to 32 around it).
    static int create(const PcmFormat& from, const PcmFormat& to,
                      std::unique_ptr<Resampler>* resampler);
    ~Resampler();
    Resampler(const Resampler&) = delete;
    Resampler& operator=(const Resampler&) = delete;

    const PcmFormat& from() const { return mFrom; }
    const PcmFormat& to() const { return mTo; }

    // Converts `bytes` of whole input frames into *out, which is resized to the frames
    // produced; its storage only grows. 0 or -EIO.
    int convert(const uint8_t* in, std::size_t bytes, std::vector<uint8_t>* out);

private:
    struct ContextDeleter {
        void operator()(SwrContext* context) const;
    };

    Resampler(const PcmFormat& from, const PcmFormat& to, SwrContext* context);
    // Feeds libswresample whole frames in its own layout; how many frames it produced
    // into *out (resized to them), or a negative code.
    int run(const uint8_t* in, std::size_t frames, std::vector<uint8_t>* out);

    const PcmFormat mFrom;
    const PcmFormat mTo;
    std::unique_ptr<SwrContext, ContextDeleter> mContext;
    // 24-bit samples as 32-bit ones, on their way in and out.
    std::vector<uint8_t> mWideIn;
    std::vector<uint8_t> mWideOut;
};

}  // namespace host::audio
