// Captured audio checked by tools nobody here wrote: ffprobe reads the AAC frames a
// source delivers and ffmpeg decodes them back to the generator's tone.
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

#include "aac_dump_lock.h"
#include "e2e/e2e_fixture.h"
#include "module/aac_source.h"
#include "module/buf.h"
#include "tone.h"

namespace {

using namespace std::chrono_literals;
using e2e::haveTool;

class CaptureTest : public LibraryTest {
    AacDumpLock mDumpLock;
};

// Whatever the captured sample width, the AAC is the generator's tone at its level. The
// frames are read, not taken from the dump file, which other processes' sources share.
TEST_F(CaptureTest, TheAacFramesDecodeToTheGeneratorsToneAtTheCapturedFormat) {
    REQUIRE_TOOL("ffprobe");
    if (!hostctl::aacEncoderAvailable())
        GTEST_SKIP() << "the host platform was built without libavcodec: no AAC encoder";
    const module::AudioParam formats[] = {
        {48000, 2, 16, 20}, {16000, 1, 8, 20}, {44100, 2, 24, 20}, {16000, 1, 32, 20}};
    for (const module::AudioParam& f : formats) {
        SCOPED_TRACE(std::to_string(f.sampleRate) + " Hz, " + std::to_string(f.bitsPerSample) +
                     " bits");
        const std::string path =
            ::testing::TempDir() + "kq_capture_test_" + std::to_string(getpid()) + ".aac";
        {
            // 1 s, every frame read.
            std::ofstream file(path, std::ios::binary | std::ios::trunc);
            auto source = module::AacSource::Create("mic", f);
            std::shared_ptr<module::Buf> frame;
            for (uint32_t frames = 0; frames < f.sampleRate / 1024; ++frames) {
                ASSERT_GT(source->Read(&frame, 0, 0), 0);
                file.write(reinterpret_cast<const char*>(frame->Data()), frame->size);
            }
        }
        std::string probed = e2e::runCommand(std::string("ffprobe -v error -show_entries "
                                                         "stream=codec_name,sample_rate,channels "
                                                         "-of default=nw=1 ") +
                                             path)
                                 .output;
        EXPECT_EQ(probed, "codec_name=aac\nsample_rate=" + std::to_string(f.sampleRate) +
                              "\nchannels=" + std::to_string(f.channels) + "\n");

        std::string raw = e2e::runCommand("ffmpeg -v error -i " + path + " -f s16le -").output;
        std::vector<int16_t> samples(raw.size() / 2);
        std::memcpy(samples.data(), raw.data(), samples.size() * 2);
        EXPECT_NEAR(samples.size() / f.channels, f.sampleRate, 4096) << "one second";
        ToneMeasure tone = measureTone(samples, f.channels, f.sampleRate);
        EXPECT_NEAR(tone.hertz, hostctl::kCaptureToneHz, 1.0);
        EXPECT_NEAR(tone.peak, 32767 / 4, 32767 / 20);
        std::remove(path.c_str());
    }
}

}  // namespace
