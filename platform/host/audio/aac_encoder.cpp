#include "audio/aac_encoder.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
#include <libavutil/frame.h>
#include <libavutil/log.h>
}

#include <algorithm>
#include <cerrno>
#include <iterator>

#include "audio/pcm_sample.h"

namespace host::audio {
namespace {

// The sampling frequencies of AAC's table, by index; indices 12 (7350 Hz) and up are
// left out, as no capture chain delivers those rates.
constexpr uint32_t kAacRates[] = {96000, 88200, 64000, 48000, 44100, 32000,
                                  24000, 22050, 16000, 12000, 11025, 8000};

// About 1.33 bits per sample and channel, at most 64 kbit/s per channel: 64 kbit/s for
// 48 kHz mono, 10.7 kbit/s for 8 kHz. An encoded frame then averages a twelfth of the
// PCM it came from or less, so that callers who hand over 20 ms of PCM with a buffer of
// that size for the output get a frame's bytes into it, with room to spare for the
// codec's larger frames, even at 8 kHz (a frame of about 170 bytes for 320 bytes of PCM).
// The frames are the same whatever the input's width, so 8-bit input needs 16 kHz for
// that room.
int64_t bitRateFor(uint32_t rate, uint32_t channels) {
    constexpr int64_t kMaxPerChannel = 64000;
    return std::min(int64_t{rate} * 4 / 3, kMaxPerChannel) * channels;
}

constexpr std::size_t kAdtsHeaderBytes = 7;
constexpr std::size_t kMaxAdtsFrameBytes = 8191;  // the header's 13-bit length field

// The ADTS header without CRC for an AAC-LC frame of `length` bytes, header included.
void writeAdtsHeader(uint8_t* header, int rateIndex, uint32_t channels, std::size_t length) {
    constexpr uint8_t kProfileLc = 1;  // the audio object type (2, LC) less one
    header[0] = 0xff;                  // sync word,
    header[1] = 0xf1;                  // MPEG-4, layer 0, no CRC
    header[2] = static_cast<uint8_t>(kProfileLc << 6 | rateIndex << 2 | channels >> 2);
    header[3] = static_cast<uint8_t>((channels & 3) << 6 | length >> 11);
    header[4] = static_cast<uint8_t>(length >> 3);
    header[5] = static_cast<uint8_t>((length & 7) << 5 | 0x1f);  // fullness 0x7ff: VBR,
    header[6] = 0xfc;                                            // one raw data block
}

// libavcodec's failures are negative errno values or tags of its own; the tags become -EIO.
int errnoOf(int averror) {
    if (averror >= 0) return 0;
    return averror > -4096 ? averror : -EIO;
}

bool knownWidth(uint32_t bits) { return bits == 8 || bits == 16 || bits == 24 || bits == 32; }

}  // namespace

int aacRateIndex(uint32_t rate) {
    const auto* found = std::find(std::begin(kAacRates), std::end(kAacRates), rate);
    return found == std::end(kAacRates) ? -1 : static_cast<int>(found - std::begin(kAacRates));
}

// Drains the codec first: freed with input still held back, it warns of the frames lost.
void AacEncoder::ContextDeleter::operator()(AVCodecContext* context) const {
    if (avcodec_is_open(context) && avcodec_send_frame(context, nullptr) == 0) {
        std::unique_ptr<AVPacket, PacketDeleter> packet(av_packet_alloc());
        while (packet && avcodec_receive_packet(context, packet.get()) == 0)
            av_packet_unref(packet.get());
    }
    avcodec_free_context(&context);
}
void AacEncoder::FrameDeleter::operator()(AVFrame* frame) const { av_frame_free(&frame); }
void AacEncoder::PacketDeleter::operator()(AVPacket* packet) const { av_packet_free(&packet); }

AacEncoder::AacEncoder(uint32_t rate, uint32_t channels) : mRate(rate), mChannels(channels) {}

AacEncoder::~AacEncoder() = default;

int AacEncoder::create(uint32_t rate, uint32_t channels, std::unique_ptr<AacEncoder>* encoder) {
    if (aacRateIndex(rate) < 0 || channels < 1 || channels > 2) return -EINVAL;
    std::unique_ptr<AacEncoder> made(new AacEncoder(rate, channels));
    if (int rc = openContext(rate, channels, &made->mContext); rc != 0) return rc;
    made->mFrameSamples = static_cast<uint32_t>(made->mContext->frame_size);
    if (int rc = made->allocateInput(); rc != 0) return rc;
    made->mPacket.reset(av_packet_alloc());
    if (!made->mPacket) return -ENOMEM;
    *encoder = std::move(made);
    return 0;
}

int AacEncoder::openContext(uint32_t rate, uint32_t channels, Context* context) {
    // The native encoder by name: another AAC encoder libavcodec may carry need not
    // take the same settings.
    const AVCodec* codec = avcodec_find_encoder_by_name("aac");
    if (!codec) return -ENOTSUP;
    Context made(avcodec_alloc_context3(codec));
    if (!made) return -ENOMEM;
    made->sample_fmt = AV_SAMPLE_FMT_FLTP;
    made->sample_rate = static_cast<int>(rate);
    av_channel_layout_default(&made->ch_layout, static_cast<int>(channels));
    made->bit_rate = bitRateFor(rate, channels);
    made->profile = FF_PROFILE_AAC_LOW;
    // One level quieter: the codec's statistics at close ("Qavg") stay out of a
    // process's default log, its warnings and errors do not.
    made->log_level_offset = AV_LOG_VERBOSE - AV_LOG_INFO;
    if (int rc = avcodec_open2(made.get(), codec, nullptr); rc < 0) return errnoOf(rc);
    if (made->frame_size <= 0) return -ENOTSUP;
    *context = std::move(made);
    return 0;
}

int AacEncoder::allocateInput() {
    mInput.reset(av_frame_alloc());
    if (!mInput) return -ENOMEM;
    mInput->format = AV_SAMPLE_FMT_FLTP;
    mInput->sample_rate = static_cast<int>(mRate);
    mInput->nb_samples = static_cast<int>(mFrameSamples);
    if (int rc = av_channel_layout_copy(&mInput->ch_layout, &mContext->ch_layout); rc < 0)
        return errnoOf(rc);
    return errnoOf(av_frame_get_buffer(mInput.get(), 0));
}

int AacEncoder::encode(const uint8_t* pcm, std::size_t bytes, uint32_t bitsPerSample,
                       std::vector<Frame>* frames) {
    const uint32_t width = bitsPerSample / 8;
    const std::size_t sampleFrameBytes = std::size_t{mChannels} * width;
    if (!knownWidth(bitsPerSample) || bytes % sampleFrameBytes != 0) return -EINVAL;
    std::size_t samples = bytes / sampleFrameBytes;
    while (samples > 0) {
        std::size_t taken = collect(pcm, samples, width);
        pcm += taken * sampleFrameBytes;
        samples -= taken;
        if (mCollected == mFrameSamples) {
            if (int rc = encodeInput(frames); rc != 0) return rc;
        }
    }
    return 0;
}

std::size_t AacEncoder::collect(const uint8_t* pcm, std::size_t samples, uint32_t width) {
    std::size_t count = std::min(samples, mFrameSamples - mCollected);
    // Full scale of every width is the codec's -1 to 1.
    const float scale = 1.0f / static_cast<float>(1u << (8 * width - 1));
    for (uint32_t channel = 0; channel < mChannels; ++channel) {
        float* plane = reinterpret_cast<float*>(mInput->data[channel]) + mCollected;
        const uint8_t* in = pcm + width * channel;
        for (std::size_t i = 0; i < count; ++i, in += width * mChannels)
            plane[i] = static_cast<float>(readSample(in, width)) * scale;
    }
    mCollected += count;
    return count;
}

int AacEncoder::encodeInput(std::vector<Frame>* frames) {
    mCollected = 0;
    mInput->pts = mNextPts;
    mNextPts += mFrameSamples;
    if (int rc = avcodec_send_frame(mContext.get(), mInput.get()); rc < 0) return errnoOf(rc);
    int rc = takePackets(frames);
    // The codec may still hold the frame's buffer; the next input goes into one of its own.
    if (int writable = av_frame_make_writable(mInput.get()); writable < 0 && rc == 0)
        rc = errnoOf(writable);
    return rc;
}

int AacEncoder::takePackets(std::vector<Frame>* frames) {
    const int rateIndex = aacRateIndex(mRate);
    for (;;) {
        int rc = avcodec_receive_packet(mContext.get(), mPacket.get());
        if (rc == AVERROR(EAGAIN) || rc == AVERROR_EOF) return 0;
        if (rc < 0) return errnoOf(rc);
        std::size_t length = kAdtsHeaderBytes + static_cast<std::size_t>(mPacket->size);
        // A block too long for ADTS cannot come from one or two channels' frame.
        if (length > kMaxAdtsFrameBytes) {
            av_packet_unref(mPacket.get());
            return -EIO;
        }
        Frame frame(length);
        writeAdtsHeader(frame.data(), rateIndex, mChannels, length);
        std::copy_n(mPacket->data, mPacket->size, frame.data() + kAdtsHeaderBytes);
        av_packet_unref(mPacket.get());
        frames->push_back(std::move(frame));
    }
}

int AacEncoder::restart() {
    mCollected = 0;
    // A codec not fed yet is as good as a fresh one.
    if (mNextPts == 0) return 0;
    Context fresh;
    if (int rc = openContext(mRate, mChannels, &fresh); rc != 0) return rc;
    mContext = std::move(fresh);
    mNextPts = 0;
    return 0;
}

}  // namespace host::audio
