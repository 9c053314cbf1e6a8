// AAC-LC in ADTS frames from interleaved PCM of any width the host carries (8-bit
// unsigned, 16, 24 or 32-bit signed little-endian), made by libavcodec's native AAC
// encoder. Input is collected until a whole codec frame (1024 samples of
// each channel) is ready; each frame the codec returns becomes one ADTS frame: a 7-byte
// header without CRC, then the raw data block. The codec holds back about two frames
// of input before its first output (its delay and lookahead).
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

struct AVCodecContext;
struct AVFrame;
struct AVPacket;

namespace host::audio {

// The AAC sampling frequency index of `rate` (0 for 96,000 Hz to 11 for 8,000 Hz), or -1
// for a rate outside that table.
int aacRateIndex(uint32_t rate);

class AacEncoder {
public:
    using Frame = std::vector<uint8_t>;

    // 0; -EINVAL for a rate aacRateIndex() refuses or a channel count other than 1 or 2;
    // -ENOMEM or -ENOTSUP when libavcodec cannot open its encoder.
    static int create(uint32_t rate, uint32_t channels, std::unique_ptr<AacEncoder>* encoder);
    ~AacEncoder();
    AacEncoder(const AacEncoder&) = delete;
    AacEncoder& operator=(const AacEncoder&) = delete;

    uint32_t rate() const { return mRate; }
    uint32_t channels() const { return mChannels; }
    uint32_t frameSamples() const { return mFrameSamples; }

    // Collects `bytes` of PCM of `bitsPerSample` bits and appends every ADTS frame
    // completed to *frames, in order. 0; -EINVAL for another width than 8, 16, 24 or 32
    // bits or a count that is not whole sample frames (nothing taken); the codec's code
    // when it fails, the frames done before it kept.
    int encode(const uint8_t* pcm, std::size_t bytes, uint32_t bitsPerSample,
               std::vector<Frame>* frames);
    // Drops the collected input and starts a new stream with a fresh codec. 0, or the
    // codec's code, the old codec then kept.
    int restart();

private:
    struct ContextDeleter {
        void operator()(AVCodecContext* context) const;
    };
    struct FrameDeleter {
        void operator()(AVFrame* frame) const;
    };
    struct PacketDeleter {
        void operator()(AVPacket* packet) const;
    };
    using Context = std::unique_ptr<AVCodecContext, ContextDeleter>;

    AacEncoder(uint32_t rate, uint32_t channels);
    static int openContext(uint32_t rate, uint32_t channels, Context* context);
    // A frame buffer of the codec's size for the collected input.
    int allocateInput();
    // Converts up to a frame's remainder of samples of `width` bytes into the input frame;
    // how many.
    std::size_t collect(const uint8_t* pcm, std::size_t samples, uint32_t width);
    // Hands the full input frame to the codec and takes what it returns.
    int encodeInput(std::vector<Frame>* frames);
    int takePackets(std::vector<Frame>* frames);

    const uint32_t mRate;
    const uint32_t mChannels;
    uint32_t mFrameSamples = 0;
    Context mContext;
    std::unique_ptr<AVFrame, FrameDeleter> mInput;
    std::unique_ptr<AVPacket, PacketDeleter> mPacket;
    std::size_t mCollected = 0;  // samples of each channel in mInput
    int64_t mNextPts = 0;        // of the next input frame, in samples
};

}  // namespace host::audio
