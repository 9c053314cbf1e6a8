// What a channel produces, on its way out: a bounded queue for the reader and a one-shot
// callback. A reader that falls behind loses the oldest queued buffers; every buffer
// produced, dropped and delivered is counted. Not locked: the media platform serialises
// every use.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "media/buffer_pool.h"
#include "rts_av.h"

namespace host::media {

struct OutputStats {
    uint64_t produced = 0;   // buffers the channel made
    uint64_t dropped = 0;    // lost: pushed out of a full queue, or no buffer free
    uint64_t delivered = 0;  // taken by the reader or handed to a callback
};

// A one-shot callback with the buffer it is to receive.
struct CallbackJob {
    rts_av_callback_fn handler;
    void* context;
    rts_av_buffer* buffer;
};

class ChannelOutput {
public:
    explicit ChannelOutput(std::size_t queueDepth);

    // -EBUSY while a callback is already armed.
    int arm(const rts_av_callback& record);
    bool armed() const { return mArmed.has_value(); }

    // Hands a new buffer to the reader's queue when `queued` and to an armed callback,
    // which is returned as a job for the caller to run (and then disarmed).
    std::optional<CallbackJob> publish(const uint8_t* data, std::size_t length,
                                       uint64_t timestampUs, uint32_t flags, bool queued);

    bool hasQueued() const { return mQueued > 0; }
    // The oldest queued buffer, now the reader's; null when the queue is empty.
    rts_av_buffer* take();
    // Gives every queued buffer back, counted as dropped: the reader stopped.
    void dropQueued();
    // Drops the queue and disarms: the channel stopped.
    void clear();

    BufferPool& pool() { return *mPool; }
    // The pool leaves with the buffers still out; the channel keeps none.
    std::unique_ptr<BufferPool> releasePool() { return std::move(mPool); }

    // A buffer the channel failed to make or that nobody took.
    void countDropped() { ++mStats.dropped; }
    const OutputStats& stats() const { return mStats; }

private:
    void push(rts_av_buffer* buffer);
    // Only with a non-empty queue.
    rts_av_buffer* popOldest();

    std::unique_ptr<BufferPool> mPool;
    std::vector<rts_av_buffer*> mRing;
    std::size_t mHead = 0;  // oldest queued
    std::size_t mQueued = 0;
    std::optional<CallbackJob> mArmed;  // buffer unset until published
    OutputStats mStats;
};

}  // namespace host::media
