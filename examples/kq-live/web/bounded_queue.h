// A subscription the camera side fills: it never waits for its reader. When full, a push
// drops the oldest value, so a reader that falls behind sees the newest ones.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

#include "camera_port.h"

namespace live {

template <class T>
class BoundedQueue : public Subscription<T> {
public:
    explicit BoundedQueue(std::size_t capacity) : mCapacity(capacity > 0 ? capacity : 1) {}

    // Queues `value`; false once closed (the value is dropped).
    bool push(T value) {
        {
            std::lock_guard<std::mutex> lock(mMutex);
            if (mClosed) return false;
            if (mValues.size() == mCapacity) {
                mValues.pop_front();
                ++mDropped;
            }
            mValues.push_back(std::move(value));
        }
        mReady.notify_one();
        return true;
    }

    std::optional<T> pop(std::chrono::milliseconds timeout) override {
        std::unique_lock<std::mutex> lock(mMutex);
        mReady.wait_for(lock, timeout, [this] { return mClosed || !mValues.empty(); });
        if (mClosed || mValues.empty()) return std::nullopt;
        T value = std::move(mValues.front());
        mValues.pop_front();
        return value;
    }

    void close() override {
        {
            std::lock_guard<std::mutex> lock(mMutex);
            mClosed = true;
            mValues.clear();
        }
        mReady.notify_all();
    }

    bool closed() const {
        std::lock_guard<std::mutex> lock(mMutex);
        return mClosed;
    }
    // Values dropped unread because the queue was full.
    uint64_t dropped() const {
        std::lock_guard<std::mutex> lock(mMutex);
        return mDropped;
    }

private:
    const std::size_t mCapacity;
    mutable std::mutex mMutex;
    std::condition_variable mReady;
    std::deque<T> mValues;
    uint64_t mDropped = 0;
    bool mClosed = false;
};

// Hands every published value to each subscriber's own BoundedQueue: one slow reader
// loses its oldest values, the others and the publisher go on.
template <class T>
class Fanout {
public:
    explicit Fanout(std::size_t capacity) : mCapacity(capacity) {}

    std::unique_ptr<Subscription<T>> subscribe() {
        auto queue = std::make_shared<BoundedQueue<T>>(mCapacity);
        std::lock_guard<std::mutex> lock(mMutex);
        mQueues.push_back(queue);
        return std::make_unique<Handle>(queue);
    }
    // Never waits for a reader; forgets the subscriptions closed since the last call.
    void publish(const T& value) {
        std::lock_guard<std::mutex> lock(mMutex);
        std::vector<std::shared_ptr<BoundedQueue<T>>> open;
        for (auto& queue : mQueues)
            if (queue->push(value)) open.push_back(std::move(queue));
        mQueues.swap(open);
    }
    std::size_t subscribers() const {
        std::lock_guard<std::mutex> lock(mMutex);
        return mQueues.size();
    }

private:
    // The reader's end: closes its queue when dropped.
    class Handle : public Subscription<T> {
    public:
        explicit Handle(std::shared_ptr<BoundedQueue<T>> queue) : mQueue(std::move(queue)) {}
        ~Handle() override { mQueue->close(); }
        std::optional<T> pop(std::chrono::milliseconds timeout) override {
            return mQueue->pop(timeout);
        }
        void close() override { mQueue->close(); }

    private:
        std::shared_ptr<BoundedQueue<T>> mQueue;
    };

    const std::size_t mCapacity;
    mutable std::mutex mMutex;
    std::vector<std::shared_ptr<BoundedQueue<T>>> mQueues;
};

}  // namespace live
