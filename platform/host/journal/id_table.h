// Objects the platform hands out to callers by number (control handles, overlay and
// mask packs). A caller only ever holds the number; every use looks it up again, so a
// released or forgotten number is refused instead of reaching freed memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>

namespace host {

template <typename T>
class IdTable {
public:
    explicit IdTable(std::size_t limit) : mLimit(limit) {}

    // The new entry's id (never 0), or 0 when the table is full.
    uint32_t add(T value) {
        if (mEntries.size() >= mLimit) return 0;
        do {
            ++mLastId;
        } while (mLastId == 0 || mEntries.count(mLastId) != 0);
        mEntries.emplace(mLastId, std::move(value));
        return mLastId;
    }

    T* find(uint32_t id) {
        auto it = mEntries.find(id);
        return it == mEntries.end() ? nullptr : &it->second;
    }

    bool remove(uint32_t id) { return mEntries.erase(id) != 0; }

    // Frees every entry but keeps counting: an id from before the clear never names a
    // newer entry.
    void clear() { mEntries.clear(); }

    std::size_t size() const { return mEntries.size(); }

    template <typename F>
    void forEach(F f) {
        for (auto& [id, value] : mEntries) f(id, value);
    }

private:
    std::size_t mLimit;
    uint32_t mLastId = 0;
    std::map<uint32_t, T> mEntries;
};

}  // namespace host
