// module::PcmSink against the host's playback device: the jitter buffer's start level,
// the burst and the pacing, flush, starvation mute, volume, the open and its failures,
// and what the speaker finally played.
#include <chrono>
#include <ctime>
#include <thread>

#include "library/library_fixture.h"
#include "module/buf.h"
#include "module/pcm_sink.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace std::chrono_literals;

namespace {

using Clock = std::chrono::steady_clock;

// 16 kHz mono, 16 bits, 20 ms: 640 bytes a buffer.
constexpr module::AudioParam kParam{16000, 1, 16, 20};
constexpr uint32_t kFrameBytes = 640;
constexpr uint32_t kSamplesPerBuffer = kFrameBytes / 2;

// A buffer of 16-bit samples counting up from `first`.
std::shared_ptr<module::Buf> counting(uint32_t first, uint32_t bytes = kFrameBytes) {
    auto buf = std::make_shared<module::Buf>();
    buf->Malloc(bytes);
    buf->size = bytes;
    auto* samples = reinterpret_cast<int16_t*>(buf->Data());
    for (uint32_t i = 0; i < bytes / 2; ++i) samples[i] = static_cast<int16_t>(first + i);
    return buf;
}

// Writes buffers number `from` up to `to` (excluded), each counting on from the last.
void writeBuffers(module::PcmSink& sink, uint32_t from, uint32_t to) {
    for (uint32_t i = from; i < to; ++i) sink.Write(counting(i * kSamplesPerBuffer), kFrameBytes);
}

// Waits until `done()`, polling; whether it came true within `limit`.
template <typename Done>
bool waitFor(Done done, std::chrono::milliseconds limit = 5000ms) {
    for (const auto deadline = Clock::now() + limit; !done(); std::this_thread::sleep_for(2ms))
        if (Clock::now() > deadline) return false;
    return true;
}

std::size_t sends() { return hostctl::calls("rts_av_send").size(); }

class PcmSinkTest : public LibraryTest {
protected:
    std::shared_ptr<module::PcmSink> create(const char* name = "speaker",
                                            const module::AudioParam& param = kParam) {
        auto sink = module::PcmSink::Create(name, param);
        mChn = hostctl::newestPlaybackChannel();
        return sink;
    }

    int mChn = -1;
};

// Nothing plays below 8 buffers. Then the burst of 4 and the pacer started ready send
// buffers 1 to 5 at once and the rest one a period after the 5th. Periods of 100 ms
// keep "at once" far from "a period later"; pacing is never early, so the lower bounds
// are exact.
TEST_F(PcmSinkTest, BuffersToEightThenSendsFiveAtOnceThenOneAPeriod) {
    constexpr module::AudioParam kSlow{16000, 1, 16, 100};
    constexpr uint32_t kBytes = 3200;
    constexpr uint64_t kPeriodUs = 100000;
    auto sink = create("speaker", kSlow);
    EXPECT_TRUE(sink->IsRunning());
    EXPECT_EQ(sink->JitterMs(), 0);
    for (uint32_t i = 0; i < 7; ++i) sink->Write(counting(i * kBytes / 2, kBytes), kBytes);
    EXPECT_EQ(sink->JitterMs(), 700);
    std::this_thread::sleep_for(250ms);
    EXPECT_EQ(sends(), 0u) << "nothing plays below the start level";

    sink->Write(counting(7 * kBytes / 2, kBytes), kBytes);
    ASSERT_TRUE(hostctl::waitPlaybackPlayed(mChn, 8 * kBytes, 5000));
    std::vector<hostctl::PlaybackArrival> arrivals = hostctl::playbackArrivals(mChn);
    ASSERT_EQ(arrivals.size(), 8u);
    const uint64_t first = arrivals[0].timeUs;
    EXPECT_LT(arrivals[4].timeUs - first, kPeriodUs) << "the 5th goes with the burst";
    for (uint64_t k = 5; k < 8; ++k)
        EXPECT_GE(arrivals[k].timeUs - first, (k - 4) * kPeriodUs) << "buffer " << k + 1;
    EXPECT_EQ(hostctl::playbackStats(mChn).underruns, 0u);
    EXPECT_EQ(sink->JitterMs(), 0);
}

TEST_F(PcmSinkTest, FlushEndsTheWaitAndAWriteCancelsIt) {
    auto sink = create();
    writeBuffers(*sink, 0, 3);
    sink->Flush();
    ASSERT_TRUE(waitFor([] { return sends() == 3; }));

    // The jitter buffer ran dry, so at its next period the worker waits for the start
    // level again; a write after a flush cancels the flush.
    std::this_thread::sleep_for(100ms);
    writeBuffers(*sink, 3, 5);
    sink->Flush();
    writeBuffers(*sink, 5, 6);
    std::this_thread::sleep_for(200ms);
    EXPECT_EQ(sends(), 3u);
    EXPECT_EQ(sink->JitterMs(), 60);
    sink->Flush();
    EXPECT_TRUE(waitFor([] { return sends() == 6; }));
}

TEST_F(PcmSinkTest, StarvationMutesAfterFiveSecondsAndTheNextStartUnmutes) {
    auto sink = create();
    auto mutes = [] { return hostctl::calls("enable_playback_mute"); };
    auto args = [&] {
        std::vector<std::string> all;
        for (const hostctl::JournalEntry& e : mutes()) all.push_back(e.args);
        return all;
    };
    writeBuffers(*sink, 0, 8);
    // A new sink starts muted in its own view: the first start unmutes, nothing more.
    ASSERT_TRUE(waitFor([&] { return mutes().size() == 1; }));
    EXPECT_THAT(args(), ElementsAre("0"));
    ASSERT_TRUE(waitFor([&] { return mutes().size() == 2; }, 10000ms));
    EXPECT_THAT(args(), ElementsAre("0", "1")) << "muted once, after 5 s without data";
    // Buffering began after the last buffer went to the speaker.
    const uint64_t lastSentUs = hostctl::playbackArrivals(mChn).back().timeUs;
    EXPECT_GT(mutes()[1].timeUs - lastSentUs, 5000000u) << "muted no earlier than 5 s in";
    EXPECT_EQ(sink->getVolume(), 0) << "a muted sink reports 0";
    writeBuffers(*sink, 8, 16);
    ASSERT_TRUE(waitFor([&] { return mutes().size() == 3; }));
    EXPECT_THAT(args(), ElementsAre("0", "1", "0"));
}

TEST_F(PcmSinkTest, VolumeFollowsTheSinksOwnMuteFlag) {
    auto sink = create();
    forgetHistory();
    EXPECT_EQ(sink->getVolume(), 0) << "a new sink counts as muted";
    EXPECT_THAT(callNames(), IsEmpty());

    EXPECT_EQ(sink->setVolume(0), 0);
    EXPECT_THAT(hostctl::callTexts(),
                ElementsAre("enable_playback_mute(1)", "set_playback_volume(0)"));
    forgetHistory();
    EXPECT_EQ(sink->setVolume(70), 70);
    EXPECT_EQ(sink->getVolume(), 70);
    EXPECT_THAT(hostctl::callTexts(),
                ElementsAre("enable_playback_mute(0)", "set_playback_volume(70)",
                            ::testing::StartsWith("get_playback_volume(")));

    forgetHistory();
    hostctl::failCall("get_playback_volume", 1, -5);
    EXPECT_EQ(sink->getVolume(), -5);
    hostctl::failCall("enable_playback_mute", 1, -5);
    EXPECT_EQ(sink->setVolume(30), -5);
    hostctl::failCall("set_playback_volume", 1, -5);
    EXPECT_EQ(sink->setVolume(30), -5);
    EXPECT_THAT(logTexts(), ElementsAre("get playback volume fail!", "enable playback mute fail!",
                                        "set playback volume fail!"));
    EXPECT_EQ(hostctl::calls("set_playback_volume").size(), 1u)
        << "a failed mute change leaves the volume alone";
}

TEST_F(PcmSinkTest, RefusedBuffersNeverReachTheJitterBuffer) {
    auto sink = create();
    forgetHistory();
    sink->Write(counting(0, kFrameBytes + 2), kFrameBytes + 2);
    sink->Write(counting(0), 0);
    sink->Write(nullptr, kFrameBytes);
    sink->Write(counting(0, 64), 128);  // longer than the buffer holds
    EXPECT_EQ(sink->JitterMs(), 0);
    EXPECT_THAT(logTexts(),
                ElementsAre("RTS PCM Sink refuses a buffer of 642 bytes: it takes 1 to 640 bytes",
                            "RTS PCM Sink refuses a buffer of 0 bytes: it takes 1 to 640 bytes",
                            "RTS PCM Sink refuses a buffer of 640 bytes: it takes 1 to 640 bytes "
                            "(no buffer given)",
                            "RTS PCM Sink could not queue 128 bytes: the buffer holds fewer"));
}

TEST_F(PcmSinkTest, ASinkMadeWithoutCreateNeitherPlaysNorTouchesThePlatform) {
    {
        module::PcmSink sink;
        EXPECT_FALSE(sink.IsRunning());
        sink.Write(counting(0), kFrameBytes);
        EXPECT_EQ(sink.JitterMs(), 0);
    }
    EXPECT_THAT(logTexts(), ElementsAre("RTS PCM Sink is not running!"));
    EXPECT_THAT(callNames(), IsEmpty()) << "no release without a start";
}

TEST_F(PcmSinkTest, AFullJitterBufferDropsItsOldestAndSaysSoOnce) {
    auto sink = create("speaker", {16000, 1, 16, 1000});  // slow: 1 s a buffer
    const uint32_t second = 32000;
    for (int i = 0; i < 80; ++i) sink->Write(counting(0, second), second);
    int notices = 0;
    for (const std::string& text : logTexts())
        notices += text == "RTS PCM Sink jitter buffer full (64 buffers): the oldest are dropped";
    EXPECT_EQ(notices, 1);
    EXPECT_LE(sink->JitterMs(), 64000);
}

// A sink whose open failed still runs: it drops what it is given, and its close goes
// through every step with the id it holds (the failed creation's code), only the
// destroy skipped.
TEST_F(PcmSinkTest, ASinkWhoseOpenFailedDropsItsBuffersAndClosesWithTheIdItHolds) {
    hostctl::failCall("rts_av_create_audio_playback_chn", 1, -5);
    auto sink = create();
    EXPECT_TRUE(sink->IsRunning());
    forgetHistory();
    writeBuffers(*sink, 0, 8);
    ASSERT_TRUE(waitFor([] { return hostctl::logTexts().size() >= 8; }));
    for (const std::string& text : logTexts()) EXPECT_EQ(text, "PcmSink is not opened");
    EXPECT_EQ(sends(), 0u);

    forgetHistory();
    sink.reset();
    EXPECT_THAT(hostctl::callTexts(),
                ElementsAre("rts_av_stop_send(-5)", "rts_av_disable_chn(-5)",
                            ::testing::StartsWith("destroy_audio_queue("), "rts_av_release()"));
    EXPECT_THAT(logTexts(), ElementsAre("RTS PCM Sink closed"));
}

const std::string kCode = "-5, Input/output error";

// A device write that fails loses that one buffer and says so; a buffer taken from the
// pool goes back to it, and the buffers after it still play.
TEST_F(PcmSinkTest, AFailedDeviceWriteLosesOnlyItsOwnBuffer) {
    struct WriteFailure {
        const char* call;
        unsigned int level;
        std::string record;
    };
    const WriteFailure failures[] = {
        {"pop_audio_queue", 3, "pop audio queue fail"},
        {"rts_av_send", 4, "rts av send fail, ret = " + kCode + "\n"},
    };
    for (const WriteFailure& f : failures) {
        SCOPED_TRACE(f.call);
        hostctl::reset();
        hostctl::setLogEcho(nullptr);
        auto sink = create();
        hostctl::failCall(f.call, 2, -5);
        writeBuffers(*sink, 0, 8);
        ASSERT_TRUE(hostctl::waitPlaybackPlayed(mChn, 7 * kFrameBytes, 5000));
        EXPECT_EQ(levelOf(f.record), f.level);
        std::size_t popped = 0;
        for (const hostctl::JournalEntry& e : hostctl::calls("pop_audio_queue"))
            popped += e.result == 0;
        EXPECT_EQ(hostctl::calls("rts_av_put_buffer").size(), popped) << "every device buffer back";

        writeBuffers(*sink, 8, 16);
        EXPECT_TRUE(hostctl::waitPlaybackPlayed(mChn, 15 * kFrameBytes, 5000));
        EXPECT_EQ(hostctl::playbackStats(mChn).bytesReceived, 15 * kFrameBytes);
    }
}

double processCpuSeconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) / 1e9;
}

// Such a sink's worker waits in short steps whatever frameMs says: it neither spins
// (frameMs 0) nor holds up its destruction (8 s buffers). Bounds are generous: a
// spinning worker takes all of a core, a waiting one next to nothing.
TEST_F(PcmSinkTest, UnplayableParametersGiveASinkWithoutAChannelThatWaitsCheaply) {
    const module::AudioParam refused[] = {
        {16000, 1, 16, 0},    {0, 1, 16, 20},       {16000, 0, 16, 20},
        {16000, 1, 0, 20},    {192000, 8, 32, 100},  // 614,400 bytes a buffer
        {16000, 1, 16, 8000},                        // 256,000 bytes a buffer
    };
    for (const module::AudioParam& param : refused) {
        SCOPED_TRACE(param.frameMs);
        forgetHistory();
        auto sink = create("speaker", param);
        EXPECT_TRUE(sink->IsRunning());
        EXPECT_THAT(callNames(), ElementsAre("rts_av_init"));
        ASSERT_EQ(logTexts().size(), 1u);
        EXPECT_THAT(logTexts()[0], ::testing::StartsWith("RTS PCM Sink cannot play"));
        const double cpuBefore = processCpuSeconds();
        std::this_thread::sleep_for(200ms);
        EXPECT_LT(processCpuSeconds() - cpuBefore, 0.1);
        const auto destroyed = Clock::now();
        sink.reset();
        EXPECT_LT(Clock::now() - destroyed, 1s);
        EXPECT_EQ(hostctl::platformInitCount(), 0);
    }
}

TEST_F(PcmSinkTest, OneMillisecondBuffersPlayToo) {
    auto sink = create("speaker", {16000, 1, 16, 1});  // 32 bytes a buffer, no idle sleep
    for (uint32_t i = 0; i < 40; ++i) sink->Write(counting(i * 16, 32), 32);
    EXPECT_TRUE(hostctl::waitPlaybackPlayed(mChn, 40 * 32, 5000));
}

TEST_F(PcmSinkTest, TheSpeakerPlaysExactlyTheWrittenSamplesInOrder) {
    constexpr uint32_t kBuffers = 100;  // 2 s
    auto sink = create();
    // A writer that keeps up: the start level at once, then one buffer a period.
    writeBuffers(*sink, 0, 8);
    const auto start = Clock::now();
    for (uint32_t i = 8; i < kBuffers; ++i) {
        std::this_thread::sleep_until(start + (i - 8) * 20ms);
        writeBuffers(*sink, i, i + 1);
    }
    ASSERT_TRUE(hostctl::waitPlaybackPlayed(mChn, kBuffers * kFrameBytes, 10000));
    EXPECT_EQ(hostctl::playbackStats(mChn).underruns, 0u);
    const std::vector<uint8_t> played = hostctl::playbackSamples(mChn);
    ASSERT_GE(played.size(), kBuffers * kFrameBytes);
    const auto* samples = reinterpret_cast<const int16_t*>(played.data());
    for (uint32_t i = 0; i < kBuffers * kSamplesPerBuffer; ++i)
        ASSERT_EQ(samples[i], static_cast<int16_t>(i)) << "sample " << i;
    for (std::size_t i = kBuffers * kSamplesPerBuffer; i < played.size() / 2; ++i)
        ASSERT_EQ(samples[i], 0) << "only silence after the last buffer";
}

TEST_F(PcmSinkTest, ANameOfSixtyFourCharactersReachesThePlatformCutTo63) {
    const std::string name(64, 'n');
    auto sink = create(name.c_str());
    std::string args = hostctl::calls("rts_av_create_audio_playback_chn").at(0).args;
    EXPECT_NE(args.find(std::string(63, 'n')), std::string::npos) << args;
    EXPECT_EQ(args.find(std::string(64, 'n')), std::string::npos) << args;
}

}  // namespace
