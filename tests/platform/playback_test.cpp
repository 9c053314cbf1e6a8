// The host platform's playback channels and audio queues: attribute and send refusals,
// the queue's buffer pool, and the speakers (WAV file, memory, ALSA) playing in real
// time with underruns, overflows and the playback volume.
#include <sndfile.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "camera_support.h"
#include "host_control.h"
#include "platform/audio_format.h"
#include "rts_av.h"

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

// Distinct, non-silent bytes, so that a lost, repeated or reordered buffer shows.
Bytes pattern(std::size_t bytes, uint32_t seed = 1) {
    Bytes out(bytes);
    for (std::size_t i = 0; i < bytes; ++i) out[i] = static_cast<uint8_t>((i * 7 + seed) % 251 + 1);
    return out;
}

bool allBytes(const Bytes& bytes, std::size_t from, uint8_t value) {
    for (std::size_t i = from; i < bytes.size(); ++i)
        if (bytes[i] != value) return false;
    return true;
}

class Playback : public AudioChannelTest {
protected:
    void SetUp() override {
        AudioChannelTest::SetUp();
        ASSERT_EQ(create_audio_queue(&mQueue, 65535), 0);
    }

    // A playback channel, enabled and sending; its id, or the failing call's code.
    static int open(const std::string& name, const Format& f = kVoice) {
        rts_audio_attr a = attrFor(name, f);
        int chn = rts_av_create_audio_playback_chn(&a);
        if (chn < 0) return chn;
        if (int rc = rts_av_enable_chn(chn); rc != 0) return rc;
        if (int rc = rts_av_start_send(chn); rc != 0) return rc;
        return chn;
    }

    // As the playback sink sends: a buffer popped, filled, sent and put back.
    int send(int chn, const uint8_t* data, std::size_t bytes) {
        rts_av_buffer* buffer = pop_audio_queue(&mQueue);
        if (!buffer) return -ENOBUFS;
        std::memcpy(buffer->data, data, bytes);
        buffer->bytesUsed = static_cast<uint32_t>(bytes);
        int rc = rts_av_send(chn, buffer);
        EXPECT_EQ(rts_av_put_buffer(buffer), 0);
        return rc;
    }

    // Sends all of `bytes` in buffers of `chunk` bytes as fast as the FIFO takes them.
    void sendAll(int chn, const Bytes& bytes, std::size_t chunk) {
        for (std::size_t at = 0; at < bytes.size();) {
            std::size_t n = std::min(chunk, bytes.size() - at);
            int rc = send(chn, bytes.data() + at, n);
            if (rc == -EAGAIN) continue;  // the FIFO is full
            EXPECT_EQ(rc, 0);
            if (rc != 0) break;
            at += n;
        }
    }

    static void expectPlayed(int chn, std::size_t bytes) {
        ASSERT_TRUE(hostctl::waitPlaybackPlayed(chn, bytes, 10000))
            << hostctl::playbackStats(chn).bytesPlayed << " of " << bytes;
    }

    audio_queue mQueue{};
};

// ---- Refusals -------------------------------------------------------------------------------

TEST_F(Playback, SendRefusesWrongChannelsAndBuffers) {
    rts_audio_attr a = attrFor("spk", kVoice);
    int idle = rts_av_create_audio_playback_chn(&a);
    int capture = rts_av_create_audio_capture_chn(&a);
    int chn = open("spk");
    ASSERT_GE(chn, 0);
    Bytes frame = pattern(642);
    EXPECT_EQ(send(999, frame.data(), 640), -ENOENT);
    EXPECT_EQ(send(capture, frame.data(), 640), -EINVAL);
    EXPECT_EQ(send(idle, frame.data(), 640), -EPERM);  // not enabled
    ASSERT_EQ(rts_av_enable_chn(idle), 0);
    EXPECT_EQ(send(idle, frame.data(), 640), -EPERM);  // not sending

    rts_av_buffer foreign{};
    foreign.data = frame.data();
    foreign.bytesUsed = 640;
    EXPECT_EQ(rts_av_send(chn, &foreign), -EINVAL);
    EXPECT_EQ(rts_av_send(chn, nullptr), -EINVAL);
    rts_av_buffer* buffer = pop_audio_queue(&mQueue);
    buffer->bytesUsed = buffer->length + 2;
    EXPECT_EQ(rts_av_send(chn, buffer), -EINVAL);
    buffer->bytesUsed = 2;
    ASSERT_EQ(rts_av_put_buffer(buffer), 0);
    EXPECT_EQ(rts_av_send(chn, buffer), -EINVAL);  // given back already
    EXPECT_EQ(hostctl::playbackStats(chn).bytesReceived, 0u);

    ASSERT_EQ(rts_av_stop_send(chn), 0);
    EXPECT_EQ(send(chn, frame.data(), 640), -EPERM);
}

TEST_F(Playback, ADeviceThatCannotOpenFailsTheStartOfSending) {
    rts_audio_attr a = attrFor(mFolder + "/no/such/folder.wav", kVoice);
    int chn = rts_av_create_audio_playback_chn(&a);
    ASSERT_EQ(rts_av_enable_chn(chn), 0);
    EXPECT_EQ(rts_av_start_send(chn), -ENOENT);
    Bytes frame = pattern(640);
    EXPECT_EQ(send(chn, frame.data(), 640), -EPERM);

    // Unknown to ALSA, or an ALSA the build left out: refused either way.
    a = attrFor("alsa:kq-no-such-pcm", kVoice);
    chn = rts_av_create_audio_playback_chn(&a);
    ASSERT_EQ(rts_av_enable_chn(chn), 0);
    EXPECT_LT(rts_av_start_send(chn), 0);
    EXPECT_FALSE(hostctl::playbackStats(chn).running);
}

// ---- Audio queues ---------------------------------------------------------------------------

// The lifetime of the queue's record is checked with the other records' in
// camera_support_test.cpp.
TEST_F(Playback, AudioQueueIsAFixedPoolOfDeviceBuffers) {
    audio_queue queue{};
    EXPECT_EQ(create_audio_queue(&queue, 0), -EINVAL);
    ASSERT_EQ(create_audio_queue(&queue, 640), 0);
    std::vector<rts_av_buffer*> taken;
    while (rts_av_buffer* b = pop_audio_queue(&queue)) {
        EXPECT_EQ(b->length, 640u);
        EXPECT_EQ(b->bytesUsed, 0u);
        std::memset(b->data, 0xab, 640);  // the whole capacity is the caller's
        taken.push_back(b);
        ASSERT_LE(taken.size(), 16u);
    }
    EXPECT_EQ(taken.size(), 4u);
    EXPECT_EQ(hostctl::calls("pop_audio_queue").back().result, -ENOBUFS);
    ASSERT_EQ(rts_av_put_buffer(taken.back()), 0);
    EXPECT_EQ(pop_audio_queue(&queue), taken.back());
    audio_queue copy = queue;
    EXPECT_EQ(pop_audio_queue(&copy), nullptr);
    EXPECT_EQ(pop_audio_queue(nullptr), nullptr);

    // Destroyed with its buffers out: they still go back, once each.
    EXPECT_EQ(destroy_audio_queue(&queue), 0);
    EXPECT_EQ(pop_audio_queue(&queue), nullptr);
    for (rts_av_buffer* b : taken) EXPECT_EQ(rts_av_put_buffer(b), 0);
    EXPECT_EQ(rts_av_put_buffer(taken[0]), -EINVAL);
    ASSERT_EQ(create_audio_queue(&queue, 64), 0);
    hostctl::reset();
    EXPECT_EQ(pop_audio_queue(&queue), nullptr);
}

// ---- Speakers -------------------------------------------------------------------------------

class WavFormats : public Playback, public ::testing::WithParamInterface<Format> {};

TEST_P(WavFormats, TheFileHoldsExactlyTheSentSamplesThenSilence) {
    const Format f = GetParam();
    const std::string path = mFolder + "/out.wav";
    int chn = open(path, f);
    ASSERT_GE(chn, 0);
    Bytes sent = pattern(f.bytesPerMs(20) * 15);
    sendAll(chn, sent, f.bytesPerMs(20));
    expectPlayed(chn, sent.size());

    // Valid while it grows: the header already counts what was written.
    SF_INFO info{};
    SNDFILE* growing = sf_open(path.c_str(), SFM_READ, &info);
    ASSERT_NE(growing, nullptr) << sf_strerror(nullptr);
    EXPECT_GE(static_cast<std::size_t>(info.frames) * f.frameBytes(), sent.size());
    sf_close(growing);

    ASSERT_EQ(rts_av_stop_send(chn), 0);
    hostctl::PlaybackStats stats = hostctl::playbackStats(chn);
    EXPECT_FALSE(stats.running);
    EXPECT_EQ(stats.bytesPlayed, sent.size());

    info = SF_INFO{};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    ASSERT_NE(file, nullptr) << sf_strerror(nullptr);
    EXPECT_EQ(info.samplerate, static_cast<int>(f.rate));
    EXPECT_EQ(info.channels, static_cast<int>(f.channels));
    const int subtype[] = {0, SF_FORMAT_PCM_U8, SF_FORMAT_PCM_16, SF_FORMAT_PCM_24,
                           SF_FORMAT_PCM_32};
    EXPECT_EQ(info.format, SF_FORMAT_WAV | subtype[f.bits / 8]);
    Bytes played(static_cast<std::size_t>(info.frames) * f.frameBytes());
    ASSERT_EQ(sf_read_raw(file, played.data(), static_cast<sf_count_t>(played.size())),
              static_cast<sf_count_t>(played.size()));
    sf_close(file);
    ASSERT_EQ(played.size(), stats.bytesPlayed + stats.silenceBytes);
    EXPECT_TRUE(std::equal(sent.begin(), sent.end(), played.begin()));
    EXPECT_TRUE(allBytes(played, sent.size(), f.bits == 8 ? 0x80 : 0x00));
}

INSTANTIATE_TEST_SUITE_P(Playback, WavFormats,
                         ::testing::Values(Format{8000, 8, 1}, Format{16000, 16, 2},
                                           Format{48000, 24, 2}, Format{22050, 32, 1}),
                         [](const auto& info) {
                             return std::to_string(info.param.bits) + "bit" +
                                    std::to_string(info.param.channels) + "ch";
                         });

TEST_F(Playback, ADrySpellIsOneUnderrunFilledWithSilence) {
    int chn = open("speaker");
    ASSERT_GE(chn, 0);
    std::this_thread::sleep_for(50ms);  // nothing sent yet: nothing played, no underrun
    EXPECT_EQ(hostctl::playbackStats(chn).underruns, 0u);
    EXPECT_EQ(hostctl::playbackStats(chn).silenceBytes, 0u);

    Bytes first = pattern(kVoice.bytesPerMs(100), 1);
    sendAll(chn, first, kVoice.bytesPerMs(20));
    expectPlayed(chn, first.size());
    std::this_thread::sleep_for(100ms);  // ten dry periods
    hostctl::PlaybackStats stats = hostctl::playbackStats(chn);
    EXPECT_EQ(stats.underruns, 1u);
    EXPECT_GE(stats.silenceBytes, kVoice.bytesPerMs(50));

    Bytes second = pattern(kVoice.bytesPerMs(100), 2);
    sendAll(chn, second, kVoice.bytesPerMs(20));
    expectPlayed(chn, first.size() + second.size());
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(hostctl::playbackStats(chn).underruns, 2u);

    // The speaker played the first sound, silence, the second sound, silence.
    Bytes kept = hostctl::playbackSamples(chn);
    ASSERT_GT(kept.size(), first.size() + second.size());
    EXPECT_TRUE(std::equal(first.begin(), first.end(), kept.begin()));
    auto secondAt =
        std::search(kept.begin() + first.size(), kept.end(), second.begin(), second.end());
    ASSERT_NE(secondAt, kept.end());
    EXPECT_TRUE(
        std::all_of(kept.begin() + first.size(), secondAt, [](uint8_t b) { return b == 0; }));
}

TEST_F(Playback, VolumeAndMuteScaleWhatIsPlayed) {
    const Bytes loud = samplesOf(std::vector<int32_t>(kVoice.rate / 10, 16000), 16);
    // The one level every played sample of `loud` has, or -1 when they differ.
    auto levelAt = [&](int volume, int mute) {
        EXPECT_EQ(set_playback_volume(volume), 0);
        EXPECT_EQ(enable_playback_mute(mute), 0);
        int chn = open("speaker");
        EXPECT_GE(chn, 0);
        sendAll(chn, loud, kVoice.bytesPerMs(20));
        expectPlayed(chn, loud.size());
        Bytes kept = hostctl::playbackSamples(chn);
        EXPECT_EQ(rts_av_destroy_chn(chn), 0);
        if (kept.size() < loud.size()) return -1;
        int level = sampleAt(kept, 16, 0);
        for (std::size_t i = 1; i < loud.size() / 2; ++i)
            if (sampleAt(kept, 16, i) != level) return -1;
        return level;
    };
    // 100 leaves the samples as they are; 50 is 25 dB down; mute and 0 are silence.
    EXPECT_EQ(levelAt(100, 0), 16000);
    EXPECT_NEAR(levelAt(50, 0), 16000 * std::pow(10.0, -25.0 / 20), 1.0);
    EXPECT_EQ(levelAt(100, 1), 0);
    EXPECT_EQ(levelAt(0, 0), 0);
}

// Run by its own ctest entry, which points ALSA_CONFIG_PATH at a file this test writes:
// ALSA's file plugin then writes what it is given to a raw file, with no sound card.
TEST_F(Playback, AlsaDevicePlaysThroughTheConfiguredPcm) {
    const char* config = std::getenv("ALSA_CONFIG_PATH");
    if (!config) GTEST_SKIP() << "run by ctest entry platform_alsa, which sets ALSA_CONFIG_PATH";
    const std::string raw = mFolder + "/out.raw";
    std::ofstream(config) << "pcm.kqtest {\n  type file\n  slave.pcm { type null }\n  file \""
                          << raw << "\"\n  format raw\n}\n";
    const Format f{48000, 16, 2};
    int chn = open("alsa:kqtest", f);
#ifndef KQ_HOST_ALSA
    EXPECT_EQ(chn, -ENOTSUP);
    GTEST_SKIP() << "the host platform is built without ALSA";
#endif
    ASSERT_GE(chn, 0);
    Bytes sent = pattern(f.bytesPerMs(20) * 10);
    sendAll(chn, sent, f.bytesPerMs(20));
    expectPlayed(chn, sent.size());
    ASSERT_EQ(rts_av_destroy_chn(chn), 0);
    EXPECT_EQ(hostctl::playbackStats(chn).outputErrors, 0u);

    std::ifstream in(raw, std::ios::binary);
    Bytes written((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    ASSERT_GE(written.size(), sent.size());
    EXPECT_TRUE(std::equal(sent.begin(), sent.end(), written.begin()));
    EXPECT_TRUE(allBytes(written, sent.size(), 0));
}

}  // namespace
