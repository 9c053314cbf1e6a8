// Feeds one appsrc of a viewer's RTSP pipeline from that viewer's hub queue, on a
// thread of its own, so that neither the polling thread nor the server's threads wait
// for the other. Each Frame goes in without a copy: the GstBuffer wraps its bytes and
// holds the Frame until GStreamer frees the buffer. The buffer's PTS is the frame's
// capture instant on the pipeline's running time, whose zero is `baseNs`.
#pragma once

#include <gst/gst.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <thread>

#include "delay_probe.h"
#include "frame_hub.h"

namespace live {

class MediaFeed {
public:
    // Takes a reference to `appsrc` and starts feeding it. `durationNs` is a frame's.
    // With a `leader`, nothing goes in before the leader's first frame: the pipeline
    // holds its streams' first frames until the viewer's PLAY, and the sound must not
    // wait there longer than the picture, which waits for a key frame. A `probe` is told
    // of every frame pushed.
    MediaFeed(GstElement* appsrc, std::shared_ptr<FrameQueue> queue, int64_t baseNs,
              int64_t durationNs, const MediaFeed* leader = nullptr, DelayProbe* probe = nullptr);
    ~MediaFeed();
    MediaFeed(const MediaFeed&) = delete;
    MediaFeed& operator=(const MediaFeed&) = delete;

    // Closes the queue and waits for the thread; again is harmless.
    void stop();
    // Whether a frame went in.
    bool started() const { return mStarted; }

    // Frames queued in the appsrc at most: a second of video. Beyond it the viewer's
    // pipeline is stalled, and frames are dropped here.
    static constexpr unsigned kMaxQueued = 25;

private:
    void run();
    void push(const FramePtr& frame);

    GstElement* mAppsrc;
    std::shared_ptr<FrameQueue> mQueue;
    const int64_t mBaseNs;
    const int64_t mDurationNs;
    const MediaFeed* const mLeader;
    DelayProbe* const mProbe;
    std::atomic<bool> mStarted{false};
    bool mWaitingForKey = true;
    std::thread mThread;
};

}  // namespace live
