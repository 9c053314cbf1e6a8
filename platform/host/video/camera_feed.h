// The camera's pictures from a file or a webcam, decoded ahead on a thread of their own
// and put on the monotonic clock: a picture is due at the instant the feed showed its
// first one plus its time in the source, so the source keeps its own pace whatever the
// channels' rate. For each picture it makes, an image channel takes the newest one due
// by then, scaled to its size; its pace never waits on the decoder. A decoder that falls
// behind drops the pictures already overdue once decoded, unconverted (counted), so that
// it catches up, and the channels show the last one again meanwhile; one more than a
// second behind starts its clock afresh.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "video/frame.h"
#include "video/frame_scaler.h"
#include "video/source_decoder.h"

namespace host::video {

class CameraFeed {
public:
    using Clock = std::chrono::steady_clock;
    // Called once, on the feed's thread, when the source fails for good.
    using FailureHandler = std::function<void(const std::string& reason)>;

    // Starts decoding `path`, a file or, for a webcam, a V4L2 device.
    CameraFeed(std::string path, bool webcam, FailureHandler onFailure);
    // Stops the thread and waits for it.
    ~CameraFeed();
    CameraFeed(const CameraFeed&) = delete;
    CameraFeed& operator=(const CameraFeed&) = delete;

    enum class Pick { Picture, NotYet, Failed };
    // Scales the newest picture due by `due` (or, before any is due, the first) into
    // `out`, already sized, with `scaler`. The first call waits for the feed's first
    // picture, up to half a second, as a sensor takes a moment to start; no call after
    // that waits for the decoder.
    // Failed once the source has failed, even if pictures came before: see failure().
    Pick pictureAt(Clock::time_point due, Frame& out, FrameScaler& scaler);

    // Empty while the source works; why it failed, once it has.
    std::string failure() const;

    struct Stats {
        uint64_t decoded;  // pictures decoded from the source
        uint64_t dropped;  // overdue once decoded: never converted nor shown
    };
    Stats stats() const;

private:
    // Pictures in flight: one being decoded, the others due now or soon.
    static constexpr int kSlots = 3;
    struct Slot {
        Frame frame;
        Clock::time_point due;
        bool shown = false;  // published: channels may take it
    };

    void run(const std::string& path, bool webcam);
    // A slot to decode into: one not shown, or the oldest once a newer one is due. Null
    // when stopping.
    Slot* freeSlot();
    void fail(const std::string& reason);

    FailureHandler mOnFailure;
    SourceDecoder mDecoder;

    mutable std::mutex mMutex;
    std::condition_variable mChanged;
    Slot mSlots[kSlots];
    bool mStarted = false;  // a picture shown, the source failed or it is stopping
    bool mWaitedForStart = false;
    bool mStopping = false;
    std::string mFailure;
    Stats mStats{};
    std::thread mThread;  // last: starts once everything else is ready
};

}  // namespace host::video
