#include "media/audio_queues.h"

#include <cerrno>

namespace host::media {

AudioQueues::Entry* AudioQueues::lookup(const audio_queue* queue) {
    if (!queue || queue->ready == 0) return nullptr;
    Entry* entry = mTable.find(queue->id);
    return entry && entry->owner == queue ? entry : nullptr;
}

int AudioQueues::create(audio_queue* queue, std::size_t bufferBytes) {
    if (!queue || bufferBytes == 0) return -EINVAL;
    if (lookup(queue)) return -EBUSY;
    uint32_t id =
        mTable.add({queue, std::make_unique<BufferPool>(kAudioQueueBuffers, bufferBytes)});
    if (id == 0) return -ENOSPC;
    queue->ready = 1;
    queue->id = id;
    return 0;
}

rts_av_buffer* AudioQueues::pop(audio_queue* queue) {
    Entry* entry = lookup(queue);
    return entry ? entry->pool->take() : nullptr;
}

int AudioQueues::destroy(audio_queue* queue, std::vector<std::unique_ptr<BufferPool>>* retired) {
    if (!queue) return -EINVAL;
    Entry* entry = lookup(queue);
    // A copy of a live queue's record: that queue is the other record's to destroy.
    if (!entry && queue->ready != 0 && mTable.find(queue->id)) return -EINVAL;
    if (entry) {
        if (entry->pool->taken() > 0) retired->push_back(std::move(entry->pool));
        mTable.remove(queue->id);
    }
    queue->ready = 0;
    queue->id = 0;
    return 0;
}

void AudioQueues::clear(std::vector<std::unique_ptr<BufferPool>>* pools) {
    mTable.forEach([&](uint32_t, Entry& entry) { pools->push_back(std::move(entry.pool)); });
    mTable.clear();
}

BufferPool* AudioQueues::poolHolding(const rts_av_buffer* buffer) {
    BufferPool* holder = nullptr;
    mTable.forEach([&](uint32_t, Entry& entry) {
        if (!holder && entry.pool->holds(buffer)) holder = entry.pool.get();
    });
    return holder;
}

}  // namespace host::media
