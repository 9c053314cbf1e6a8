// Buffers, the data queue, fibers and the pacer of the host utility library.
#include <atomic>
#include <chrono>
#include <cstring>
#include <future>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "module/data_queue.h"
#include "module/fiber.h"
#include "module/regular_action.h"

using namespace module;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

std::shared_ptr<Buf> frame(const std::string& bytes, uint32_t timeMs = 0) {
    auto buf = std::make_shared<Buf>();
    buf->Malloc(static_cast<uint32_t>(bytes.size()));
    std::memcpy(buf->Data(), bytes.data(), bytes.size());
    buf->size = static_cast<uint32_t>(bytes.size());
    buf->mediaInfo = MediaInfo::MakeBuf(timeMs);
    return buf;
}

std::string readString(DataQueue& queue) {
    std::shared_ptr<Buf> out;
    if (queue.Read(&out, 0, 0) <= 0) return "";
    return std::string(reinterpret_cast<const char*>(out->Data()), out->size);
}

}  // namespace

TEST(BufTest, MallocKeepsTheValidBytesInsideTheBlock) {
    Buf buf;
    buf.size = 100;
    buf.offset = 7;
    buf.Malloc(16);
    ASSERT_GE(buf.capacity, 16u);
    EXPECT_EQ(buf.offset, 0u);
    EXPECT_LE(buf.size, buf.capacity);
    for (uint32_t i = 0; i < 16; ++i) EXPECT_EQ(buf.Data()[i], 0);
    buf.Malloc(0);
    EXPECT_EQ(buf.Data(), nullptr);
    EXPECT_EQ(MediaInfo::From(frame("not a media info").get()), nullptr);
}

// That an entry is a copy, bytes and media information, which the writer may refill at
// once, the capture sources' tests see (CaptureSourceTest.EachBufferBecomesOneFrame...):
// a PCM source queues its one working buffer again and again.
TEST(DataQueueTest, BadInputQueuesNothing) {
    DataQueue queue("bad input", 4, 8);
    auto buf = frame("XXXXX");
    auto lying = std::make_shared<Buf>();
    lying->size = 4;  // claims bytes without a block
    for (auto [source, len] : {std::pair{buf, 0u},
                               {buf, 6u},
                               {nullptr, 1u},
                               {lying, 4u},
                               {frame("0123456789"), 9u}})  // beyond the byte limit
        EXPECT_EQ(queue.Write(source, len), 0) << len;
    EXPECT_EQ(queue.Size(), 0u);
    ASSERT_EQ(queue.Write(buf, 3), 3);
    EXPECT_EQ(queue.Read(nullptr, 0, 0), 0);
    EXPECT_EQ(readString(queue), "XXX");  // a null `out` took nothing
}

TEST(DataQueueTest, FullQueueDropsItsOldestEntries) {
    DataQueue byCount("count", 3, 0);
    for (const char* text : {"a", "b", "c", "d", "e"}) byCount.Write(frame(text), 1);
    EXPECT_EQ(byCount.Size(), 3u);
    EXPECT_EQ(byCount.Dropped(), 2u);
    EXPECT_EQ(readString(byCount), "c");

    DataQueue byBytes("bytes", 0, 10);
    for (const char* text : {"1111", "2222", "3333"}) byBytes.Write(frame(text), 4);
    EXPECT_EQ(byBytes.Dropped(), 1u);
    EXPECT_EQ(readString(byBytes), "2222");
    // Reading frees bytes: two more entries need only one more drop.
    byBytes.Write(frame("4444"), 4);
    byBytes.Write(frame("5555"), 4);
    EXPECT_EQ(byBytes.Dropped(), 2u);
    EXPECT_EQ(readString(byBytes), "4444");
}

TEST(DataQueueTest, EntriesHeldByAReaderOrTheirBytesAreNotOverwritten) {
    DataQueue queue("recycle", 4, 0);
    ASSERT_EQ(queue.Write(frame("aaaa"), 4), 4);
    std::shared_ptr<Buf> kept;
    ASSERT_EQ(queue.Read(&kept, 0, 0), 4);
    std::shared_ptr<Buf> other;
    ASSERT_EQ(queue.Write(frame("bbbb"), 4), 4);
    ASSERT_EQ(queue.Read(&other, 0, 0), 4);
    // A reader that keeps only the bytes of an entry keeps them as they were.
    std::shared_ptr<uint8_t> bytes = other->block;
    other.reset();
    ASSERT_EQ(queue.Write(frame("cccc"), 4), 4);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(kept->Data()), 4), "aaaa");
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(bytes.get()), 4), "bbbb");
    EXPECT_EQ(readString(queue), "cccc");
}

// A fiber destroyed on its own worker cannot wait for itself: the worker finishes on its
// own and touches nothing freed (the sanitizer build catches any slip).
TEST(FiberTest, DestroyedOnItsOwnWorkerItFinishesAlone) {
    struct SignalWhenGone {
        std::shared_ptr<std::promise<void>> gone = std::make_shared<std::promise<void>>();
        ~SignalWhenGone() { gone->set_value(); }
    };
    for (bool fromLoop : {true, false}) {
        SCOPED_TRACE(fromLoop ? "from the loop" : "from onStop");
        auto signal = std::make_shared<SignalWhenGone>();
        std::future<void> workerGone = signal->gone->get_future();
        std::unique_ptr<Fiber> fiber;
        std::promise<void> made;
        auto destroy = [&fiber, made = made.get_future().share()] {
            made.wait();
            fiber.reset();
        };
        std::atomic<bool> sawStop{false}, stopRan{false};
        // The loop's copy of `signal` goes with the worker's last step.
        fiber = std::make_unique<Fiber>(
            "self-destroyed",
            [=, &sawStop, signal = std::move(signal)](std::atomic<bool>& stop) {
                if (fromLoop) destroy();
                sawStop = stop.load();
            },
            nullptr,
            [=, &stopRan] {
                if (!fromLoop) destroy();
                stopRan = true;
            });
        made.set_value();
        ASSERT_EQ(workerGone.wait_for(10s), std::future_status::ready);
        EXPECT_EQ(fiber, nullptr);
        EXPECT_EQ(sawStop, fromLoop) << "the stop flag outlives the fiber";
        EXPECT_TRUE(stopRan);
    }
}

TEST(FiberTest, StopsRunningOnAStopRequestOrWhenTheLoopEnds) {
    std::promise<void> leave;
    auto asksToStop = [gate = leave.get_future().share()](std::atomic<bool>& stop) {
        stop = true;  // counts at once, before the loop returns
        gate.wait();
    };
    auto returns = [](std::atomic<bool>&) {};
    auto throws = [](std::atomic<bool>&) { throw std::runtime_error("loop failed"); };
    const std::vector<Fiber::Loop> loops = {returns, throws, asksToStop};
    for (size_t i = 0; i < loops.size(); ++i) {
        std::atomic<bool> stopped{false};
        Fiber fiber("ends", loops[i], nullptr, [&] { stopped = true; });
        for (auto deadline = Clock::now() + 5s; fiber.IsRunning() && Clock::now() < deadline;)
            Fiber::SleepMs(1);
        EXPECT_FALSE(fiber.IsRunning()) << i;
        // onStop runs after a loop that ended, even by an exception.
        EXPECT_EQ(stopped, i + 1 < loops.size()) << i;
        if (i + 1 == loops.size()) leave.set_value();  // lets the last loop return
    }
}

// A pacer started ready is the library's sink's, whose periods the sink's tests time
// (PcmSinkTest.TheBurstAndTheReadyPacerSend...); started otherwise, its first period
// waits, and a pacer of no period is always ready.
TEST(RegularActionTest, ReadinessFollowsStart) {
    RegularAction action(10s);
    EXPECT_FALSE(action.IsReady());
    action.Start(false);
    EXPECT_FALSE(action.IsReady());
    RegularAction unpaced(0ns);
    unpaced.Start(false);
    for (int i = 0; i < 3; ++i, unpaced.ActionDone()) EXPECT_TRUE(unpaced.IsReady());
}

TEST(RegularActionTest, LateActionsDoNotShiftTheGrid) {
    constexpr auto kPeriod = 200ms;
    const auto start = Clock::now();
    RegularAction action(kPeriod);
    action.Start(true);
    action.ActionDone();
    std::this_thread::sleep_for(3 * kPeriod + kPeriod / 4);
    // Periods 1 to 3 have all begun: catching up takes no waiting.
    for (int k = 1; k <= 3; ++k, action.ActionDone()) EXPECT_TRUE(action.IsReady()) << k;
    const bool ready = action.IsReady();
    // Period 4 has not begun if checked in time; a slow machine proves nothing here.
    if (Clock::now() - start < 4 * kPeriod) {
        EXPECT_FALSE(ready);
    }
}
