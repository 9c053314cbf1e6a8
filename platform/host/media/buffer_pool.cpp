#include "media/buffer_pool.h"

#include <cstring>

namespace host::media {

BufferPool::BufferPool(std::size_t count, std::size_t bufferBytes)
    : mSlots(new Slot[count]), mCount(count) {
    for (std::size_t i = 0; i < count; ++i) {
        mSlots[i].record.index = static_cast<uint32_t>(i);
        mSlots[i].storage.resize(bufferBytes);
    }
}

rts_av_buffer* BufferPool::take() {
    for (std::size_t i = 0; i < mCount; ++i) {
        Slot& slot = mSlots[i];
        if (slot.taken) continue;
        uint32_t index = slot.record.index;
        slot.record = rts_av_buffer{};
        slot.record.index = index;
        slot.record.data = slot.storage.data();
        slot.record.length = static_cast<uint32_t>(slot.storage.size());
        slot.taken = true;
        ++mTaken;
        return &slot.record;
    }
    return nullptr;
}

rts_av_buffer* BufferPool::fill(const uint8_t* data, std::size_t length, uint64_t timestampUs,
                                uint32_t flags) {
    for (std::size_t i = 0; i < mCount; ++i) {
        Slot& slot = mSlots[i];
        if (slot.taken) continue;
        if (slot.storage.size() < length) slot.storage.resize(length);
        if (length > 0) std::memcpy(slot.storage.data(), data, length);
        rts_av_buffer& record = slot.record;
        record.data = slot.storage.data();
        record.bytesUsed = static_cast<uint32_t>(length);
        record.length = static_cast<uint32_t>(slot.storage.size());
        record.flags = flags;
        record.timestamp = timestampUs;
        slot.taken = true;
        ++mTaken;
        return &record;
    }
    return nullptr;
}

BufferPool::Slot* BufferPool::slotOf(const rts_av_buffer* buffer) const {
    auto address = reinterpret_cast<uintptr_t>(buffer);
    auto first = reinterpret_cast<uintptr_t>(&mSlots[0].record);
    if (address < first) return nullptr;
    std::size_t index = (address - first) / sizeof(Slot);
    if (index >= mCount || &mSlots[index].record != buffer) return nullptr;
    return &mSlots[index];
}

bool BufferPool::holds(const rts_av_buffer* buffer) const {
    Slot* slot = slotOf(buffer);
    return slot && slot->taken;
}

const std::vector<uint8_t>* BufferPool::storageOf(const rts_av_buffer* buffer) const {
    Slot* slot = slotOf(buffer);
    return slot && slot->taken ? &slot->storage : nullptr;
}

bool BufferPool::lends(const void* data, std::size_t bytes) const {
    const auto first = reinterpret_cast<uintptr_t>(data);
    for (std::size_t i = 0; i < mCount; ++i) {
        const Slot& slot = mSlots[i];
        const auto start = reinterpret_cast<uintptr_t>(slot.storage.data());
        if (slot.taken && first >= start && first - start <= slot.storage.size() &&
            bytes <= slot.storage.size() - (first - start))
            return true;
    }
    return false;
}

void BufferPool::giveBack(rts_av_buffer* buffer) {
    Slot* slot = slotOf(buffer);
    if (!slot || !slot->taken) return;
    slot->taken = false;
    --mTaken;
}

}  // namespace host::media
