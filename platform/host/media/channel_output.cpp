#include "media/channel_output.h"

#include <cerrno>

namespace host::media {
namespace {

// Beyond the queue: buffers a reader holds and one on its way to a callback.
constexpr std::size_t kBuffersOut = 4;

}  // namespace

ChannelOutput::ChannelOutput(std::size_t queueDepth)
    : mPool(std::make_unique<BufferPool>(queueDepth + kBuffersOut)), mRing(queueDepth) {}

int ChannelOutput::arm(const rts_av_callback& record) {
    if (mArmed) return -EBUSY;
    mArmed = CallbackJob{record.handler, record.context, nullptr};
    return 0;
}

std::optional<CallbackJob> ChannelOutput::publish(const uint8_t* data, std::size_t length,
                                                  uint64_t timestampUs, uint32_t flags,
                                                  bool queued) {
    ++mStats.produced;
    std::optional<CallbackJob> job;
    if (mArmed) {
        rts_av_buffer* buffer = mPool->fill(data, length, timestampUs, flags);
        if (buffer) {
            job = mArmed;
            job->buffer = buffer;
            mArmed.reset();
            ++mStats.delivered;
        } else {
            ++mStats.dropped;
        }
    }
    if (queued) {
        if (mQueued == mRing.size()) {
            // The reader has fallen behind: the oldest frame makes room.
            mPool->giveBack(popOldest());
            ++mStats.dropped;
        }
        rts_av_buffer* buffer = mPool->fill(data, length, timestampUs, flags);
        if (buffer)
            push(buffer);
        else
            ++mStats.dropped;
    }
    return job;
}

void ChannelOutput::push(rts_av_buffer* buffer) {
    mRing[(mHead + mQueued) % mRing.size()] = buffer;
    ++mQueued;
}

rts_av_buffer* ChannelOutput::popOldest() {
    rts_av_buffer* buffer = mRing[mHead];
    mHead = (mHead + 1) % mRing.size();
    --mQueued;
    return buffer;
}

rts_av_buffer* ChannelOutput::take() {
    if (mQueued == 0) return nullptr;
    ++mStats.delivered;
    return popOldest();
}

void ChannelOutput::dropQueued() {
    while (mQueued > 0) {
        mPool->giveBack(popOldest());
        ++mStats.dropped;
    }
}

void ChannelOutput::clear() {
    dropQueued();
    mArmed.reset();
}

}  // namespace host::media
