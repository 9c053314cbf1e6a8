// The media channel platform behind the rts_av_* calls: the init count, the channels and
// the control handles, all behind one lock so platform threads and callers can share them.
// Other parts of the host platform (the support library) reach channels only through
// here, and never while holding a lock this part might wait for.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>

#include "media/channel_config.h"
#include "media/channel_registry.h"
#include "media/control_handles.h"

namespace host::media {

// Every call checks its arguments itself. Codes: -ENODEV while not initialised,
// -ENOENT for no such channel, -EINVAL for bad arguments or a channel of the wrong kind,
// -EPERM for a channel not ready for the request, -EBUSY for a conflicting state.
class MediaPlatform {
public:
    int init();
    // -EPERM without a matching init(); the last release destroys every channel and handle.
    int release();

    // The new channel's id, or -EINVAL when `config` is empty (refused attributes).
    int create(ChannelKind kind, std::optional<ChannelConfig> config);
    int setProfile(int chn, const rts_av_profile* profile);
    int bind(int src, int dst);
    int enable(int chn);
    int disable(int chn);
    int destroy(int chn);
    int startReceiving(int chn);
    int stopReceiving(int chn);
    int startSending(int chn);
    int stopSending(int chn);
    // Whether the channel exists and is enabled; false while not initialised.
    bool active(int chn);

    // A new control handle of channel `chn`, which must be of kind `kind`.
    int queryControl(int chn, ChannelKind kind, HandleId* handle);
    // Ignores anything but a live handle of kind `kind`.
    void releaseControl(HandleId handle, ChannelKind kind);
    // -EINVAL for no such handle, -ENODEV for a handle whose channel is gone.
    int setH264Profile(HandleId handle, int profile);
    int setJpegQuality(HandleId handle, int quality);

    // Lets OSD channel `chn` draw overlay pack `pack`. Pack ids are never reused, so a
    // channel whose pack is freed simply finds nothing to draw.
    int attachOverlay(int chn, uint32_t pack);

    // Back to a fresh process: not initialised, no channels or handles, ids from 0.
    void reset();
    int liveChannels();
    int initCount();

private:
    // Runs f() under the lock once the platform is initialised.
    template <typename F>
    int whenInitialised(F f);
    // Runs f(channel) under the lock once the platform is initialised and `chn` exists.
    template <typename F>
    int withChannel(int chn, F f);
    // Runs f(channel) under the lock for the channel a live handle names.
    template <typename F>
    int withHandle(HandleId handle, ChannelKind kind, F f);

    void destroyAll();

    std::mutex mMutex;
    int mInitCount = 0;
    ChannelRegistry mChannels;
    ControlHandles mHandles;
};

MediaPlatform& media();

}  // namespace host::media
