#include "module/buf.h"

#include <algorithm>
#include <new>

namespace module {

void Buf::Malloc(uint32_t n) {
    block.reset();
    capacity = 0;
    offset = 0;
    if (n > 0) {
        // Value-initialised, so a new block is all zero; nothrow so that an
        // impossible request leaves an empty Buf instead of throwing.
        uint8_t* bytes = new (std::nothrow) uint8_t[n]();
        if (bytes) {
            block.reset(bytes, std::default_delete<uint8_t[]>());
            capacity = n;
        }
    }
    // A size set before the allocation is kept, but never beyond the new block.
    size = std::min(size, capacity);
}

void Buf::Clear() {
    block.reset();
    mediaInfo.reset();
    offset = 0;
    size = 0;
    capacity = 0;
}

std::shared_ptr<Buf> MediaInfo::MakeBuf(uint32_t timeMs) {
    auto buf = std::make_shared<Buf>();
    buf->Malloc(sizeof(MediaInfo));
    if (!buf->block) return nullptr;
    new (buf->block.get()) MediaInfo{timeMs};
    buf->size = sizeof(MediaInfo);
    return buf;
}

const MediaInfo* MediaInfo::From(const Buf* buf) {
    if (!buf || !buf->block || buf->offset != 0 || buf->size != sizeof(MediaInfo) ||
        buf->capacity < sizeof(MediaInfo))
        return nullptr;
    // Blocks come from operator new[] and are aligned for any MediaInfo; a Buf
    // assembled by hand might not be.
    if (reinterpret_cast<uintptr_t>(buf->block.get()) % alignof(MediaInfo) != 0) return nullptr;
    return reinterpret_cast<const MediaInfo*>(buf->block.get());
}

}  // namespace module
