// The support library's AAC encoder packs: the rule for output that does not fit, and the
// refusals of what they cannot encode. The frames' format, and what they decode to, are
// checked end to end on what a capture source reads.
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "camera_support.h"
#include "host_control.h"

namespace {

using Bytes = std::vector<uint8_t>;

class AacEncoderPack : public ::testing::Test {
protected:
    void SetUp() override {
        hostctl::reset();
        if (!hostctl::aacEncoderAvailable())
            GTEST_SKIP() << "the host platform was built without libavcodec's AAC encoder";
    }
    void TearDown() override { hostctl::reset(); }
};

// A record as capture sources fill it in: zeroed but for the format.
aac_encoder_pack packFor(uint32_t channels, uint32_t rate) { return {channels, rate, rate, {}}; }

// Interleaved 16-bit PCM of a `hz` tone at half of full scale in every channel.
Bytes tone(uint32_t rate, uint32_t channels, uint32_t frames, double hz = 1000) {
    Bytes pcm;
    for (uint32_t i = 0; i < frames; ++i) {
        auto sample = static_cast<int16_t>(16384 * std::sin(2 * M_PI * hz * i / rate));
        for (uint32_t c = 0; c < channels; ++c) {
            pcm.push_back(static_cast<uint8_t>(sample & 0xff));
            pcm.push_back(static_cast<uint8_t>((sample >> 8) & 0xff));
        }
    }
    return pcm;
}

// Feeds `pcm` in calls of `chunk` bytes with as much room as input, as capture sources
// do; every call must succeed. What the calls returned, concatenated.
Bytes encodeAll(aac_encoder_pack* pack, const Bytes& pcm, size_t chunk) {
    Bytes adts, out(chunk);
    for (size_t at = 0; at + chunk <= pcm.size(); at += chunk) {
        int n = do_pcm_to_aac_encode(pack, pcm.data() + at, chunk, out.data(), chunk);
        EXPECT_GE(n, 0);
        if (n > 0) adts.insert(adts.end(), out.begin(), out.begin() + n);
    }
    return adts;
}

struct AdtsFrame {
    size_t offset, length;
    int profile, rateIndex, channels;
};

// Splits ADTS bytes into frames, failing the test at a header that is not MPEG-4 without
// CRC or a length that does not fit.
std::vector<AdtsFrame> adtsFrames(const Bytes& adts) {
    std::vector<AdtsFrame> frames;
    for (size_t at = 0; at + 7 <= adts.size();) {
        const uint8_t* h = adts.data() + at;
        size_t length = (h[3] & 3u) << 11 | h[4] << 3 | h[5] >> 5;
        if (h[0] != 0xff || h[1] != 0xf1 || length < 7 || at + length > adts.size()) {
            ADD_FAILURE() << "no ADTS frame at byte " << at;
            break;
        }
        frames.push_back({at, length, h[2] >> 6, (h[2] >> 2) & 0xf, (h[2] & 1) << 2 | h[3] >> 6});
        at += length;
    }
    return frames;
}

// One call with `room` bytes for output; no PCM takes only what waits.
int encodeOnce(aac_encoder_pack* pack, const Bytes& pcm, Bytes* out, size_t room) {
    static const uint8_t kNone = 0;
    return do_pcm_to_aac_encode(pack, pcm.empty() ? &kNone : pcm.data(), pcm.size(), out->data(),
                                room);
}

// Every frame waiting, given ample room.
Bytes waiting(aac_encoder_pack* pack) {
    Bytes out(64 * 1024);
    int n = encodeOnce(pack, {}, &out, out.size());
    EXPECT_GE(n, 0);
    out.resize(std::max(n, 0));
    return out;
}

TEST_F(AacEncoderPack, FramesThatDoNotFitWaitAndFramesLargerThanTheRoomAreDropped) {
    const Bytes pcm = tone(48000, 1, 8 * 1024, 440);
    aac_encoder_pack reference = packFor(1, 48000), pack = packFor(1, 48000);
    ASSERT_EQ(create_aac_encoder_pack(&reference), 0);
    ASSERT_EQ(create_aac_encoder_pack(&pack), 0);
    Bytes expected = encodeAll(&reference, pcm, pcm.size());
    std::vector<AdtsFrame> frames = adtsFrames(expected);
    ASSERT_GE(frames.size(), 4u);

    // Room for the first frame and most of the second: only the first, nothing past the
    // room; the rest waits for the next call, in order.
    const size_t room = frames[0].length + frames[1].length - 1;
    Bytes out(room + 64, 0xa5);
    ASSERT_EQ(encodeOnce(&pack, pcm, &out, room), static_cast<int>(frames[0].length));
    EXPECT_TRUE(std::equal(expected.begin(), expected.begin() + frames[0].length, out.begin()));
    EXPECT_EQ(Bytes(out.begin() + room, out.end()), Bytes(64, 0xa5));
    EXPECT_EQ(waiting(&pack), Bytes(expected.begin() + frames[1].offset, expected.end()));

    // A frame larger than the whole room is dropped; the frames behind it still come.
    ASSERT_EQ(clear_aac_encoder_buffer(&pack), 0);
    Bytes tiny(1 + 64, 0xa5);
    EXPECT_EQ(encodeOnce(&pack, pcm, &tiny, 1), -ENOSPC);
    EXPECT_EQ(tiny, Bytes(65, 0xa5));
    EXPECT_EQ(waiting(&pack), Bytes(expected.begin() + frames[1].offset, expected.end()));

    // Output kept waiting stays bounded: the oldest frames beyond 16 are dropped, and the
    // call that finds so fails.
    ASSERT_EQ(clear_aac_encoder_buffer(&pack), 0);
    EXPECT_EQ(encodeOnce(&pack, tone(48000, 1, 40 * 1024), &tiny, 1), -ENOSPC);
    EXPECT_EQ(encodeOnce(&pack, {}, &tiny, 1), -ENOSPC);  // the first waiting frame
    EXPECT_EQ(adtsFrames(waiting(&pack)).size(), 15u);
}

TEST_F(AacEncoderPack, ClearStartsANewStream) {
    aac_encoder_pack fresh = packFor(2, 16000), used = packFor(2, 16000);
    ASSERT_EQ(create_aac_encoder_pack(&fresh), 0);
    ASSERT_EQ(create_aac_encoder_pack(&used), 0);
    // Frames made, one waiting and input collected, all dropped by the clear.
    Bytes out(4);
    EXPECT_EQ(encodeOnce(&used, tone(16000, 2, 5 * 1024 + 500, 3000), &out, out.size()), -ENOSPC);
    ASSERT_EQ(clear_aac_encoder_buffer(&used), 0);
    const Bytes pcm = tone(16000, 2, 16000);
    EXPECT_EQ(encodeAll(&used, pcm, 640 * 2), encodeAll(&fresh, pcm, 640 * 2));
}

// Encoding, clearing and destroying refuse a record that is no live pack, changing
// nothing. The lifetime of packs is checked with the other records' in
// camera_support_test.cpp.
void expectNotALivePack(aac_encoder_pack* record) {
    uint8_t pcm[4] = {}, out[64];
    EXPECT_EQ(do_pcm_to_aac_encode(record, pcm, sizeof pcm, out, sizeof out), -EINVAL);
    EXPECT_EQ(clear_aac_encoder_buffer(record), -EINVAL);
    EXPECT_EQ(destroy_aac_encoder_pack(record), -EINVAL);
}

TEST_F(AacEncoderPack, FormatsAndBuffersItCannotEncodeAreRefused) {
    aac_encoder_pack resampling = packFor(1, 16000);
    resampling.outputRate = 8000;
    for (aac_encoder_pack bad : {packFor(0, 8000), packFor(3, 8000), packFor(1, 7350),
                                 packFor(1, 44000), packFor(1, 192000), resampling}) {
        EXPECT_EQ(create_aac_encoder_pack(&bad), -EINVAL) << bad.channels << " " << bad.sampleRate;
        expectNotALivePack(&bad);
    }
    expectNotALivePack(nullptr);
    aac_encoder_pack pack = packFor(2, 44100);
    ASSERT_EQ(create_aac_encoder_pack(&pack), 0);
    uint8_t pcm[4] = {}, out[64];
    EXPECT_EQ(do_pcm_to_aac_encode(&pack, pcm, 2, out, sizeof out), -EINVAL);  // half a frame
    EXPECT_EQ(do_pcm_to_aac_encode(&pack, nullptr, 4, out, sizeof out), -EINVAL);
    EXPECT_EQ(do_pcm_to_aac_encode(&pack, pcm, 4, nullptr, sizeof out), -EINVAL);
    aac_encoder_pack copy = pack;
    expectNotALivePack(&copy);

    // At most 16 packs live at once.
    std::vector<aac_encoder_pack> more(16, packFor(1, 8000));
    for (size_t i = 0; i < 15; ++i) ASSERT_EQ(create_aac_encoder_pack(&more[i]), 0);
    EXPECT_EQ(create_aac_encoder_pack(&more[15]), -ENOSPC);
}

}  // namespace
