// The pools of playback buffers behind the support library's audio queues. A queue
// record the caller embeds carries only the pool's id; every use looks the id up and
// confirms that the pool belongs to this very record, so copies, stale records and
// records from before a reset are refused, never followed. Not locked: the media
// platform serialises every use, as it does for the buffers given back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "camera_support.h"
#include "journal/id_table.h"
#include "media/buffer_pool.h"

namespace host::media {

// The playback sink holds one buffer at a time (it pops one, sends it and puts it
// back); the rest are slack for a caller that holds a few.
constexpr std::size_t kAudioQueueBuffers = 4;
constexpr std::size_t kMaxAudioQueues = 64;

class AudioQueues {
public:
    // -EINVAL for a null record or 0 bytes, -EBUSY for a record that is a live queue
    // already, -ENOSPC when full. A zero-filled, destroyed or stale record is made anew.
    int create(audio_queue* queue, std::size_t bufferBytes);
    // A free buffer of the record's pool; null when none is free or the record is not a
    // live queue.
    rts_av_buffer* pop(audio_queue* queue);
    // 0 for a live queue, now gone, and for a record that names no live queue (zero
    // filled, destroyed or stale), which is zero-filled; -EINVAL for null or a copy of
    // another record's queue. A pool whose buffers are still out is moved to `retired`.
    int destroy(audio_queue* queue, std::vector<std::unique_ptr<BufferPool>>* retired);

    // The pool holding `buffer` as a taken buffer, or null.
    BufferPool* poolHolding(const rts_av_buffer* buffer);

    // Drops every queue, handing its pool to `pools`; ids keep counting, so old records
    // stay refused.
    void clear(std::vector<std::unique_ptr<BufferPool>>* pools);

    std::size_t size() const { return mTable.size(); }

private:
    struct Entry {
        const audio_queue* owner;  // compared, never dereferenced
        std::unique_ptr<BufferPool> pool;
    };

    // The record's live entry, or null.
    Entry* lookup(const audio_queue* queue);

    IdTable<Entry> mTable{kMaxAudioQueues};
};

}  // namespace host::media
