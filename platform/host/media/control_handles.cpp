#include "media/control_handles.h"

namespace host::media {

HandleId ControlHandles::add(ChannelKind kind, int channel) { return mTable.add({kind, channel}); }

bool ControlHandles::channelOf(HandleId handle, ChannelKind kind, int* channel) {
    const Handle* h = mTable.find(handle);
    if (!h || h->kind != kind) return false;
    *channel = h->channel;
    return true;
}

bool ControlHandles::release(HandleId handle, ChannelKind kind) {
    int channel;
    return channelOf(handle, kind, &channel) && mTable.remove(handle);
}

}  // namespace host::media
