// The RTSP server: rtsp://ADDRESS:PORT/ch0 (channel 0's H.264 as pay0, the captured AAC
// as pay1) and /ch1 (channel 1's MJPEG), on GStreamer's RTSP server, whose main loop
// runs on a thread of its own.
//
// Each viewer gets a pipeline of its own (an unshared media): its appsrcs are fed from
// queues of its own (media_feed.h), so it starts on a key frame and decodes from its
// first picture, and a viewer that stalls loses frames in its own queue only. Payloading
// once per viewer is cheap beside encoding, which is done once for all.
//
// Every pipeline runs on the monotonic system clock with one base time, `baseNs`, so
// that a buffer's PTS, its capture instant less the base, is also the running time at
// which it was captured: audio and video of a viewer share one time line, the sender
// reports tie it to the clock, and a buffer is sent the moment it arrives (it is never
// early, and nothing adds latency on the way).
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "frame_hub.h"
#include "option_values.h"

namespace live {

struct RtspSettings {
    std::string address;
    uint16_t port = 0;           // 0: any free one
    std::string user, password;  // empty: no authentication
    unsigned int maxViewers = 8;
    examples::VideoSize ch0, ch1;
    uint32_t audioRate = 48000;
    uint32_t audioChannels = 1;
    int64_t baseNs = 0;       // CLOCK_MONOTONIC instant of running time zero
    bool delayStats = false;  // measure delays for DelayProbe::printAll()
};

class RtspServer {
public:
    explicit RtspServer(FrameHub& hub);
    ~RtspServer();
    RtspServer(const RtspServer&) = delete;
    RtspServer& operator=(const RtspServer&) = delete;

    // Listens and serves; false, saying why, when it cannot listen.
    bool start(const RtspSettings& settings);
    // Closes every viewer's connection, waits for their pipelines to stop, and stops.
    void stop();
    // The port listened on (the one picked for port 0).
    uint16_t port() const;

    class Impl;

private:
    FrameHub& mHub;
    std::unique_ptr<Impl> mImpl;
};

// Releases GStreamer's own state once every server has stopped, so that a leak check
// of the process sees only what was not freed.
void releaseGStreamer();

}  // namespace live
