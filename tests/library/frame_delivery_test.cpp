// Frame polling and snapshots, driven with scripted buffers: what reaches the frame
// and snapshot callbacks, the polling loop's counting and timeout, and the snapshot
// hand-off's states, refusals and codes.
#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

#include "library/library_fixture.h"
#include "rts_av.h"

namespace {

using Clock = std::chrono::steady_clock;
using ::testing::ElementsAre;

struct Frame {
    std::vector<uint8_t> bytes;
    uint32_t timestampMs, keyFrame, reserved1, reserved2;
    void* userData;
};

std::vector<Frame> gFrames;

int recordFrame(const uint8_t* data, uint32_t length, uint32_t timestampMs, uint32_t keyFrame,
                uint32_t reserved1, uint32_t reserved2, void* userData) {
    gFrames.push_back({std::vector<uint8_t>(data, data + length), timestampMs, keyFrame, reserved1,
                       reserved2, userData});
    return 0;
}

struct Snapshot {
    int channel;
    std::vector<uint8_t> bytes;
    std::thread::id thread;
};

std::vector<Snapshot> gSnapshots;
std::atomic<int> gSnapshotCount{0};

int recordSnapshot(int channel, const uint8_t* jpeg, uint32_t length) {
    gSnapshots.push_back(
        {channel, std::vector<uint8_t>(jpeg, jpeg + length), std::this_thread::get_id()});
    ++gSnapshotCount;
    return 0;
}

class FrameDeliveryTest : public LibraryTest {
protected:
    void SetUp() override {
        LibraryTest::SetUp();
        gFrames.clear();
        gSnapshots.clear();
        gSnapshotCount = 0;
        startLibrary();
    }

    static void push(int chn, std::vector<uint8_t> bytes, uint64_t timestampUs = 0,
                     uint32_t flags = 0) {
        ASSERT_EQ(hostctl::pushBuffer(chn, bytes, timestampUs, flags), 0);
    }

    // Waits for the platform's callback thread to have delivered every snapshot.
    static void settle() { hostctl::waitCallbacksIdle(); }
};

TEST_F(FrameDeliveryTest,
       FrameCallbackGetsTheBufferTimestampKeyBitAndUserDataAndEveryBufferGoesBack) {
    int user = 0;
    PipeChannels ids = startScriptedPipe(0, h264(), recordFrame, &user);
    push(ids.enc, {1, 2, 3}, 1234567, RTS_AV_FLAG_KEYFRAME);
    push(ids.enc, {4}, 999, 0x6);  // flags without bit 0: not a key frame
    push(ids.enc, {5}, 1000, 0x3);
    // A millisecond count beyond 32 bits arrives with its low 32 bits.
    push(ids.enc, {6}, (uint64_t{1} << 32 | 7) * 1000, 0);

    for (int i = 0; i < 4; ++i) EXPECT_EQ(kq_poll_frame(1000), 1);

    ASSERT_EQ(gFrames.size(), 4u);
    EXPECT_EQ(gFrames[0].bytes, (std::vector<uint8_t>{1, 2, 3}));
    EXPECT_EQ(gFrames[0].timestampMs, 1234u);
    EXPECT_EQ(gFrames[0].keyFrame, 1u);
    EXPECT_EQ(gFrames[0].reserved1, 0u);
    EXPECT_EQ(gFrames[0].reserved2, 0u);
    EXPECT_EQ(gFrames[0].userData, &user);
    EXPECT_EQ(gFrames[1].timestampMs, 0u);
    EXPECT_EQ(gFrames[1].keyFrame, 0u);
    EXPECT_EQ(gFrames[2].timestampMs, 1u);
    EXPECT_EQ(gFrames[2].keyFrame, 1u);
    EXPECT_EQ(gFrames[3].timestampMs, 7u);
    // Every buffer goes back to the platform, also from a pipe without a frame callback.
    EXPECT_EQ(hostctl::calls("rts_av_put_buffer").size(), 4u);
    PipeChannels silent = startScriptedPipe(1, mjpeg(), nullptr);
    push(silent.jpg, {9, 9});
    EXPECT_EQ(kq_poll_frame(1000), 1);
    EXPECT_EQ(gFrames.size(), 4u);
    EXPECT_EQ(hostctl::channelStats(silent.jpg).delivered, 1u);
    const std::vector<hostctl::JournalEntry> putBack = hostctl::calls("rts_av_put_buffer");
    ASSERT_EQ(putBack.size(), 1u);
    EXPECT_EQ(putBack[0].result, 0);
}

TEST_F(FrameDeliveryTest, APassCountsTheFramesOfBothPipesInTheirOrder) {
    PipeChannels first = startScriptedPipe(0, h264(), recordFrame);
    PipeChannels second = startScriptedPipe(1, mjpeg(), recordFrame);
    push(second.jpg, {2});
    push(first.enc, {1});
    EXPECT_EQ(kq_poll_frame(1000), 2);
    push(second.jpg, {3});
    EXPECT_EQ(kq_poll_frame(1000), 1);
    ASSERT_EQ(gFrames.size(), 3u);
    // Pipe 0 is polled before pipe 1 within a pass, whichever frame came first.
    EXPECT_EQ(gFrames[0].bytes, std::vector<uint8_t>{1});
    EXPECT_EQ(gFrames[1].bytes, std::vector<uint8_t>{2});
}

// A zero timeout makes exactly one pass: one status look at the started pipe, none at
// the closed one. A loop that receives nothing, an unstarted pipe's say, ends at its
// timeout.
TEST_F(FrameDeliveryTest, PollingEndsAfterOnePassOrAtItsTimeout) {
    startScriptedPipe(0, h264(), recordFrame);
    hostctl::clearJournal();
    EXPECT_EQ(kq_poll_frame(0), 0);
    EXPECT_EQ(hostctl::calls("rts_av_get_chn_status").size(), 1u);
    EXPECT_EQ(hostctl::calls("rts_av_poll").size(), 1u);

    openPipe(1, mjpeg(), recordFrame);
    auto start = Clock::now();
    EXPECT_EQ(kq_poll_frame(100), 0);
    auto elapsed = Clock::now() - start;
    EXPECT_GE(elapsed, std::chrono::milliseconds(100));
    EXPECT_LT(elapsed, std::chrono::seconds(10));
    EXPECT_TRUE(gFrames.empty());
}

TEST_F(FrameDeliveryTest, SnapshotWithoutACallbackIsRefused) {
    startScriptedPipe(0, h264());
    forgetHistory();
    EXPECT_EQ(kq_trigger_snapshot(0, 80), -16);
    hostctl::LogRecord record;
    ASSERT_TRUE(findLog("request snapshot fail, not registered", &record));
    EXPECT_EQ(record.level, 4u);
    EXPECT_FALSE(record.file.empty());
    EXPECT_TRUE(hostctl::calls("set_mjpeg_quality").empty());
}

TEST_F(FrameDeliveryTest, SnapshotOfAnH264PipeArrivesThroughItsJpegChannel) {
    PipeChannels ids = startScriptedPipe(1, h264(), recordFrame);
    kq_register_snapshot_callback(1, recordSnapshot);
    ASSERT_EQ(kq_trigger_snapshot(1, 80), 0);
    // The request is armed by the next poll step, on the JPEG channel.
    kq_poll_frame(0);
    auto armed = hostctl::calls("rts_av_set_callback");
    ASSERT_EQ(armed.size(), 1u);
    EXPECT_EQ(armed[0].args.substr(0, armed[0].args.find(',')), std::to_string(ids.jpg));
    EXPECT_NE(armed[0].args.find(", 0, 1, 0, 0}, 0"), std::string::npos) << armed[0].args;

    push(ids.jpg, {0xff, 0xd8, 0xff, 0xd9});
    settle();
    ASSERT_EQ(gSnapshots.size(), 1u);
    EXPECT_EQ(gSnapshots[0].channel, 1);
    EXPECT_EQ(gSnapshots[0].bytes, (std::vector<uint8_t>{0xff, 0xd8, 0xff, 0xd9}));
    EXPECT_NE(gSnapshots[0].thread, std::this_thread::get_id());
    EXPECT_TRUE(gFrames.empty()) << "the snapshot is not a frame of the H.264 stream";
    // The hand-off is free again, and the platform calls a record once only.
    push(ids.jpg, {1});
    settle();
    EXPECT_EQ(gSnapshots.size(), 1u);
    EXPECT_EQ(kq_trigger_snapshot(1, 80), 0);
}

TEST_F(FrameDeliveryTest, SecondRequestWhilePendingIsRefusedAfterItsBoundedWait) {
    startScriptedPipe(0, h264());
    kq_register_snapshot_callback(0, recordSnapshot);
    forgetHistory();
    ASSERT_EQ(kq_trigger_snapshot(0, 80), 0);
    auto start = Clock::now();
    EXPECT_EQ(kq_trigger_snapshot(0, 80), -74);
    // Eleven sleeps of 100 microseconds at the least.
    EXPECT_GE(Clock::now() - start, std::chrono::microseconds(1100));
    // Armed but not yet delivered is pending too.
    kq_poll_frame(0);
    EXPECT_EQ(kq_trigger_snapshot(0, 80), -74);
    EXPECT_TRUE(logTexts().empty()) << "a busy hand-off is not logged";
}

TEST_F(FrameDeliveryTest, QualityChangesOnlyWhenItDiffersAndOutlivesAReopen) {
    startScriptedPipe(0, h264());
    kq_register_snapshot_callback(0, recordSnapshot);
    hostctl::clearJournal();
    ASSERT_EQ(kq_trigger_snapshot(0, 80), 0);
    EXPECT_TRUE(hostctl::calls("set_mjpeg_quality").empty());
    // The quality changes before the wait for the hand-off, and stays.
    EXPECT_EQ(kq_trigger_snapshot(0, 50), -74);
    auto quality = hostctl::calls("set_mjpeg_quality");
    ASSERT_EQ(quality.size(), 1u);
    EXPECT_NE(quality[0].args.find(", 50"), std::string::npos);

    kq_close_encoder(0);
    openPipe(0, h264());
    quality = hostctl::calls("set_mjpeg_quality");
    ASSERT_EQ(quality.size(), 1u);
    EXPECT_NE(quality[0].args.find(", 50"), std::string::npos) << "the next enable applies 50";
}

// A refused quality is reported and the request still placed (FailureSweep sees its
// picture come); a refused callback record drops the request, and the hand-off is idle
// again. Both are warnings.
TEST_F(FrameDeliveryTest, ARefusedQualityKeepsTheRequestAndARefusedCallbackRecordDropsIt) {
    startScriptedPipe(0, h264());
    kq_register_snapshot_callback(0, recordSnapshot);
    hostctl::failCall("set_mjpeg_quality", 1, -EINVAL);
    hostctl::failCall("rts_av_set_callback", 1, -EBUSY);
    EXPECT_EQ(kq_trigger_snapshot(0, 30), -EINVAL);
    EXPECT_EQ(kq_trigger_snapshot(0, 80), -74) << "the first request is pending";
    kq_poll_frame(0);
    EXPECT_EQ(levelOf("set snapshot quality fail, using default 80"), 3u);
    EXPECT_EQ(levelOf("set av callback fail, ret = -16, Device or resource busy\n"), 3u);
    EXPECT_EQ(kq_trigger_snapshot(0, 80), 0) << "the hand-off is idle again";
}

}  // namespace
