#include "audio/pcm_fifo.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace host::audio {

PcmFifo::PcmFifo(std::size_t minBytes, std::size_t buffersKept)
    : mMinBytes(std::max<std::size_t>(minBytes, 1)),
      mBuffersKept(std::max<std::size_t>(buffersKept, 1)),
      mRing(mMinBytes) {}

void PcmFifo::fitBuffer(std::size_t bytes) {
    std::size_t wanted = std::max(mMinBytes, bytes * mBuffersKept);
    if (wanted <= mRing.size()) return;
    std::vector<uint8_t> grown(wanted);
    std::size_t first = std::min(mSize, mRing.size() - mHead);
    std::memcpy(grown.data(), mRing.data() + mHead, first);
    std::memcpy(grown.data() + first, mRing.data(), mSize - first);
    mRing.swap(grown);
    mHead = 0;
}

int PcmFifo::write(const uint8_t* data, std::size_t bytes, std::chrono::nanoseconds maxWait) {
    std::unique_lock<std::mutex> lock(mMutex);
    if (mClosed) return -EPIPE;
    if (bytes == 0) return 0;
    fitBuffer(bytes);
    bool room =
        mChanged.wait_for(lock, maxWait, [&] { return mClosed || mRing.size() - mSize >= bytes; });
    if (mClosed) return -EPIPE;
    if (!room) return -EAGAIN;
    std::size_t tail = (mHead + mSize) % mRing.size();
    std::size_t first = std::min(bytes, mRing.size() - tail);
    std::memcpy(mRing.data() + tail, data, first);
    std::memcpy(mRing.data(), data + first, bytes - first);
    mSize += bytes;
    lock.unlock();
    mChanged.notify_all();
    return 0;
}

std::size_t PcmFifo::read(uint8_t* out, std::size_t bytes) {
    std::unique_lock<std::mutex> lock(mMutex);
    std::size_t taken = std::min(bytes, mSize);
    std::size_t first = std::min(taken, mRing.size() - mHead);
    std::memcpy(out, mRing.data() + mHead, first);
    std::memcpy(out + first, mRing.data(), taken - first);
    mHead = (mHead + taken) % mRing.size();
    mSize -= taken;
    lock.unlock();
    if (taken > 0) mChanged.notify_all();
    return taken;
}

bool PcmFifo::waitForData() {
    std::unique_lock<std::mutex> lock(mMutex);
    mChanged.wait(lock, [this] { return mClosed || mSize > 0; });
    return !mClosed;
}

void PcmFifo::close() {
    {
        std::lock_guard<std::mutex> lock(mMutex);
        mClosed = true;
    }
    mChanged.notify_all();
}

std::size_t PcmFifo::size() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mSize;
}

std::size_t PcmFifo::capacity() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mRing.size();
}

}  // namespace host::audio
