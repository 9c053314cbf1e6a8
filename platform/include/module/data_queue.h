// Utility library: a bounded queue of buffers, safe for concurrent writers and readers.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "module/buf.h"

namespace module {

class DataQueue {
public:
    // At most `maxEntries` entries (0: kDefaultEntries) and, when `maxBytes` is not
    // 0, at most that many bytes. A full queue drops its oldest entries.
    DataQueue(const char* name, unsigned int maxEntries, unsigned int maxBytes);
    DataQueue(const DataQueue&) = delete;
    DataQueue& operator=(const DataQueue&) = delete;

    static constexpr unsigned int kDefaultEntries = 64;

    // Appends an entry with its own copy of the first `len` valid bytes of `buf`
    // and its media information. Returns `len`, or 0 when nothing was queued
    // (null buffer, `len` 0, or `len` larger than the buffer holds or than the
    // byte limit).
    int Write(std::shared_ptr<const Buf> buf, unsigned int len);

    // Takes the oldest entry into `out` and returns its length. Waits up to
    // `timeoutMs` for one when empty; with 0 it returns 0 at once. A null `out`
    // takes nothing and returns 0. `reserved` is not used and should be 0.
    int Read(std::shared_ptr<Buf>* out, unsigned int timeoutMs, unsigned int reserved);

    unsigned int Size() const;
    // Entries dropped because the queue was full.
    uint64_t Dropped() const;
    const std::string& Name() const { return mName; }

private:
    // An entry's Buf, recycled once nobody else holds it or its bytes: a writer and a
    // reader that keep pace allocate nothing.
    std::shared_ptr<Buf> takeSpare(uint32_t len);
    // The entries, oldest first, in a ring that only ever grows.
    void push(std::shared_ptr<Buf> entry);
    std::shared_ptr<Buf> popOldest();

    const std::string mName;
    const unsigned int mMaxEntries;
    const unsigned int mMaxBytes;
    mutable std::mutex mMutex;
    std::condition_variable mNotEmpty;
    std::vector<std::shared_ptr<Buf>> mRing;
    std::size_t mHead = 0;  // the oldest entry
    std::size_t mCount = 0;
    std::vector<std::shared_ptr<Buf>> mSpares;  // every recyclable Buf made, in use or not
    uint64_t mBytes = 0;
    uint64_t mDropped = 0;
};

}  // namespace module
