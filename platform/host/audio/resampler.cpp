#include "audio/resampler.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/samplefmt.h>
#include <libswresample/swresample.h>
}

#include <algorithm>
#include <cerrno>

#include "audio/capture_period.h"
#include "audio/pcm_sample.h"

namespace host::audio {
namespace {

// libswresample has no packed 24-bit samples: those travel as 32-bit ones.
AVSampleFormat sampleFormatOf(uint32_t bitsPerSample) {
    switch (bitsPerSample) {
        case 8: return AV_SAMPLE_FMT_U8;
        case 16: return AV_SAMPLE_FMT_S16;
        case 24:
        case 32: return AV_SAMPLE_FMT_S32;
        default: return AV_SAMPLE_FMT_NONE;
    }
}

uint32_t swrSampleBytes(uint32_t bitsPerSample) {
    return bitsPerSample == 24 ? 4 : bitsPerSample / 8;
}

// Rows are output channels, columns input channels: mono is copied to both sides,
// stereo averaged into mono, each side of stereo kept as it is.
void setMatrix(SwrContext* context, uint32_t inChannels, uint32_t outChannels) {
    double matrix[kMaxChannels * kMaxChannels] = {};
    for (uint32_t out = 0; out < outChannels; ++out)
        for (uint32_t in = 0; in < inChannels; ++in) {
            bool mixed = inChannels != outChannels;
            matrix[out * inChannels + in] = mixed ? 1.0 / inChannels : (in == out ? 1.0 : 0.0);
        }
    swr_set_matrix(context, matrix, static_cast<int>(inChannels));
}

// Rewrites packed 24-bit samples as 32-bit ones, or back, keeping their value's top bits.
void widen24(const uint8_t* in, std::size_t samples, uint8_t* out) {
    for (std::size_t i = 0; i < samples; ++i)
        writeSample(out + 4 * i, 4, readSample(in + 3 * i, 3) * 256);
}

void narrow24(const uint8_t* in, std::size_t samples, uint8_t* out) {
    for (std::size_t i = 0; i < samples; ++i)
        writeSample(out + 3 * i, 3, readSample(in + 4 * i, 4) >> 8);
}

}  // namespace

void Resampler::ContextDeleter::operator()(SwrContext* context) const { swr_free(&context); }

int Resampler::create(const PcmFormat& from, const PcmFormat& to,
                      std::unique_ptr<Resampler>* resampler) {
    AVSampleFormat inFormat = sampleFormatOf(from.bitsPerSample);
    AVSampleFormat outFormat = sampleFormatOf(to.bitsPerSample);
    if (inFormat == AV_SAMPLE_FMT_NONE || outFormat == AV_SAMPLE_FMT_NONE ||
        from.channels > kMaxChannels || to.channels > kMaxChannels || from.channels == 0 ||
        to.channels == 0)
        return -EINVAL;
    AVChannelLayout inLayout, outLayout;
    av_channel_layout_default(&inLayout, static_cast<int>(from.channels));
    av_channel_layout_default(&outLayout, static_cast<int>(to.channels));
    SwrContext* context = nullptr;
    int rc = swr_alloc_set_opts2(&context, &outLayout, outFormat, static_cast<int>(to.rate),
                                 &inLayout, inFormat, static_cast<int>(from.rate), 0, nullptr);
    std::unique_ptr<Resampler> made(new Resampler(from, to, context));
    if (rc < 0 || !context) return -EINVAL;
    setMatrix(context, from.channels, to.channels);
    if (swr_init(context) < 0) return -EINVAL;

    std::vector<uint8_t> silence(maxCapturePeriodFrames(from.rate) * from.frameBytes(),
                                 from.silenceByte());
    std::vector<uint8_t> discarded;
    if (made->convert(silence.data(), silence.size(), &discarded) != 0) return -EIO;
    *resampler = std::move(made);
    return 0;
}

Resampler::Resampler(const PcmFormat& from, const PcmFormat& to, SwrContext* context)
    : mFrom(from), mTo(to), mContext(context) {}

Resampler::~Resampler() = default;

int Resampler::convert(const uint8_t* in, std::size_t bytes, std::vector<uint8_t>* out) {
    const std::size_t frames = bytes / mFrom.frameBytes();
    if (mFrom.bitsPerSample == 24) {
        mWideIn.resize(frames * mFrom.channels * 4);
        widen24(in, frames * mFrom.channels, mWideIn.data());
        in = mWideIn.data();
    }
    if (mTo.bitsPerSample != 24) return run(in, frames, out) < 0 ? -EIO : 0;
    int produced = run(in, frames, &mWideOut);
    if (produced < 0) return -EIO;
    const std::size_t samples = static_cast<std::size_t>(produced) * mTo.channels;
    out->resize(samples * 3);
    narrow24(mWideOut.data(), samples, out->data());
    return 0;
}

int Resampler::run(const uint8_t* in, std::size_t frames, std::vector<uint8_t>* out) {
    const std::size_t frameBytes = mTo.channels * swrSampleBytes(mTo.bitsPerSample);
    int room = swr_get_out_samples(mContext.get(), static_cast<int>(frames));
    if (room < 0) return room;
    out->resize(static_cast<std::size_t>(room) * frameBytes);
    uint8_t* target = out->data();
    int produced = swr_convert(mContext.get(), &target, room, &in, static_cast<int>(frames));
    out->resize(static_cast<std::size_t>(std::max(produced, 0)) * frameBytes);
    return produced;
}

}  // namespace host::audio
