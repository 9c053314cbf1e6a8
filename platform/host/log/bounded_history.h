// Host-internal: the latest entries of a history kept within a count and a byte
// budget, so that a process left running for days stays flat in memory.
#pragma once

#include <cstddef>
#include <deque>
#include <string>

namespace hostctl {

// Heap bytes a string holds beyond its own object: none while its text fits in the
// object itself.
inline std::size_t heapBytes(const std::string& text) {
    return text.capacity() > std::string().capacity() ? text.capacity() + 1 : 0;
}

// `Entry` needs a `std::size_t footprint(const Entry&)`: its object and heap bytes.
template <typename Entry>
class BoundedHistory {
public:
    BoundedHistory(std::size_t maxEntries, std::size_t maxBytes)
        : mMaxEntries(maxEntries), mMaxBytes(maxBytes) {}

    // Appends `entry`, forgetting the oldest entries until both bounds hold again. The
    // newest entry is always kept, even one larger than the whole byte budget.
    void push(Entry entry) {
        mEntries.push_back(std::move(entry));
        mBytes += footprint(mEntries.back());
        while (mEntries.size() > 1 && (mEntries.size() > mMaxEntries || mBytes > mMaxBytes)) {
            mBytes -= footprint(mEntries.front());
            mEntries.pop_front();
        }
    }

    void clear() {
        // Swapped out rather than cleared: a deque keeps its block map otherwise.
        std::deque<Entry>().swap(mEntries);
        mBytes = 0;
    }

    const std::deque<Entry>& entries() const { return mEntries; }
    std::size_t bytes() const { return mBytes; }

private:
    std::size_t mMaxEntries;
    std::size_t mMaxBytes;
    std::size_t mBytes = 0;
    std::deque<Entry> mEntries;
};

}  // namespace hostctl
