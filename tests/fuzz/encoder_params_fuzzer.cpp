// libFuzzer target: kq_open_encoder() with any six words of parameters on any channel
// number, then, for an accepted open, start, one frame pushed into the scripted encoders,
// two polls and close. Each input starts the library afresh, so that no configuration
// is left from the input before (an unknown codec keeps the previous one).
//
// Input: the six words, a byte choosing the channel (-1..2) and the callback, then the
// frame's bytes. Beyond the sanitizers' checks: the results are the documented codes, an
// accepted configuration is one the platform can run, the frame reaches the callback
// unchanged, and a close leaves no platform channel.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "library_harness.h"

namespace {

struct Delivered {
    int frames = 0;
    std::vector<uint8_t> bytes;
};

int onFrame(const uint8_t* data, uint32_t length, uint32_t, uint32_t, uint32_t, uint32_t,
            void* userData) {
    auto* delivered = static_cast<Delivered*>(userData);
    ++delivered->frames;
    delivered->bytes.assign(data, data + length);
    return 0;
}

bool validChannel(int channel) { return channel == 0 || channel == 1; }

// What the host platform runs: even sides of 16 to 4096 pixels, 1 to 120 frames a
// second, and for H.264 a bitrate of 1 bit/s to 100 Mbit/s and a key-frame interval of
// at least one frame.
bool runnable(const kq_encoder_param& p) {
    auto side = [](uint32_t pixels) { return pixels >= 16 && pixels <= 4096 && pixels % 2 == 0; };
    const bool h264 =
        p.enc_type != KQ_ENC_H264 || (p.bitrate >= 1 && p.bitrate <= 100000000 && p.gop >= 1);
    return side(p.width) && side(p.height) && p.fps >= 1 && p.fps <= 120 && h264;
}

// Pushes `frame` into both encoders (the one not delivering drops it) and polls twice.
void deliverOneFrame(const fuzz::Encoders& encoders, const std::vector<uint8_t>& frame,
                     bool withCallback, const Delivered& delivered) {
    KQ_FUZZ_CHECK(hostctl::pushBuffer(encoders.h264, frame, 40000, 0) == 0);
    KQ_FUZZ_CHECK(hostctl::pushBuffer(encoders.mjpeg, frame, 40000, 0) == 0);
    const int frames = kq_poll_frame(0) + kq_poll_frame(0);
    KQ_FUZZ_CHECK(frames == 1);
    if (withCallback) KQ_FUZZ_CHECK(delivered.frames == 1 && delivered.bytes == frame);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzz::quietPlatform();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    uint32_t words[6] = {};
    std::memcpy(words, data, size < sizeof words ? size : sizeof words);
    const uint8_t choice = size > sizeof words ? data[sizeof words] : 0;
    const int channel = (choice & 3) - 1;
    const bool withCallback = (choice & 4) != 0;
    const std::vector<uint8_t> frame(data + std::min(size, sizeof words + 1), data + size);
    const kq_encoder_param param = {words[0], words[1], words[2], words[3], words[4], words[5]};

    KQ_FUZZ_CHECK(kq_init_kq() == KQ_OK);
    Delivered delivered;
    fuzz::Encoders encoders;
    int r =
        fuzz::openScripted(channel, param, withCallback ? onFrame : nullptr, &delivered, &encoders);
    KQ_FUZZ_CHECK(r == KQ_OK || r == KQ_FAIL || r == KQ_INVALID_CHANNEL);
    KQ_FUZZ_CHECK((r == KQ_INVALID_CHANNEL) == !validChannel(channel));
    const bool knownCodec = param.enc_type == KQ_ENC_H264 || param.enc_type == KQ_ENC_MJPEG;
    if (r == KQ_OK && knownCodec) KQ_FUZZ_CHECK(runnable(param));
    if (r == KQ_OK && kq_start_encoder(channel) == KQ_OK)
        deliverOneFrame(encoders, frame, withCallback, delivered);
    kq_close_encoder(channel);
    KQ_FUZZ_CHECK(hostctl::liveChannelCount() == 0);
    kq_uninit();
    fuzz::forgetRecords();
    return 0;
}
