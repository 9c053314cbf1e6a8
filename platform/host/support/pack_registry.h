// The host-side objects behind the overlay and mask packs callers embed. A pack record
// carries only a stamp (a marker and the object's id) in its private bytes; every use
// checks the stamp, looks the id up and confirms the object belongs to this very record,
// so copies, stale records and records from before a reset are refused, not followed.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <mutex>

#include "media/id_table.h"

namespace host::support {

template <typename Record, typename State>
class PackRegistry {
public:
    static constexpr std::size_t kMaxPacks = 64;

    // -EINVAL for a null record, -EBUSY for one already initialised, -ENOSPC when full.
    // attach(id) runs under the lock before the record is marked initialised: the pack
    // lives only if it returns 0, and its code is returned otherwise.
    template <typename Attach>
    int init(Record* pack, const State& state, Attach attach) {
        if (!pack) return -EINVAL;
        std::lock_guard<std::mutex> lock(mMutex);
        if (pack->ready != 0) return -EBUSY;
        uint32_t id = mTable.add({pack, state});
        if (id == 0) return -ENOSPC;
        if (int rc = attach(id); rc != 0) {
            mTable.remove(id);
            return rc;
        }
        writeStamp(pack, {kMarker, id});
        pack->ready = 1;
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
        pack->ready = 0;
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

    static void writeStamp(Record* pack, const Stamp& stamp) {
        std::memcpy(pack->priv, &stamp, sizeof stamp);
    }

    Entry* lookup(const Record* pack, uint32_t* id) {
        if (!pack || pack->ready == 0) return nullptr;
        Stamp stamp;
        std::memcpy(&stamp, pack->priv, sizeof stamp);
        if (stamp.marker != kMarker) return nullptr;
        Entry* entry = mTable.find(stamp.id);
        if (!entry || entry->owner != pack) return nullptr;
        *id = stamp.id;
        return entry;
    }

    std::mutex mMutex;
    media::IdTable<Entry> mTable{kMaxPacks};
};

}  // namespace host::support
