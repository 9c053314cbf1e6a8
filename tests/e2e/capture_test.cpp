// Captured audio checked by tools nobody here wrote: ffprobe reads the AAC dump file and
// ffmpeg decodes it back to the generator's tone.
#include <cstring>
#include <sstream>
#include <thread>

#include "e2e/e2e_fixture.h"
#include "module/aac_source.h"
#include "module/buf.h"
#include "tone.h"

namespace {

using namespace std::chrono_literals;
using e2e::haveTool;

constexpr const char* kDumpPath = "/tmp/rts_aac_source.aac";

class CaptureTest : public LibraryTest {};

TEST_F(CaptureTest, TheAacDumpFileDecodesToTheGeneratorsToneAtTheCapturedFormat) {
    REQUIRE_TOOL("ffprobe");
    if (!hostctl::aacEncoderAvailable())
        GTEST_SKIP() << "the host platform was built without libavcodec: no AAC encoder";
    {
        // 3 s of 48 kHz stereo, every frame read.
        auto source = module::AacSource::Create("mic", {48000, 2, 16, 20});
        std::shared_ptr<module::Buf> frame;
        for (int frames = 0; frames < 3 * 48000 / 1024; ++frames)
            ASSERT_GT(source->Read(&frame, 0, 0), 0);
    }
    std::string probed = e2e::runCommand(std::string("ffprobe -v error -show_entries "
                                                     "stream=codec_name,sample_rate,channels "
                                                     "-of default=nw=1 ") + kDumpPath).output;
    EXPECT_EQ(probed, "codec_name=aac\nsample_rate=48000\nchannels=2\n");

    std::string raw = e2e::runCommand(std::string("ffmpeg -v error -i ") + kDumpPath +
                                      " -f s16le -ac 2 -").output;
    std::vector<int16_t> samples(raw.size() / 2);
    std::memcpy(samples.data(), raw.data(), samples.size() * 2);
    EXPECT_NEAR(samples.size() / 2, 3 * 48000, 4096) << "three seconds";
    ToneMeasure tone = measureTone(samples, 2, 48000);
    EXPECT_NEAR(tone.hertz, hostctl::kCaptureToneHz, 1.0);
    EXPECT_NEAR(tone.peak, 32767 / 4, 32767 / 20);
}

}  // namespace
