// The capture sources against the host's capture chain: what reaches the readers, the
// AAC dump file and its sharing, the combined source's queues and shared sources, and
// the records of opening and closing.
#include <sys/stat.h>
#include <unistd.h>

#include <condition_variable>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <mutex>
#include <set>
#include <thread>

#include "aac_dump_lock.h"
#include "library/library_fixture.h"
#include "log_entry.h"
#include "module/aac_source.h"
#include "module/buf.h"
#include "module/multi_audio_source.h"
#include "module/pcm_source.h"

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;
using namespace std::chrono_literals;

namespace {

// 16 kHz mono, 16 bits: 640 bytes a period.
constexpr module::AudioParam kParam{16000, 1, 16, 20};
constexpr uint32_t kPeriodBytes = 16000 / 1000 * hostctl::kCapturePeriodMs * 2;
constexpr const char* kDumpPath = "/tmp/rts_aac_source.aac";
// Pushed buffers carry times far beyond the generator's, and beyond 32 bits of ms.
constexpr uint64_t kPushedUs = 7000000000000ull;

uint32_t mediaMs(const module::Buf& buf) {
    const module::MediaInfo* info = module::MediaInfo::From(buf.mediaInfo.get());
    return info ? info->timeMs : 0;
}

std::vector<uint8_t> bytesOf(const module::Buf& buf) { return {buf.Data(), buf.Data() + buf.size}; }

std::vector<uint8_t> readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// A read of a source blocks until a frame comes, and a scripted channel yields only what
// a test pushes: should a pushed buffer never become a frame, the watchdog pushes filler
// after 10 s, so that the test fails on what it reads instead of waiting for ever.
class ReadWatchdog {
public:
    void arm(int chn) {
        if (mThread.joinable()) return;
        mDone = false;
        mThread = std::thread([this, chn] {
            std::unique_lock<std::mutex> lock(mMutex);
            if (mWake.wait_for(lock, std::chrono::seconds(10), [this] { return mDone; })) return;
            for (int i = 0; i < 200; ++i) hostctl::pushBuffer(chn, {0, 0}, 0, 0);
        });
    }
    void disarm() {
        {
            std::lock_guard<std::mutex> lock(mMutex);
            mDone = true;
        }
        mWake.notify_all();
        if (mThread.joinable()) mThread.join();
    }

private:
    std::mutex mMutex;
    std::condition_variable mWake;
    bool mDone = false;
    std::thread mThread;
} gWatchdog;

enum class Kind { Pcm, Aac, Multi };

class CaptureSourceTest : public LibraryTest {
protected:
    static std::shared_ptr<module::I_Source> create(Kind kind, const char* device = "mic") {
        switch (kind) {
            case Kind::Pcm: return module::PcmSource::Create(device, kParam);
            case Kind::Aac: return module::AacSource::Create(device, kParam);
            case Kind::Multi: return module::MultiAudioSourceAacPcm::Create(device, kParam);
        }
        return nullptr;
    }

    void SetUp() override {
        LibraryTest::SetUp();
        ::unlink(kDumpPath);
    }

    void TearDown() override {
        gWatchdog.disarm();
        LibraryTest::TearDown();
    }

    static int encodeChannel() {
        auto made = hostctl::calls("rts_av_create_audio_encode_chn");
        return made.empty() ? -1 : made.back().result;
    }

    // Scripts the newest source's encode channel and, once its worker polls it, pushes
    // buffers of `sizes` bytes (16-bit samples counting from the buffer's number times
    // 1000), the nth stamped kPushedUs + n ms.
    static void pushBuffers(const std::vector<uint32_t>& sizes) {
        const int chn = encodeChannel();
        ASSERT_EQ(hostctl::scriptChannel(chn, true), 0);
        auto polled = [chn] {
            auto polls = hostctl::calls("rts_av_poll");
            return !polls.empty() && polls.back().args == std::to_string(chn);
        };
        for (int i = 0; i < 1000 && !polled(); ++i) std::this_thread::sleep_for(5ms);
        for (std::size_t n = 0; n < sizes.size(); ++n)
            ASSERT_EQ(hostctl::pushBuffer(chn, pushed(n, sizes[n]), kPushedUs + n * 1000, 0), 0);
        gWatchdog.arm(chn);
    }

    static std::vector<uint8_t> pushed(std::size_t n, uint32_t bytes) {
        std::vector<uint8_t> data(bytes);
        for (uint32_t i = 0; i + 1 < bytes; i += 2) {
            auto sample = static_cast<uint16_t>(n * 1000 + i / 2);
            std::memcpy(&data[i], &sample, 2);
        }
        return data;
    }

    // Reads until the frame of the nth pushed buffer, skipping what the generator made
    // before the channel was scripted.
    template <typename Source>
    static int readPushed(Source& source, std::size_t n, std::shared_ptr<module::Buf>* out) {
        const auto want = static_cast<uint32_t>((kPushedUs + n * 1000) / 1000);
        for (int i = 0; i < 50; ++i) {
            int len = source.Read(out, 1000, 0);
            if (len <= 0 || mediaMs(**out) == want) return len;
        }
        return -1;
    }

    AacDumpLock mDumpLock;
};

#define REQUIRE_AAC()                     \
    if (hostctl::aacEncoderAvailable()) { \
    } else                                \
        GTEST_SKIP() << "the host platform was built without libavcodec: no AAC encoder"

// ---- PCM -------------------------------------------------------------------------------------

// The frames' bytes are checked one by one by EachBufferBecomesOneFrame..., the
// generator's tone by the platform's capture tests and, through the AAC source, by
// CaptureTest.TheAacFramesDecodeToTheGeneratorsToneAtTheCapturedFormat.
TEST_F(CaptureSourceTest, PcmFramesArriveInOrderOnePeriodApart) {
    auto source = module::PcmSource::Create("mic", kParam);
    EXPECT_TRUE(findLog("RTS PCM Source opened."));
    const int frames = 3000 / hostctl::kCapturePeriodMs;  // 3 s
    std::shared_ptr<module::Buf> frame;
    uint32_t previousMs = 0;
    for (int i = 0; i < frames; ++i) {
        ASSERT_EQ(source->Read(&frame, 0, 0), int(kPeriodBytes)) << "frame " << i;
        if (i > 0) {
            ASSERT_EQ(mediaMs(*frame) - previousMs, hostctl::kCapturePeriodMs) << i;
        }
        previousMs = mediaMs(*frame);
    }
    EXPECT_EQ(hostctl::channelStats(encodeChannel()).dropped, 0u);
}

// Each source opens the device it is given, its name cut to 63 characters.
TEST_F(CaptureSourceTest, EachSourceOpensTheDeviceItIsGivenCutTo63Characters) {
    const std::string name(64, 'n');
    for (Kind kind : {Kind::Pcm, Kind::Aac, Kind::Multi}) {
        if (kind != Kind::Pcm && !hostctl::aacEncoderAvailable()) continue;
        forgetHistory();
        create(kind, name.c_str()).reset();
        const std::string args = hostctl::calls("rts_av_create_audio_capture_chn").at(0).args;
        EXPECT_NE(args.find(std::string(63, 'n')), std::string::npos) << args;
        EXPECT_EQ(args.find(name), std::string::npos) << args;
    }
}

TEST_F(CaptureSourceTest, EachBufferBecomesOneFrameWithItsBytesAndItsTimeInMilliseconds) {
    auto source = module::PcmSource::Create("mic", kParam);
    // A receive that succeeds without a buffer is passed over.
    hostctl::failCall("rts_av_recv", 1, 0);
    // A larger buffer grows the working buffer; the smaller one after it reuses it.
    pushBuffers({640, 4000, 200});
    std::shared_ptr<module::Buf> frame;
    ASSERT_EQ(readPushed(*source, 0, &frame), 640);
    for (uint32_t n : {1u, 2u}) {
        int len = source->Read(&frame, 1000, 0);
        ASSERT_EQ(len, n == 1 ? 4000 : 200);
        EXPECT_EQ(bytesOf(*frame), pushed(n, uint32_t(len)));
        EXPECT_EQ(mediaMs(*frame), uint32_t((kPushedUs + n * 1000) / 1000)) << "cut to 32 bits";
    }
}

// ---- Opening, closing and their failures -------------------------------------------------------

// The PCM and combined sources print a failed start of receiving instead of logging it
// (the failure sweep checks the rest); their reads then answer 0 at once.
TEST_F(CaptureSourceTest, AFailedStartOfReceivingIsPrinted) {
    for (Kind kind : {Kind::Pcm, Kind::Multi}) {
        if (kind != Kind::Pcm && !hostctl::aacEncoderAvailable()) continue;
        ::testing::internal::CaptureStdout();
        hostctl::failCall("rts_av_start_recv", 1, -EIO);
        std::shared_ptr<module::I_Source> source = create(kind);
        std::this_thread::sleep_for(100ms);  // the combined source reads without waiting
        std::shared_ptr<module::Buf> frame;
        EXPECT_EQ(source->Read(&frame, 0, 0), 0);
        source.reset();
        EXPECT_EQ(::testing::internal::GetCapturedStdout(),
                  std::string(kind == Kind::Pcm ? "start recv fail" : "start recv aac fail") +
                      ", ret = -5, " + errno2str(-EIO) + "\n");
    }
}

// Debug records are shown and never stored. Closing goes as the sink's does: reception
// stopped, the chain disabled, the encoder pack and then the channels destroyed, the
// platform released.
TEST_F(CaptureSourceTest, DebugRecordsAreOnlyShownAndClosingKeepsItsOrder) {
    std::FILE* echo = std::tmpfile();
    hostctl::setLogEcho(echo);
    hostctl::setShownLevels(hostctl::kAllLogLevels);
    const std::set<std::string> background = {"rts_av_poll", "rts_av_recv", "rts_av_put_buffer",
                                              "do_pcm_to_aac_encode"};
    const std::map<Kind, std::vector<std::string>> debug = {
        {Kind::Pcm, {"PcmSource::Create() OK."}},
        {Kind::Aac, {"createChannels start\n", "CaptureLoop start\n", "AacSource::Create() OK."}},
        {Kind::Multi, {"createChannels start\n", "CaptureLoop start\n"}},
    };
    for (Kind kind : {Kind::Pcm, Kind::Aac, Kind::Multi}) {
        SCOPED_TRACE(int(kind));
        if (kind != Kind::Pcm && !hostctl::aacEncoderAvailable()) continue;
        forgetHistory();
        std::shared_ptr<module::I_Source> source = create(kind);
        std::this_thread::sleep_for(100ms);  // the worker is receiving
        std::vector<std::string> shown;
        for (const hostctl::LogRecord& r : hostctl::logRecords(hostctl::LogRecord::Path::Shown))
            if (r.level == 1) shown.push_back(r.text);
        EXPECT_THAT(shown, ::testing::UnorderedElementsAreArray(debug.at(kind)));
        for (const hostctl::LogRecord& r : hostctl::logRecords()) EXPECT_NE(r.level, 1u) << r.text;

        std::vector<std::string> ids;
        for (const char* made :
             {"rts_av_create_audio_encode_chn", "rts_av_create_audio_resample_chn",
              "rts_av_create_audio_capture_chn"})
            ids.push_back(std::to_string(hostctl::calls(made).back().result));
        forgetHistory();
        source.reset();
        std::vector<std::string> closing;
        for (const hostctl::JournalEntry& e : hostctl::journal())
            if (!background.count(e.function))
                closing.push_back(e.function == "destroy_aac_encoder_pack"
                                      ? e.function
                                      : e.function + "(" + e.args + ")");
        std::vector<std::string> expected = {"rts_av_stop_recv(" + ids[0] + ")"};
        for (const std::string& id : ids) expected.push_back("rts_av_disable_chn(" + id + ")");
        if (kind != Kind::Pcm) expected.push_back("destroy_aac_encoder_pack");
        for (const std::string& id : ids) expected.push_back("rts_av_destroy_chn(" + id + ")");
        expected.push_back("rts_av_release()");
        EXPECT_EQ(closing, expected);
    }
    hostctl::setLogEcho(nullptr);
    std::fclose(echo);
}

// ---- AAC ---------------------------------------------------------------------------------------

TEST_F(CaptureSourceTest, TheDumpFileHoldsEveryAacFrameReadInOrder) {
    REQUIRE_AAC();
    auto source = module::AacSource::Create("mic", kParam);
    EXPECT_TRUE(findLog("RTS AAC Source opened."));
    struct stat st {};
    ASSERT_EQ(::stat(kDumpPath, &st), 0);
    const mode_t mask = ::umask(0);
    ::umask(mask);
    EXPECT_EQ(st.st_mode & 0777, 0777 & ~mask);

    // Capture for a while, then stop the encoding and read every frame encoded.
    std::this_thread::sleep_for(500ms);
    ASSERT_EQ(hostctl::scriptChannel(encodeChannel(), true), 0);
    std::this_thread::sleep_for(50ms);
    std::size_t encoded = 0;
    for (const hostctl::JournalEntry& e : hostctl::calls("do_pcm_to_aac_encode"))
        encoded += std::size_t(std::max(e.result, 0));
    ASSERT_GT(encoded, 0u);
    std::vector<uint8_t> frames;
    std::shared_ptr<module::Buf> frame;
    int reads = 0;
    for (; frames.size() < encoded; ++reads) {
        int len = source->Read(&frame, 0, 0);
        ASSERT_GT(len, 7);
        ASSERT_EQ(frame->Data()[0], 0xFF) << "an ADTS frame";
        frames.insert(frames.end(), frame->Data(), frame->Data() + len);
    }
    EXPECT_EQ(readFile(kDumpPath), frames);
    auto logged = hostctl::logTexts();
    EXPECT_EQ(std::count_if(logged.begin(), logged.end(),
                            [](const std::string& t) {
                                return t.rfind("RTS390X AacSource::Read R", 0) == 0;
                            }),
              reads);
}

// Made to yield nothing for the first pushed buffer, the encoder gets the second's
// 2048 samples after it, which make at least one frame whatever it held before.
TEST_F(CaptureSourceTest, AnEncodeThatYieldsNothingQueuesNoAacFrame) {
    REQUIRE_AAC();
    auto quietFirstEncode = [] {
        ASSERT_EQ(hostctl::scriptChannel(encodeChannel(), true), 0);
        std::this_thread::sleep_for(50ms);  // the worker is done with the generator's
        hostctl::failCall("do_pcm_to_aac_encode", 1, 0);
        pushBuffers({4096, 4096});
    };
    const uint32_t firstMs = uint32_t(kPushedUs / 1000);
    std::shared_ptr<module::Buf> frame;
    {
        auto aac = module::AacSource::Create("mic", kParam);
        quietFirstEncode();
        ASSERT_GT(aac->Read(&frame, 0, 0), 0);
        while (mediaMs(*frame) != firstMs + 1) {
            ASSERT_NE(mediaMs(*frame), firstMs);
            ASSERT_GT(aac->Read(&frame, 0, 0), 0);
        }
    }
    auto multi = module::MultiAudioSourceAacPcm::Create("mic", kParam);
    quietFirstEncode();
    std::this_thread::sleep_for(50ms);
    std::set<uint32_t> pcmTimes, aacTimes;
    while (multi->ReadCodec(&frame, 0, 0, module::I_SourceFactory::CODEC_PCM) > 0)
        pcmTimes.insert(mediaMs(*frame));
    while (multi->Read(&frame, 0, 0) > 0) aacTimes.insert(mediaMs(*frame));
    EXPECT_THAT(pcmTimes, Contains(firstMs)) << "its PCM frame is queued all the same";
    EXPECT_THAT(aacTimes, Not(Contains(firstMs)));
    EXPECT_THAT(aacTimes, Contains(firstMs + 1));
}

TEST_F(CaptureSourceTest, AacSourcesOpenAtOnceShareTheDumpFileUntilTheLastCloses) {
    REQUIRE_AAC();
    auto first = module::AacSource::Create("mic", kParam);
    std::shared_ptr<module::Buf> frame;
    ASSERT_GT(first->Read(&frame, 0, 0), 0);
    auto second = module::AacSource::Create("mic", kParam);
    ASSERT_GT(second->Read(&frame, 0, 0), 0);
    const std::size_t before = readFile(kDumpPath).size();
    first.reset();
    for (int i = 0; i < 5; ++i) ASSERT_GT(second->Read(&frame, 0, 0), 0);
    second.reset();
    EXPECT_GT(readFile(kDumpPath).size(), before) << "the second went on writing";
    EXPECT_THAT(logTexts(), Not(Contains(HasSubstr("write capture to file fail"))));

    // The next source alone empties it again.
    auto third = module::AacSource::Create("mic", kParam);
    EXPECT_LT(readFile(kDumpPath).size(), before);
}

TEST_F(CaptureSourceTest, WithoutItsDumpFileAnAacSourceStillDeliversFrames) {
    REQUIRE_AAC();
    ASSERT_EQ(::mkdir(kDumpPath, 0700), 0);  // a folder cannot be opened for writing
    auto source = module::AacSource::Create("mic", kParam);
    std::shared_ptr<module::Buf> frame;
    EXPECT_GT(source->Read(&frame, 0, 0), 0);
    source.reset();
    ::rmdir(kDumpPath);
    EXPECT_TRUE(findLog(std::string("Fail to open ") + kDumpPath + " to write"));
    EXPECT_FALSE(findLog("RTS AAC Source opened."));
    EXPECT_TRUE(findLog("write capture to file fail, ret = -1"));
}

// ---- The combined source -----------------------------------------------------------------------

// One chain feeds both queues, each AAC frame with its PCM frame's time. Shared sources
// read them and keep the source alive; two readers of one codec divide its frames.
TEST_F(CaptureSourceTest, SharedSourcesReadBothQueuesOfOneChainAndKeepTheSourceAlive) {
    REQUIRE_AAC();
    auto source = module::MultiAudioSourceAacPcm::Create("mic", kParam);
    EXPECT_TRUE(findLog("RTS Muti Audio Source AAC/PCM opened."));
    auto aacA = source->CreateSharedSource(module::I_SourceFactory::CODEC_AAC);
    auto aacB = source->CreateSharedSource(module::I_SourceFactory::CODEC_AAC);
    auto pcm = source->CreateSharedSource(module::I_SourceFactory::CODEC_PCM);
    auto unknown = source->CreateSharedSource(static_cast<module::I_SourceFactory::Codec>(2));
    source.reset();  // the shared sources keep it capturing
    std::this_thread::sleep_for(1s);

    // The AAC frames first: a buffer's PCM frame is queued before its AAC frame.
    std::set<uint32_t> aacTimes, pcmTimes;
    std::shared_ptr<module::Buf> frame;
    int taken = 0;
    for (bool any = true; any;) {
        any = false;
        for (auto* reader : {&aacA, &aacB})
            if ((*reader)->Read(&frame, 0, 0) > 0) {
                any = true;
                ++taken;
                aacTimes.insert(mediaMs(*frame));
            }
    }
    EXPECT_EQ(aacTimes.size(), std::size_t(taken)) << "no AAC frame is delivered twice";
    while (pcm->Read(&frame, 0, 0) > 0) {
        EXPECT_EQ(frame->size, kPeriodBytes);
        pcmTimes.insert(mediaMs(*frame));
    }
    EXPECT_GE(pcmTimes.size(), 40u);
    for (uint32_t ms : aacTimes) EXPECT_THAT(pcmTimes, Contains(ms)) << "its PCM frame's time";
    // 1024 samples of 16 kHz an AAC frame.
    EXPECT_NEAR(taken, pcmTimes.size() * kPeriodBytes / 2 / 1024.0, 2);
    EXPECT_EQ(hostctl::calls("rts_av_create_audio_capture_chn").size(), 1u);

    EXPECT_EQ(unknown->Read(&frame, 0, 0), 0);
    EXPECT_EQ(unknown->Read(&frame, 0, 0), 0);
    auto logged = logTexts();
    EXPECT_EQ(std::count(logged.begin(), logged.end(), "unknown codec 2"), 2);

    aacA.reset();
    aacB.reset();
    pcm.reset();
    EXPECT_GT(hostctl::liveChannelCount(), 0);
    unknown.reset();  // the last one tears it down
    EXPECT_TRUE(findLog("RTS Muti Audio Source AAC/PCM closed."));
}

// The queue never fills a null place: waiting for a frame there would never end.
TEST_F(CaptureSourceTest, AReadWithoutAPlaceForTheFrameAnswersZeroAtOnce) {
    auto source = module::PcmSource::Create("mic", kParam);
    EXPECT_EQ(source->Read(nullptr, 0, 0), 0);
    EXPECT_TRUE(findLog("Read: no place for the frame given"));
}

}  // namespace
