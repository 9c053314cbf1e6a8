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
    explicit BoundedQueue(std::size_t capacity) : capacity_(capacity > 0 ? capacity : 1) {}

    // Queues `value`; false once closed (the value is dropped).
    bool push(T value) {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if (closed_) return false;
            if (values_.size() == capacity_) {
                values_.pop_front();
                ++dropped_;
            }
            values_.push_back(std::move(value));
        }
        ready_.notify_one();
        return true;
    }

    std::optional<T> pop(std::chrono::milliseconds timeout) override {
        std::unique_lock<std::mutex> lock(mutex_);
        ready_.wait_for(lock, timeout, [this] { return closed_ || !values_.empty(); });
        if (closed_ || values_.empty()) return std::nullopt;
        T value = std::move(values_.front());
        values_.pop_front();
        return value;
    }

    void close() override {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            closed_ = true;
            values_.clear();
        }
        ready_.notify_all();
    }

    bool closed() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return closed_;
    }
    // Values dropped unread because the queue was full.
    uint64_t dropped() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return dropped_;
    }

private:
    const std::size_t capacity_;
    mutable std::mutex mutex_;
    std::condition_variable ready_;
    std::deque<T> values_;
    uint64_t dropped_ = 0;
    bool closed_ = false;
};

// Hands every published value to each subscriber's own BoundedQueue: one slow reader
// loses its oldest values, the others and the publisher go on.
template <class T>
class Fanout {
public:
    explicit Fanout(std::size_t capacity) : capacity_(capacity) {}

    std::unique_ptr<Subscription<T>> subscribe() {
        auto queue = std::make_shared<BoundedQueue<T>>(capacity_);
        std::lock_guard<std::mutex> lock(mutex_);
        queues_.push_back(queue);
        return std::make_unique<Handle>(queue);
    }
    // Never waits for a reader; forgets the subscriptions closed since the last call.
    void publish(const T& value) {
        std::lock_guard<std::mutex> lock(mutex_);
        std::vector<std::shared_ptr<BoundedQueue<T>>> open;
        for (auto& queue : queues_)
            if (queue->push(value)) open.push_back(std::move(queue));
        queues_.swap(open);
    }
    std::size_t subscribers() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return queues_.size();
    }

private:
    // The reader's end: closes its queue when dropped.
    class Handle : public Subscription<T> {
    public:
        explicit Handle(std::shared_ptr<BoundedQueue<T>> queue) : queue_(std::move(queue)) {}
        ~Handle() override { queue_->close(); }
        std::optional<T> pop(std::chrono::milliseconds timeout) override {
            return queue_->pop(timeout);
        }
        void close() override { queue_->close(); }

    private:
        std::shared_ptr<BoundedQueue<T>> queue_;
    };

    const std::size_t capacity_;
    mutable std::mutex mutex_;
    std::vector<std::shared_ptr<BoundedQueue<T>>> queues_;
};

}  // namespace live
