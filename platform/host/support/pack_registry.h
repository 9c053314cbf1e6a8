// The host-side objects behind the overlay and mask packs callers embed. A pack record
// carries only a stamp (a marker and the object's id) in its private bytes; every use
// checks the stamp, looks the id up and confirms the object belongs to this very record,
// so copies, stale records and records from before a reset are refused, not followed.
// Records with a `ready` word keep it in step; a record without one (the AAC encoder
// pack) is initialised exactly while its stamp names a live pack of its own.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <type_traits>
#include <utility>

#include "journal/id_table.h"

namespace host::support {

template <typename Record, typename State>
class PackRegistry {
public:
    static constexpr std::size_t kMaxPacks = 64;

    explicit PackRegistry(std::size_t maxPacks = kMaxPacks) : mTable(maxPacks) {}

    // -EINVAL for a null record, -EBUSY for one already initialised, -ENOSPC when full.
    // attach(id) runs under the lock before the record is marked initialised: the pack
    // lives only if it returns 0, and its code is returned otherwise.
    template <typename Attach>
    int init(Record* pack, const State& state, Attach attach) {
        if (!pack) return -EINVAL;
        std::lock_guard<std::mutex> lock(mMutex);
        if (initialised(pack)) return -EBUSY;
        uint32_t id = mTable.add({pack, state});
        if (id == 0) return -ENOSPC;
        if (int rc = attach(id); rc != 0) {
            mTable.remove(id);
            return rc;
        }
        writeStamp(pack, {kMarker, id});
        setReady(pack, 1);
        return 0;
    }

    int init(Record* pack, const State& state) {
        return init(pack, state, [](uint32_t) { return 0; });
    }

    // Frees the pack's object and marks the record uninitialised, after detach(id) ran
    // under the lock; -EINVAL for a record that is not an initialised pack.
    template <typename Detach>
    int deinit(Record* pack, Detach detach) {
        std::lock_guard<std::mutex> lock(mMutex);
        uint32_t id;
        if (!lookup(pack, &id)) return -EINVAL;
        detach(id);
        mTable.remove(id);
        writeStamp(pack, {0, 0});
        setReady(pack, 0);
        return 0;
    }

    int deinit(Record* pack) {
        return deinit(pack, [](uint32_t) {});
    }

    // f(id, state) under the registry's lock; -EINVAL for a record that is not an
    // initialised pack.
    template <typename F>
    int with(Record* pack, F f) {
        std::lock_guard<std::mutex> lock(mMutex);
        uint32_t id;
        Entry* entry = lookup(pack, &id);
        if (!entry) return -EINVAL;
        return f(id, entry->state);
    }

    // f(state) for the pack with id `id`, as the channels that draw packs know them;
    // -ENOENT when there is no such pack (any more).
    template <typename F>
    int withId(uint32_t id, F f) {
        std::lock_guard<std::mutex> lock(mMutex);
        Entry* entry = mTable.find(id);
        if (!entry) return -ENOENT;
        return f(entry->state);
    }

    void reset() {
        std::lock_guard<std::mutex> lock(mMutex);
        mTable.clear();
    }

    std::size_t size() {
        std::lock_guard<std::mutex> lock(mMutex);
        return mTable.size();
    }

private:
    static constexpr uint32_t kMarker = 0x4b434150;  // "PACK"

    struct Stamp {
        uint32_t marker;
        uint32_t id;
    };
    static_assert(sizeof(Stamp) <= sizeof(Record::priv), "the stamp fits the private bytes");

    struct Entry {
        const Record* owner;  // compared, never dereferenced
        State state;
    };

    template <typename R, typename = void>
    struct HasReadyWord : std::false_type {};
    template <typename R>
    struct HasReadyWord<R, std::void_t<decltype(std::declval<R&>().ready)>> : std::true_type {};
    static constexpr bool kHasReadyWord = HasReadyWord<Record>::value;

    bool initialised(const Record* pack) {
        if constexpr (kHasReadyWord) {
            return pack->ready != 0;
        } else {
            uint32_t id;
            return lookup(pack, &id) != nullptr;
        }
    }

    static void setReady([[maybe_unused]] Record* pack, [[maybe_unused]] int ready) {
        if constexpr (kHasReadyWord) pack->ready = ready;
    }

    static void writeStamp(Record* pack, const Stamp& stamp) {
        std::memcpy(pack->priv, &stamp, sizeof stamp);
    }

    Entry* lookup(const Record* pack, uint32_t* id) {
        if (!pack) return nullptr;
        if constexpr (kHasReadyWord) {
            if (pack->ready == 0) return nullptr;
        }
        Stamp stamp;
        std::memcpy(&stamp, pack->priv, sizeof stamp);
        if (stamp.marker != kMarker) return nullptr;
        Entry* entry = mTable.find(stamp.id);
        if (!entry || entry->owner != pack) return nullptr;
        *id = stamp.id;
        return entry;
    }

    std::mutex mMutex;
    IdTable<Entry> mTable;
};

}  // namespace host::support
