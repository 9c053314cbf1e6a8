#include "module/data_queue.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstring>

namespace module {

namespace {

// Recyclable Bufs kept beyond what the queue itself can hold: the ones its readers
// are still looking at. Past this, an entry gets a Buf of its own.
constexpr std::size_t kSparesBeyondEntries = 8;
// A queue made for very many entries does not keep that many spares.
constexpr std::size_t kMaxSpares = 256 + kSparesBeyondEntries;

bool holds(const Buf& buf, uint64_t len) {
    return buf.block && len <= buf.size && uint64_t{buf.offset} + len <= buf.capacity;
}

// Fills `entry` with a copy of the first `len` valid bytes of `src`; false when no
// memory could be had.
bool copyInto(Buf& entry, const Buf& src, uint32_t len) {
    if (entry.capacity < len || !entry.block) entry.Malloc(len);
    if (!entry.block) return false;
    entry.offset = 0;
    std::memcpy(entry.block.get(), src.Data(), len);
    entry.size = len;
    return true;
}

// The spare, held, when only the queue's list of spares holds it and nobody its bytes;
// else null. Called under the queue's lock, or for the record of an entry already
// claimed, so no new holder can appear meanwhile.
// Taking each reference before looking further is an acquiring step: it orders
// whatever the last holder did with the Buf and its bytes before our use of them.
std::shared_ptr<Buf> claimIfIdle(const std::shared_ptr<Buf>& spare) {
    if (spare.use_count() != 1) return nullptr;
    std::shared_ptr<Buf> held = spare;
    if (held->block) {
        std::shared_ptr<uint8_t> bytes = held->block;
        if (bytes.use_count() != 2) return nullptr;
    }
    return held;
}

// The entry keeps its own copy of the media information, so the writer may reuse or
// change its record after Write(). The entry's record from before is refilled when
// nobody else holds it: a writer and a reader that keep pace allocate nothing here.
void copyMediaInfo(Buf& entry, const Buf& src) {
    if (!src.mediaInfo || !holds(*src.mediaInfo, src.mediaInfo->size)) {
        entry.mediaInfo.reset();
        return;
    }
    std::shared_ptr<Buf> own = claimIfIdle(entry.mediaInfo);
    if (!own) own = std::make_shared<Buf>();
    bool copied = copyInto(*own, *src.mediaInfo, src.mediaInfo->size);
    entry.mediaInfo = copied ? std::move(own) : nullptr;
}

}  // namespace

DataQueue::DataQueue(const char* name, unsigned int maxEntries, unsigned int maxBytes)
    : mName(name ? name : ""),
      mMaxEntries(maxEntries ? maxEntries : kDefaultEntries),
      mMaxBytes(maxBytes) {}

std::shared_ptr<Buf> DataQueue::takeSpare(uint32_t len) {
    std::lock_guard<std::mutex> lock(mMutex);
    // An idle spare large enough needs no new block; any idle one will do.
    std::shared_ptr<Buf> found;
    for (const std::shared_ptr<Buf>& spare : mSpares) {
        std::shared_ptr<Buf> held = claimIfIdle(spare);
        if (!held) continue;
        if (held->capacity >= len) return held;
        if (!found) found = std::move(held);
    }
    if (found) return found;
    const std::size_t limit = std::min<std::size_t>(mMaxEntries, kMaxSpares) + kSparesBeyondEntries;
    auto made = std::make_shared<Buf>();
    if (mSpares.size() < limit) mSpares.push_back(made);
    return made;
}

void DataQueue::push(std::shared_ptr<Buf> entry) {
    if (mCount == mRing.size()) {
        // Grown once to what the queue holds at most, then reused.
        std::vector<std::shared_ptr<Buf>> grown(std::max<std::size_t>(mRing.size() * 2, 8));
        for (std::size_t i = 0; i < mCount; ++i)
            grown[i] = std::move(mRing[(mHead + i) % mRing.size()]);
        mRing = std::move(grown);
        mHead = 0;
    }
    mRing[(mHead + mCount) % mRing.size()] = std::move(entry);
    ++mCount;
}

std::shared_ptr<Buf> DataQueue::popOldest() {
    std::shared_ptr<Buf> oldest = std::move(mRing[mHead]);
    mHead = (mHead + 1) % mRing.size();
    --mCount;
    mBytes -= oldest->size;
    return oldest;
}

int DataQueue::Write(std::shared_ptr<const Buf> buf, unsigned int len) {
    // An empty entry would be indistinguishable from Read()'s "nothing", and one
    // larger than the byte limit could never be held.
    if (!buf || len == 0 || len > INT_MAX || !holds(*buf, len)) return 0;
    if (mMaxBytes != 0 && len > mMaxBytes) return 0;

    // Copied outside the lock so that slow copies do not block readers; the spare is
    // ours alone while we hold the only other reference.
    std::shared_ptr<Buf> entry = takeSpare(len);
    if (!copyInto(*entry, *buf, len)) return 0;
    copyMediaInfo(*entry, *buf);

    {
        std::lock_guard<std::mutex> lock(mMutex);
        while (mCount > 0 && (mCount >= mMaxEntries || (mMaxBytes && mBytes + len > mMaxBytes))) {
            popOldest();
            ++mDropped;
        }
        push(std::move(entry));
        mBytes += len;
    }
    mNotEmpty.notify_one();
    return static_cast<int>(len);
}

int DataQueue::Read(std::shared_ptr<Buf>* out, unsigned int timeoutMs, unsigned int /*reserved*/) {
    if (!out) return 0;
    std::unique_lock<std::mutex> lock(mMutex);
    if (mCount == 0 && timeoutMs > 0)
        mNotEmpty.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                           [this] { return mCount > 0; });
    if (mCount == 0) return 0;
    // The reader's previous entry goes back to the spares when it lets go of it.
    *out = popOldest();
    return static_cast<int>((*out)->size);
}

unsigned int DataQueue::Size() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return static_cast<unsigned int>(mCount);
}

uint64_t DataQueue::Dropped() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mDropped;
}

}  // namespace module
