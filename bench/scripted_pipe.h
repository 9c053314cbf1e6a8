// A started library with channel 0 open as a small H.264 pipe whose encoders are
// scripted: only the frames pushed here come out, each reaching the frame callback
// from kq_poll_frame(). Stops the library and resets the host platform when it goes.
#pragma once

#include <cstdint>
#include <vector>

#include "kq_api.h"

namespace bench {

class ScriptedPipe {
public:
    // Frames a batch may hold: fewer than the channel's queue of 12 keeps, so no pushed
    // frame is dropped before it is polled.
    static constexpr int kBatch = 8;

    // The journal is on while the pipe opens, so that its channel ids can be read, and
    // stays on; switch it off for counts and timings.
    ScriptedPipe(kq_frame_callback callback, void* userData);
    ~ScriptedPipe();
    ScriptedPipe(const ScriptedPipe&) = delete;
    ScriptedPipe& operator=(const ScriptedPipe&) = delete;

    // Whether the pipe opened and started; when not, the reason went to stderr.
    bool started() const { return mStarted; }
    // The platform channel the frames come from.
    int deliveryChannel() const { return mEncoderChn; }

    // Pushes `count` frames (at most kBatch); false when the platform refused one.
    bool push(int count);
    // Calls kq_poll_frame() until `count` frames were delivered; false when a poll came
    // back empty-handed after its timeout.
    bool poll(int count);

private:
    bool start(kq_frame_callback callback, void* userData);

    std::vector<uint8_t> mPayload;
    uint64_t mTimestampUs = 0;
    int mEncoderChn = -1;
    bool mStarted = false;
};

}  // namespace bench
