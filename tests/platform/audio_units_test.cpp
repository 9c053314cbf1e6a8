// The host platform's audio units on their own: the volume applied to each sample
// layout, the in-memory speaker's window of kept samples, and the devices names pick.

#include <cerrno>
#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "audio/memory_output.h"
#include "audio/pcm_input.h"
#include "audio/pcm_output.h"
#include "audio/sample_gain.h"
#include "audio/tone_input.h"
#include "audio/wav_file_input.h"
#include "audio/wav_file_output.h"
#include "platform/audio_format.h"
#include "platform/host_records.h"

using namespace host::audio;

namespace {

TEST(SampleGainTest, FollowsTheDecibelTaperFromUnityToSilence) {
    EXPECT_TRUE(SampleGain::forVolume(100, false).unity());
    EXPECT_TRUE(SampleGain::forVolume(150, false).unity());  // clamped
    EXPECT_TRUE(SampleGain::forVolume(0, false).silent());
    EXPECT_TRUE(SampleGain::forVolume(-5, false).silent());
    EXPECT_TRUE(SampleGain::forVolume(100, true).silent());
    EXPECT_NEAR(SampleGain::forVolume(60, false).fixedPoint(), 65536 * 0.1, 2);  // -20 dB
    for (int v = 1; v < 100; ++v)
        EXPECT_LT(SampleGain::forVolume(v, false).fixedPoint(),
                  SampleGain::forVolume(v + 1, false).fixedPoint());
}

TEST(SampleGainTest, ScalesEverySampleLayoutAroundItsZero) {
    const SampleGain minus20dB = SampleGain::forVolume(60, false);
    struct Case {
        uint32_t bits;
        std::vector<int32_t> in;
    };
    const Case cases[] = {
        {8, {-128, -50, 0, 50, 127}},
        {16, {-32768, -1000, 0, 1000, 32767}},
        {24, {-8388608, -100000, 0, 100000, 8388607}},
        {32, {INT32_MIN, -1000000, 0, 1000000, INT32_MAX}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.bits);
        PcmFormat format{8000, c.bits, 1};
        Bytes data = samplesOf(c.in, c.bits);
        const Bytes original = data;
        SampleGain::forVolume(100, false).apply(data.data(), data.size(), format);
        EXPECT_EQ(data, original);  // unity is bit-exact

        minus20dB.apply(data.data(), data.size(), format);
        for (std::size_t i = 0; i < c.in.size(); ++i)
            EXPECT_NEAR(sampleAt(data, c.bits, i), c.in[i] * 0.1, 1 + std::fabs(c.in[i]) * 1e-4)
                << c.in[i];

        SampleGain::forVolume(0, false).apply(data.data(), data.size(), format);
        for (std::size_t i = 0; i < c.in.size(); ++i) EXPECT_EQ(sampleAt(data, c.bits, i), 0);
    }
}

TEST(MemoryOutputTest, KeepsTheLatestTenSecondsOfWholeFrames) {
    const PcmFormat format{8000, 24, 1};  // 24,000 bytes a second
    MemoryOutput memory(format);
    EXPECT_TRUE(memory.kept().empty());
    Bytes second(24000);
    for (uint8_t n = 1; n <= 11; ++n) {
        std::fill(second.begin(), second.end(), n);
        ASSERT_EQ(memory.play(second.data(), second.size()), 0);
    }
    Bytes kept = memory.kept();
    ASSERT_EQ(kept.size(), 240000u);
    EXPECT_EQ(kept.front(), 2);  // the first second is forgotten
    EXPECT_EQ(kept.back(), 11);

    // One write longer than the window keeps its newest part.
    Bytes longer(300000);
    for (std::size_t i = 0; i < longer.size(); ++i) longer[i] = static_cast<uint8_t>(i / 3);
    ASSERT_EQ(memory.play(longer.data(), longer.size()), 0);
    kept = memory.kept();
    ASSERT_EQ(kept.size(), 240000u);
    EXPECT_TRUE(std::equal(kept.begin(), kept.end(), longer.end() - 240000));
}

// Each name picks the same kind of device for a speaker and a microphone, and a name
// that looks like a file but cannot be one is refused with a record naming it.
using DeviceNameTest = AudioChannelTest;

TEST_F(DeviceNameTest, ANamePicksAFileOrTheBuiltInDeviceOrIsRefusedWithARecord) {
    const std::string& dir = mFolder;
    const PcmFormat format{16000, 16, 1};
    {
        std::unique_ptr<PcmOutput> made;  // a microphone's file
        ASSERT_EQ(openPcmOutput(dir + "/in.wav", format, &made), 0);
        ASSERT_EQ(made->play(Bytes(640).data(), 640), 0);
    }
    // The library cuts a longer name to its first 63 characters.
    const std::string cut = (dir + "/" + std::string(80, 'n') + ".wav").substr(0, 63);
    const std::string cutBuiltin(63, 'b');
    const std::string note =
        " (the name has 63 characters, the most the library passes: it cuts longer device names)";

    const std::string missing = dir + "/no/such/folder.wav", badEnd = dir + "/in.wa";
    const std::string noFile = "No such file or directory";
    const std::string noWav = "a file name must end in \".wav\"";
    // The records of a name refused for `why`: the microphone's, then the speaker's.
    const auto refused = [](const std::string& name, const std::string& why) {
        return std::vector<std::string>{"host: microphone \"" + name + "\" refused: " + why,
                                        "host: speaker \"" + name + "\" refused: " + why};
    };
    const struct {
        std::string name;
        int speaker, microphone;           // what opening each gives
        std::vector<std::string> records;  // the microphone's first
    } names[] = {
        {"spk", 0, 0, {}},
        {dir + "/in.wav", 0, 0, {}},
        {dir + "/IN.WAV", 0, -ENOENT, {refused(dir + "/IN.WAV", noFile)[0]}},
        {missing, -ENOENT, -ENOENT, refused(missing, noFile)},
        {badEnd, -EINVAL, -EINVAL, refused(badEnd, noWav)},
        {cut, -EINVAL, -EINVAL, refused(cut, noWav + note)},
        {cutBuiltin,
         0,
         0,
         {"host: microphone \"" + cutBuiltin + "\" is the built-in microphone" + note,
          "host: speaker \"" + cutBuiltin + "\" is the built-in speaker" + note}},
    };
    for (const auto& n : names) {
        SCOPED_TRACE(n.name);
        // A name with a folder in it names a file, any other the built-in device.
        const bool file = n.name.find('/') != std::string::npos;
        std::unique_ptr<PcmOutput> speaker;
        std::unique_ptr<PcmInput> microphone;
        EXPECT_EQ(openPcmInput(n.name, format, &microphone), n.microphone);
        EXPECT_EQ(openPcmOutput(n.name, format, &speaker), n.speaker);
        const bool spoke = n.speaker == 0, heard = n.microphone == 0;
        EXPECT_EQ(dynamic_cast<WavFileOutput*>(speaker.get()) != nullptr, spoke && file);
        EXPECT_EQ(dynamic_cast<MemoryOutput*>(speaker.get()) != nullptr, spoke && !file);
        EXPECT_EQ(dynamic_cast<WavFileInput*>(microphone.get()) != nullptr, heard && file);
        EXPECT_EQ(dynamic_cast<ToneInput*>(microphone.get()) != nullptr, heard && !file);
        EXPECT_EQ(takeHostRecords(), n.records);
    }
}

}  // namespace
