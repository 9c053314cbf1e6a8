// The camera's encoded frames on their way to the viewers. The polling thread copies
// each frame once into a Frame and publishes it; the hub hands the same Frame to a
// bounded queue per viewer. Publishing never waits for a viewer: a full queue drops.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

namespace live {

// The hub's streams: each channel's video and the captured AAC.
enum StreamId : int { kChannel0Video = 0, kChannel1Video = 1, kAudio = 2 };
constexpr int kStreamCount = 3;

struct Frame {
    int stream = 0;
    std::vector<uint8_t> data;  // an H.264 access unit, a JPEG picture or one ADTS frame
    int64_t captureNs = 0;      // CLOCK_MONOTONIC: the picture's or the first sample's time
    int64_t arrivalNs = 0;      // CLOCK_MONOTONIC: when the library handed it over
    bool keyFrame = true;       // decodable without the frames before it
};
using FramePtr = std::shared_ptr<const Frame>;

// One viewer's frames of one stream, oldest first. The viewer starts on a key frame.
// When full, a key frame makes room by dropping the oldest frame and the frames that
// depend on it; any other frame is dropped, and so is every frame after it until the
// next key frame, so that what the viewer gets always decodes.
class FrameQueue {
public:
    explicit FrameQueue(std::size_t capacity);

    // The oldest frame, waiting up to `timeout`; null on timeout and once closed.
    FramePtr pop(std::chrono::milliseconds timeout);
    // Wakes a waiting pop() and refuses every frame after it.
    void close();
    bool closed() const;
    // Frames the queue could not keep.
    uint64_t dropped() const;

    // The hub's side: never waits for the reader.
    void offer(const FramePtr& frame);

private:
    bool makeRoomFor(const Frame& frame);

    const std::size_t mCapacity;
    mutable std::mutex mMutex;
    std::condition_variable mNotEmpty;
    std::deque<FramePtr> mFrames;
    bool mWaitingForKey = true;
    bool mClosed = false;
    uint64_t mDropped = 0;
};

class FrameHub {
public:
    // A queue of `stream`'s frames from now on, or null for an unknown stream. It lives
    // as long as the subscriber holds it; close() it to stop it at once.
    std::shared_ptr<FrameQueue> subscribe(int stream, std::size_t capacity);
    // Hands the frame to every open queue of its stream.
    void publish(const FramePtr& frame);
    // Whether any queue takes `stream`'s frames: spares the copy of a frame nobody wants.
    bool wanted(int stream) const;
    // Closes every queue; later subscriptions get closed queues.
    void close();

private:
    mutable std::mutex mMutex;
    std::vector<std::weak_ptr<FrameQueue>> mQueues[kStreamCount];
    bool mClosed = false;
};

}  // namespace live
