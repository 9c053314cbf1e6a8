#include "module/data_queue.h"

#include <chrono>
#include <climits>
#include <cstring>

namespace module {

namespace {

bool holds(const Buf& buf, uint64_t len) {
    return buf.block && len <= buf.size && uint64_t{buf.offset} + len <= buf.capacity;
}

// A new Buf owning a copy of the first `len` valid bytes of `src`.
std::shared_ptr<Buf> copyBytes(const Buf& src, uint32_t len) {
    auto copy = std::make_shared<Buf>();
    copy->Malloc(len);
    if (!copy->block) return nullptr;
    std::memcpy(copy->block.get(), src.Data(), len);
    copy->size = len;
    return copy;
}

// The entry keeps its own copy of the media information, so the writer may
// reuse or change its record after Write().
std::shared_ptr<Buf> copyMediaInfo(const Buf& src) {
    if (!src.mediaInfo || !holds(*src.mediaInfo, src.mediaInfo->size)) return nullptr;
    return copyBytes(*src.mediaInfo, src.mediaInfo->size);
}

}  // namespace

DataQueue::DataQueue(const char* name, unsigned int maxEntries, unsigned int maxBytes)
    : mName(name ? name : ""),
      mMaxEntries(maxEntries ? maxEntries : kDefaultEntries),
      mMaxBytes(maxBytes) {}

int DataQueue::Write(std::shared_ptr<const Buf> buf, unsigned int len) {
    // An empty entry would be indistinguishable from Read()'s "nothing", and one
    // larger than the byte limit could never be held.
    if (!buf || len == 0 || len > INT_MAX || !holds(*buf, len)) return 0;
    if (mMaxBytes != 0 && len > mMaxBytes) return 0;

    // Copy before taking the lock so that slow copies do not block readers.
    std::shared_ptr<Buf> entry = copyBytes(*buf, len);
    if (!entry) return 0;
    entry->mediaInfo = copyMediaInfo(*buf);

    {
        std::lock_guard<std::mutex> lock(mMutex);
        while (!mEntries.empty() &&
               (mEntries.size() >= mMaxEntries || (mMaxBytes && mBytes + len > mMaxBytes))) {
            mBytes -= mEntries.front()->size;
            mEntries.pop_front();
            ++mDropped;
        }
        mEntries.push_back(std::move(entry));
        mBytes += len;
    }
    mNotEmpty.notify_one();
    return static_cast<int>(len);
}

int DataQueue::Read(std::shared_ptr<Buf>* out, unsigned int timeoutMs, unsigned int /*reserved*/) {
    if (!out) return 0;
    std::unique_lock<std::mutex> lock(mMutex);
    if (mEntries.empty() && timeoutMs > 0)
        mNotEmpty.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                           [this] { return !mEntries.empty(); });
    if (mEntries.empty()) return 0;

    *out = std::move(mEntries.front());
    mEntries.pop_front();
    mBytes -= (*out)->size;
    return static_cast<int>((*out)->size);
}

unsigned int DataQueue::Size() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return static_cast<unsigned int>(mEntries.size());
}

uint64_t DataQueue::Dropped() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mDropped;
}

}  // namespace module
