// Utility library: frame buffers.
#pragma once

#include <cstdint>
#include <memory>

namespace module {

// A byte buffer with an optional media-information record. A new Buf is all zero;
// the valid bytes start at block + offset and are `size` long.
class Buf {
public:
    uint32_t offset = 0;
    uint32_t size = 0;
    std::shared_ptr<Buf> mediaInfo;
    std::shared_ptr<uint8_t> block;
    uint32_t capacity = 0;

    // Makes a data block of at least `n` bytes (the old bytes are not kept) and
    // updates the capacity. The offset becomes 0 and the size is cut to the new
    // capacity. With `n` 0, or when the memory cannot be had, no block remains.
    void Malloc(uint32_t n);
    // Drops the data block and the media information; offset, size and capacity 0.
    void Clear();

    uint8_t* Data() const { return block ? block.get() + offset : nullptr; }
};

// The media information carried by a frame: its time in milliseconds.
class MediaInfo {
public:
    uint32_t timeMs = 0;

    // A Buf holding a MediaInfo with that frame time.
    static std::shared_ptr<Buf> MakeBuf(uint32_t timeMs);
    // The MediaInfo held by a Buf made by MakeBuf(), or null.
    static const MediaInfo* From(const Buf* buf);
};

}  // namespace module
