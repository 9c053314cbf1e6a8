// Encoder control handles: what rts_av_query_h264_ctrl() and rts_av_query_mjpeg_ctrl()
// hand out. A handle names its channel by id, so a handle whose channel is destroyed
// stays a valid handle that no longer reaches a channel ("detached"). Not locked: the
// media platform serialises every use.
#pragma once

#include <cstddef>
#include <cstdint>

#include "journal/id_table.h"
#include "media/channel_kind.h"

namespace host::media {

using HandleId = uint32_t;
constexpr HandleId kNoHandle = 0;

// A caller holds a handle's id dressed as a pointer of the opaque handle type; nobody
// ever dereferences it, and every use looks the id up again.
template <typename Ctrl>
Ctrl* handlePointer(HandleId id) {
    return reinterpret_cast<Ctrl*>(static_cast<uintptr_t>(id));
}

template <typename Ctrl>
HandleId handleId(const Ctrl* ctrl) {
    uintptr_t value = reinterpret_cast<uintptr_t>(ctrl);
    HandleId id = static_cast<HandleId>(value);
    return id == value ? id : kNoHandle;  // wider values were never handed out
}

class ControlHandles {
public:
    // Enough for every channel to have a few handles out.
    static constexpr std::size_t kMaxHandles = 256;

    // A new handle of channel `channel` of kind `kind`, or kNoHandle when the table is full.
    HandleId add(ChannelKind kind, int channel);
    // The channel a live handle of kind `kind` names; false for any other handle.
    bool channelOf(HandleId handle, ChannelKind kind, int* channel);
    // Whether a live handle of kind `kind` was released.
    bool release(HandleId handle, ChannelKind kind);
    void clear() { mTable.clear(); }
    std::size_t size() const { return mTable.size(); }

private:
    struct Handle {
        ChannelKind kind;
        int channel;
    };

    IdTable<Handle> mTable{kMaxHandles};
};

}  // namespace host::media
