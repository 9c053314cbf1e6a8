#include "frame_hub.h"

#include <algorithm>

namespace live {

FrameQueue::FrameQueue(std::size_t capacity) : mCapacity(std::max<std::size_t>(capacity, 1)) {}

FramePtr FrameQueue::pop(std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(mMutex);
    mNotEmpty.wait_for(lock, timeout, [this] { return mClosed || !mFrames.empty(); });
    if (mClosed || mFrames.empty()) return nullptr;
    FramePtr frame = std::move(mFrames.front());
    mFrames.pop_front();
    return frame;
}

void FrameQueue::close() {
    {
        std::lock_guard<std::mutex> lock(mMutex);
        mClosed = true;
        mFrames.clear();
    }
    mNotEmpty.notify_all();
}

bool FrameQueue::closed() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mClosed;
}

uint64_t FrameQueue::dropped() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mDropped;
}

void FrameQueue::offer(const FramePtr& frame) {
    {
        std::lock_guard<std::mutex> lock(mMutex);
        if (mClosed) return;
        if ((mWaitingForKey && !frame->keyFrame) || !makeRoomFor(*frame)) {
            ++mDropped;
            mWaitingForKey = true;
            return;
        }
        mWaitingForKey = false;
        mFrames.push_back(frame);
    }
    mNotEmpty.notify_one();
}

// The oldest frame goes with the frames up to the next key frame, which could not be
// decoded without it.
bool FrameQueue::makeRoomFor(const Frame& frame) {
    if (mFrames.size() < mCapacity) return true;
    if (!frame.keyFrame) return false;
    do {
        mFrames.pop_front();
        ++mDropped;
    } while (!mFrames.empty() && !mFrames.front()->keyFrame);
    return true;
}

std::shared_ptr<FrameQueue> FrameHub::subscribe(int stream, std::size_t capacity) {
    if (stream < 0 || stream >= kStreamCount) return nullptr;
    auto queue = std::make_shared<FrameQueue>(capacity);
    std::lock_guard<std::mutex> lock(mMutex);
    if (mClosed)
        queue->close();
    else
        mQueues[stream].push_back(queue);
    return queue;
}

void FrameHub::publish(const FramePtr& frame) {
    if (!frame || frame->stream < 0 || frame->stream >= kStreamCount) return;
    std::lock_guard<std::mutex> lock(mMutex);
    std::vector<std::weak_ptr<FrameQueue>>& queues = mQueues[frame->stream];
    // Queues their viewers let go of, or closed, leave the list on the way.
    queues.erase(std::remove_if(queues.begin(), queues.end(),
                                [&frame](const std::weak_ptr<FrameQueue>& weak) {
                                    std::shared_ptr<FrameQueue> queue = weak.lock();
                                    if (!queue || queue->closed()) return true;
                                    queue->offer(frame);
                                    return false;
                                }),
                 queues.end());
}

bool FrameHub::wanted(int stream) const {
    if (stream < 0 || stream >= kStreamCount) return false;
    std::lock_guard<std::mutex> lock(mMutex);
    for (const std::weak_ptr<FrameQueue>& weak : mQueues[stream])
        if (!weak.expired()) return true;
    return false;
}

void FrameHub::close() {
    std::lock_guard<std::mutex> lock(mMutex);
    mClosed = true;
    for (std::vector<std::weak_ptr<FrameQueue>>& queues : mQueues) {
        for (const std::weak_ptr<FrameQueue>& weak : queues)
            if (std::shared_ptr<FrameQueue> queue = weak.lock()) queue->close();
        queues.clear();
    }
}

}  // namespace live
