// The bytes waiting between a playback channel's sender and its device thread: a ring
// that holds at least `minBytes` and at least `buffersKept` buffers of the largest size
// written so far. It grows only when a larger buffer than ever before comes, so a
// steady stream of equal buffers allocates nothing after the first.
//
// A writer that finds too little room waits up to the time it is given, then gives up
// without copying anything: the buffer goes in whole or not at all. Every call is safe
// from any thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

namespace host::audio {

class PcmFifo {
public:
    PcmFifo(std::size_t minBytes, std::size_t buffersKept);
    PcmFifo(const PcmFifo&) = delete;
    PcmFifo& operator=(const PcmFifo&) = delete;

    // 0 once all `bytes` are in; -EAGAIN when there was still not room for them after
    // `maxWait`; -EPIPE once closed (also while waiting).
    int write(const uint8_t* data, std::size_t bytes, std::chrono::nanoseconds maxWait);
    // Moves up to `bytes` of the oldest bytes to `out` without waiting; how many it moved.
    std::size_t read(uint8_t* out, std::size_t bytes);
    // Waits until something can be read; false once closed.
    bool waitForData();
    // Refuses writes from now on and wakes every waiter; what is queued stays readable.
    void close();

    std::size_t size() const;
    std::size_t capacity() const;

private:
    // Makes room for `bytes` as the buffer size kept in mind; only ever grows.
    void fitBuffer(std::size_t bytes);

    const std::size_t mMinBytes;
    const std::size_t mBuffersKept;
    mutable std::mutex mMutex;
    std::condition_variable mChanged;
    std::vector<uint8_t> mRing;
    std::size_t mHead = 0;  // oldest byte
    std::size_t mSize = 0;
    bool mClosed = false;
};

}  // namespace host::audio
