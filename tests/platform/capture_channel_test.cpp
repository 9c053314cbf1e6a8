// The host platform's capture chain, driven as the library's PCM sources drive it
// (capture -> resample -> encode of type PCM, a reader polling every millisecond): the
// microphones (tone, WAV file, ALSA), the capture period and its timestamps, format
// conversion, the capture volume and profile checks.
#include <sndfile.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "camera_support.h"
#include "host_control.h"
#include "platform/audio_format.h"
#include "rts_av.h"
#include "tone.h"

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

struct Received {
    Bytes bytes;
    uint64_t timestampUs;
};

// One channel of the stream's samples.
std::vector<double> channelOf(const Bytes& bytes, const Format& f, uint32_t channel = 0) {
    std::vector<double> out;
    for (std::size_t i = channel; i < bytes.size() / (f.bits / 8); i += f.channels)
        out.push_back(sampleAt(bytes, f.bits, i));
    return out;
}

// Whether `got` is `source` played in a loop from some multiple of `step` bytes on.
bool followsLoop(const Bytes& got, const Bytes& source, std::size_t step) {
    for (std::size_t start = 0; start < source.size(); start += step) {
        std::size_t i = 0;
        while (i < got.size() && got[i] == source[(start + i) % source.size()]) ++i;
        if (i == got.size()) return true;
    }
    return false;
}

Bytes joined(const std::vector<Received>& buffers) {
    Bytes out;
    for (const Received& r : buffers) out.insert(out.end(), r.bytes.begin(), r.bytes.end());
    return out;
}

class Capture : public AudioChannelTest {
protected:
    // The library's chain: capture, resample and encode channels made, profiled, bound
    // and enabled in its order, then received from. 0 or the first failing call's code.
    int open(const std::string& device, Format captured, Format converted, Format profiled) {
        const rts_audio_attr attr = attrFor(device, captured);
        mCapture = rts_av_create_audio_capture_chn(&attr);
        mResample =
            rts_av_create_audio_resample_chn(converted.rate, converted.bits, converted.channels);
        mEncode = rts_av_create_audio_encode_chn(RTS_AUDIO_ENCODE_PCM, 0);
        EXPECT_TRUE(mCapture >= 0 && mResample >= 0 && mEncode >= 0);
        rts_av_profile profile{};
        profile.format = RTS_AUDIO_FMT_PCM;
        profile.audio = {profiled.rate, profiled.bits, profiled.channels, 0};
        if (int rc = rts_av_set_profile(mEncode, &profile)) return rc;
        if (int rc = rts_av_bind(mCapture, mResample)) return rc;
        if (int rc = rts_av_bind(mResample, mEncode)) return rc;
        for (int chn : {mCapture, mResample, mEncode})
            if (int rc = rts_av_enable_chn(chn)) return rc;
        return rts_av_start_recv(mEncode);
    }
    int open(const std::string& device, Format f) { return open(device, f, f, f); }

    // The library's teardown, release included.
    void close() {
        EXPECT_EQ(rts_av_stop_recv(mEncode), 0);
        for (int chn : {mEncode, mResample, mCapture}) rts_av_disable_chn(chn);
        for (int chn : {mEncode, mResample, mCapture}) EXPECT_EQ(rts_av_destroy_chn(chn), 0);
        EXPECT_EQ(rts_av_release(), 0);
    }

    // `count` buffers taken as the library's worker takes them.
    std::vector<Received> receive(std::size_t count) {
        std::vector<Received> out;
        const Clock::time_point giveUp = Clock::now() + 5s + count * 40ms;
        while (out.size() < count && Clock::now() < giveUp) {
            std::this_thread::sleep_for(1ms);
            rts_av_buffer* buffer = nullptr;
            if (rts_av_poll(mEncode) != 0 || rts_av_recv(mEncode, &buffer) != 0) continue;
            const auto* data = static_cast<const uint8_t*>(buffer->data);
            out.push_back({Bytes(data, data + buffer->bytesUsed), buffer->timestamp});
            EXPECT_EQ(rts_av_put_buffer(buffer), 0);
        }
        EXPECT_EQ(out.size(), count);
        return out;
    }

    // Writes `frames` frames of random 16-bit samples to a WAV file; the samples.
    static std::vector<int16_t> writeWav(const std::string& path, const Format& f,
                                         std::size_t frames) {
        std::vector<int16_t> samples(frames * f.channels);
        std::mt19937 random(7);
        for (int16_t& s : samples) s = static_cast<int16_t>(random());
        SF_INFO info{0, int(f.rate), int(f.channels), SF_FORMAT_WAV | SF_FORMAT_PCM_16, 0, 0};
        SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
        EXPECT_NE(file, nullptr);
        sf_writef_short(file, samples.data(), sf_count_t(frames));
        sf_close(file);
        return samples;
    }

    int mCapture = -1, mResample = -1, mEncode = -1;
};

constexpr std::size_t kVoicePeriodBytes = 16000 / 1000 * hostctl::kCapturePeriodMs * 2;

// ---- WAV files and conversion ----------------------------------------------------------------

// Sample for sample in the file's width is the library tests' part; a wider channel
// carries the file's samples in its top bits.
TEST_F(Capture, AWavFileLoopsIntoTheChannelsWidth) {
    const std::string path = mFolder + "/in.wav";
    std::vector<int16_t> file = writeWav(path, kVoice, 7001);  // wraps within a period
    Bytes wide;
    for (int16_t s : file) wide.insert(wide.end(), {0, 0, uint8_t(s), uint8_t(s >> 8)});
    ASSERT_EQ(open(path, {16000, 32, 1}), 0);
    EXPECT_TRUE(followsLoop(joined(receive(30)), wide, 4));
}

// Each width and channel count the microphone and the resampler take, the tone at a
// quarter of full scale in each. A period of 11025 Hz has 220.5 frames: periods alternate
// so the count stays exact, each stamped with its first frame's time.
TEST_F(Capture, TheToneComesInPeriodsOfEveryFormatTheResamplerMakes) {
    struct Case {
        Format from, to;
    };
    for (const Case& c : {Case{{48000, 16, 2}, {16000, 32, 1}}, Case{{8000, 16, 1}, {44100, 24, 2}},
                          Case{{11025, 8, 2}, {11025, 8, 2}}, Case{{32000, 24, 1}, {32000, 16, 2}},
                          Case{{48000, 32, 2}, {48000, 32, 2}}}) {
        SCOPED_TRACE(c.to.rate);
        ASSERT_EQ(rts_av_init(), 0);
        ASSERT_EQ(open("mic", c.from, c.to, c.to), 0);
        std::vector<Received> buffers = receive(50);
        for (std::size_t i = 1; i < buffers.size(); ++i) {
            const std::size_t frames = buffers[i - 1].bytes.size() / c.to.frameBytes();
            EXPECT_EQ(frames + buffers[i].bytes.size() / c.to.frameBytes(), c.to.rate / 25) << i;
            const double lasted = buffers[i].timestampUs - buffers[i - 1].timestampUs;
            EXPECT_NEAR(lasted, frames * 1e6 / c.to.rate, 1.0) << i;
        }
        // The first buffer may begin with the filter's delay: silence before the tone.
        Bytes bytes = joined({buffers.begin() + 1, buffers.end()});
        std::vector<double> left = channelOf(bytes, c.to);
        ToneMeasure tone = measureTone(left, 1, c.to.rate);
        EXPECT_NEAR(tone.hertz, hostctl::kCaptureToneHz, 1.0);
        double fullScale = std::ldexp(1.0, int(c.to.bits) - 1);
        EXPECT_NEAR(tone.peak / fullScale, hostctl::kCaptureToneLevel, 0.01);
        if (c.to.channels == 2) {
            EXPECT_EQ(left, channelOf(bytes, c.to, 1));
        }
        close();
    }
}

// With sync marks the stream starts on a grid that puts a frame on each whole second,
// where the beep starts: exactly its samples, the tone's level before and after.
TEST_F(Capture, TheSyncBeepStartsAtTheWholeSecond) {
    hostctl::setSyncMarks(true);
    ASSERT_EQ(open("mic", kVoice), 0);
    const std::vector<Received> buffers = receive(60);  // 1.2 s: one whole second at least
    close();
    ASSERT_EQ(buffers.size(), 60u);
    const std::vector<double> samples = channelOf(joined(buffers), kVoice);
    const uint64_t firstUs = buffers[0].timestampUs, second = firstUs / 1000000 + 1;
    const std::size_t at = (second * 1000000 - firstUs) * kVoice.rate / 1000000;
    const std::size_t beep = kVoice.rate * hostctl::kSyncBeepMs / 1000;
    ASSERT_LT(at + beep + 1, samples.size());
    const double tone = 0.25 * 32768 + 1, level = 0.5 * 32768;
    for (std::size_t i = 0; i < beep; ++i)
        ASSERT_NEAR(samples[at + i],
                    level * std::sin(2 * M_PI * hostctl::kSyncBeepHz * i / kVoice.rate), 1)
            << i;
    for (std::size_t i : {at - 1, at + beep}) EXPECT_LE(std::abs(samples[i]), tone) << i;
}

// ---- Volume, refusals and profiles -----------------------------------------------------------

TEST_F(Capture, CaptureVolumeAndMuteApplyToTheSamples) {
    ASSERT_EQ(open("mic", kVoice), 0);
    const double full = hostctl::kCaptureToneLevel * 32768;
    // Buffers already queued or in flight keep the level they were made with.
    auto levelAfterChange = [&] {
        receive(8);
        return measureTone(channelOf(joined(receive(5)), kVoice), 1, kVoice.rate).peak;
    };
    ASSERT_EQ(set_capture_volume(50), 0);  // -25 dB
    EXPECT_NEAR(levelAfterChange(), full * std::pow(10.0, -25.0 / 20), 2.0);
    ASSERT_EQ(enable_capture_mute(1), 0);
    EXPECT_EQ(levelAfterChange(), 0.0);
}

TEST_F(Capture, AMicrophoneThatCannotBeOpenedFailsEnablingAndStaysDisabled) {
    const std::string path = mFolder + "/in.wav";
    writeWav(path, {44100, 16, 1}, 100);
    const struct {
        std::string device;
        int code;
    } refused[] = {{mFolder + "/missing.wav", -ENOENT}, {path, -EINVAL}};  // 44.1 kHz file
    for (const auto& r : refused) {
        const rts_audio_attr attr = attrFor(r.device, kVoice);
        int chn = rts_av_create_audio_capture_chn(&attr);
        EXPECT_EQ(rts_av_enable_chn(chn), r.code) << r.device;
        EXPECT_EQ(rts_av_get_chn_status(chn), 0);
        EXPECT_EQ(hostctl::captureStats(chn).periods, 0u);
    }
}

TEST_F(Capture, AnEncodeProfileOfAnotherFormatIsRefusedOrItsBuffersDropped) {
    // Known at enabling: the resampler delivers 48 kHz, the profile says 16 kHz.
    EXPECT_EQ(open("mic", {48000, 16, 1}, {48000, 16, 1}, kVoice), -EINVAL);
    EXPECT_EQ(rts_av_get_chn_status(mEncode), 0);

    // Known only later: the encoder's source is replaced by one of another format.
    ASSERT_EQ(rts_av_destroy_chn(mEncode), 0);
    ASSERT_EQ(rts_av_destroy_chn(mResample), 0);
    ASSERT_EQ(rts_av_destroy_chn(mCapture), 0);
    ASSERT_EQ(open("mic", {48000, 16, 1}, kVoice, kVoice), 0);
    receive(2);
    ASSERT_EQ(rts_av_destroy_chn(mResample), 0);
    int other = rts_av_create_audio_resample_chn(48000, 16, 1);
    ASSERT_EQ(rts_av_bind(mCapture, other), 0);
    ASSERT_EQ(rts_av_bind(other, mEncode), 0);
    ASSERT_EQ(rts_av_enable_chn(other), 0);
    const uint64_t produced = hostctl::channelStats(mEncode).produced;
    std::this_thread::sleep_for(200ms);
    EXPECT_EQ(hostctl::channelStats(mEncode).produced, produced);
    EXPECT_GE(hostctl::channelStats(mEncode).dropped, 5u);
}

// ---- The capture thread ----------------------------------------------------------------------

// ALSA's file plugin reads a raw file for capture, so no sound card is needed.
TEST_F(Capture, AlsaDeviceRecordsFromTheConfiguredPcm) {
    const char* config = std::getenv("ALSA_CONFIG_PATH");
    if (!config)
        GTEST_SKIP() << "run by ctest entry platform_alsa_capture, which sets ALSA_CONFIG_PATH";
    const std::string raw = mFolder + "/in.raw";
    Bytes recorded(kVoicePeriodBytes * 50);
    std::mt19937 random(3);
    for (uint8_t& b : recorded) b = static_cast<uint8_t>(random());
    std::ofstream(raw, std::ios::binary)
        .write(reinterpret_cast<const char*>(recorded.data()), recorded.size());
    std::ofstream(config)
        << "pcm.kqmic {\n  type file\n  slave.pcm { type null }\n  file \"/dev/null\"\n"
        << "  infile \"" << raw << "\"\n  format raw\n}\n";
    int rc = open("alsa:kqmic", kVoice);
#ifndef KQ_HOST_ALSA
    EXPECT_EQ(rc, -ENOTSUP);
    GTEST_SKIP() << "the host platform is built without ALSA";
#endif
    ASSERT_EQ(rc, 0);
    // The reader may start a few periods in: the rest follows the file on.
    EXPECT_TRUE(followsLoop(joined(receive(10)), recorded, kVoicePeriodBytes));
    EXPECT_EQ(hostctl::captureStats(mCapture).inputErrors, 0u);
}

}  // namespace
