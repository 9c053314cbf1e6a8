// The core's two rules a viewer depends on: what a full queue drops (what it keeps must
// decode) and when the captured sound starts (what lines it up with the picture).
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "capture_time.h"
#include "frame_hub.h"

namespace {

using live::FramePtr;
using live::FrameQueue;

// Offers frames named by `offered` ("K1" key, "P2" not) to a queue of `capacity`, then
// lists what the viewer gets.
std::string keptOf(std::size_t capacity, const std::string& offered) {
    FrameQueue queue(capacity);
    for (std::size_t i = 0; i + 1 < offered.size(); i += 3) {
        auto frame = std::make_shared<live::Frame>();
        frame->keyFrame = offered[i] == 'K';
        frame->data = {uint8_t(offered[i]), uint8_t(offered[i + 1])};
        queue.offer(frame);
    }
    std::string kept;
    while (FramePtr frame = queue.pop(std::chrono::milliseconds(0)))
        kept += std::string(frame->data.begin(), frame->data.end()) + " ";
    return kept;
}

TEST(FrameQueue, KeepsOnlyWhatDecodes) {
    const struct {
        std::size_t capacity;
        const char* offered;
        const char* kept;
    } kCases[] = {
        {3, "P1 P2 K3 P4", "K3 P4 "},        // a viewer starts on a key frame
        {3, "K1 P2 P3 P4 P5", "K1 P2 P3 "},  // full: later frames wait for a key frame
        {3, "K1 P2 P3 P4 K5 P6", "K5 P6 "},  // which replaces what it can't follow
        {4, "K1 P2 K3 P4 K5", "K3 P4 K5 "},  // the oldest run only
        {3, "K1 K2 K3 K4 K5", "K3 K4 K5 "},  // all key frames: the oldest goes
    };
    for (const auto& c : kCases) EXPECT_EQ(keptOf(c.capacity, c.offered), c.kept) << c.offered;
}

// The host's capture: 20 ms buffers of 48 kHz, the stamp of the buffer that completes
// an AAC frame cut to milliseconds; the k-th frame's sound starts at (k - 1) x 1024
// samples. After a few frames the timeline is within 2.5 ms (the 64 samples by which
// buffers and frames slide against each other, and the millisecond of the cut), also
// after a lost frame, and never late.
TEST(AacTimeline, FindsWhenEachFrameSoundStarts) {
    constexpr double kStartMs = 5000.25;
    live::AacTimeline timeline(48000, 20);
    for (int k = 0; k < 120; ++k) {
        if (k == 60) continue;  // lost on the way
        const long buffer = ((k + 2) * 1024L - 1) / 960;
        const int64_t stamp = int64_t(std::floor(kStartMs + buffer * 20.0)) * 1000000;
        const double got = timeline.next(stamp) / 1e6;
        const double want = kStartMs + (k - 1) * 1024 / 48.0;
        if ((k >= 16 && k < 60) || k >= 76) {
            EXPECT_NEAR(got, want, 2.5) << "frame " << k;
        }
        EXPECT_LE(got, want + 0.01) << "frame " << k;
    }
}

TEST(AacTimeline, StampsCutTo32BitsKeepTheirInstant) {
    const int64_t now = (int64_t{1} << 32) * 1000000 + 16 * 1000000;  // ms cut to 16
    EXPECT_EQ(live::stampNs(0xfffffff0u, now), now - 32 * 1000000);
    EXPECT_EQ(live::stampNs(10, now), now - 6 * 1000000);
}

}  // namespace
