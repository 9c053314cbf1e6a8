// The buffers a channel hands to readers and callbacks. A pool is a fixed array of
// buffer records with their payload storage; a caller holds the record's address until
// it gives the buffer back. Records are recognised by address range, so a stray pointer
// handed back is refused without being read. Not locked: the media platform serialises
// every use.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "rts_av.h"

namespace host::media {

class BufferPool {
public:
    // Each buffer starts with `bufferBytes` of storage.
    explicit BufferPool(std::size_t count, std::size_t bufferBytes = 0);
    BufferPool(const BufferPool&) = delete;
    BufferPool& operator=(const BufferPool&) = delete;

    // A free buffer holding a copy of the payload, or null when every buffer is taken.
    // Storage only grows, so a steady stream of similar payloads allocates nothing.
    rts_av_buffer* fill(const uint8_t* data, std::size_t length, uint64_t timestampUs,
                        uint32_t flags);
    // A free buffer for the taker to fill, its whole storage offered (`length`) and
    // nothing used yet; null when every buffer is taken.
    rts_av_buffer* take();
    // Whether `buffer` is one of this pool's records and currently taken.
    bool holds(const rts_av_buffer* buffer) const;
    void giveBack(rts_av_buffer* buffer);
    // The pool's own storage behind a taken buffer, whatever its record now says; null
    // for a buffer that is not taken from this pool.
    const std::vector<uint8_t>* storageOf(const rts_av_buffer* buffer) const;
    // Whether the `bytes` bytes at `data` lie within the storage of a taken buffer.
    bool lends(const void* data, std::size_t bytes) const;
    // Buffers taken and not yet given back.
    std::size_t taken() const { return mTaken; }

private:
    struct Slot {
        rts_av_buffer record{};  // first, so its address is the slot's
        std::vector<uint8_t> storage;
        bool taken = false;
    };

    Slot* slotOf(const rts_av_buffer* buffer) const;

    std::unique_ptr<Slot[]> mSlots;
    std::size_t mCount;
    std::size_t mTaken = 0;
};

}  // namespace host::media
