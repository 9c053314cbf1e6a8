#include "audio/memory_output.h"

#include <algorithm>
#include <cstring>

namespace host::audio {

MemoryOutput::MemoryOutput(const PcmFormat& format) {
    std::size_t bytes = std::min(format.bytesFor(kMemoryKeptTime), kMemoryMaxBytes);
    bytes -= bytes % format.frameBytes();  // a forgotten frame goes whole
    mRing.resize(std::max<std::size_t>(bytes, format.frameBytes()));
}

int MemoryOutput::play(const uint8_t* frames, std::size_t bytes) {
    std::lock_guard<std::mutex> lock(mMutex);
    // Only the newest ring's worth of a long write can be kept.
    if (bytes > mRing.size()) {
        frames += bytes - mRing.size();
        bytes = mRing.size();
    }
    std::size_t tail = (mHead + mSize) % mRing.size();
    std::size_t first = std::min(bytes, mRing.size() - tail);
    std::memcpy(mRing.data() + tail, frames, first);
    std::memcpy(mRing.data(), frames + first, bytes - first);
    std::size_t overflow = mSize + bytes > mRing.size() ? mSize + bytes - mRing.size() : 0;
    mHead = (mHead + overflow) % mRing.size();
    mSize += bytes - overflow;
    return 0;
}

std::vector<uint8_t> MemoryOutput::kept() const {
    std::lock_guard<std::mutex> lock(mMutex);
    if (mSize == 0) return {};
    std::vector<uint8_t> out(mSize);
    std::size_t first = std::min(mSize, mRing.size() - mHead);
    std::memcpy(out.data(), mRing.data() + mHead, first);
    std::memcpy(out.data() + first, mRing.data(), mSize - first);
    return out;
}

}  // namespace host::audio
