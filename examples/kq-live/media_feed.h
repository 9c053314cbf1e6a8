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

#include "frame_hub.h"

namespace live {

class MediaFeed {
public:
    // Takes a reference to `appsrc` and starts feeding it. `durationNs` is a frame's.
    MediaFeed(GstElement* appsrc, std::shared_ptr<FrameQueue> queue, int64_t baseNs,
              int64_t durationNs);
    ~MediaFeed();
    MediaFeed(const MediaFeed&) = delete;
    MediaFeed& operator=(const MediaFeed&) = delete;

    // Closes the queue and waits for the thread; again is harmless.
    void stop();

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
    bool mWaitingForKey = true;
    std::thread mThread;
};

}  // namespace live
