// The media channel platform behind the rts_av_* calls: the init count, the channels and
// the control handles, all behind one lock so platform threads and callers can share them.
// The support library's calls that act on channels (media/overlay_attach.cpp, ...) reach
// them only through here, and never while holding a lock this part might wait for.
#pragma once

#include <cerrno>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "audio/playback_device.h"
#include "camera_support.h"
#include "media/audio_queues.h"
#include "media/buffer_pool.h"
#include "media/callback_dispatcher.h"
#include "media/capture_stream.h"
#include "media/channel_config.h"
#include "media/channel_registry.h"
#include "media/control_handles.h"
#include "media/out_of_service.h"
#include "media/speakers.h"
#include "media/stream_sink.h"

namespace host::media {

// Every call checks its arguments itself. Codes: -ENODEV while not initialised,
// -ENOENT for no such channel, -EINVAL for bad arguments or a channel of the wrong kind,
// -EPERM for a channel not ready for the request, -EBUSY for a conflicting state.
//
// The platform keeps the channels and serialises every use of them; the jobs around
// them are its parts': the callback thread (media/callback_dispatcher.h), the speakers
// (media/speakers.h), the questions on the channel graph (media/channel_routes.h).
class MediaPlatform : public StreamSink {
public:
    int init();
    // -EPERM without a matching init(); the last release destroys every channel and handle.
    int release();

    // The new channel's id, or -EINVAL when `config` is empty (refused attributes).
    int create(ChannelKind kind, std::optional<ChannelConfig> config);
    int setProfile(int chn, const rts_av_profile* profile);
    int bind(int src, int dst);
    // Enabling a capture channel opens its input (the device its attributes name) and
    // starts capturing; an input that cannot be opened fails with its code and leaves
    // the channel disabled. An encode channel whose profile names another format than
    // its source delivers is refused with -EINVAL (see Channel::encodes()).
    int enable(int chn);
    int disable(int chn);
    int destroy(int chn);
    int startReceiving(int chn);
    int stopReceiving(int chn);
    // Starting to send on a playback channel opens its speaker (the device its
    // attributes name) and fails with the device's code when it cannot be opened;
    // stopping, disabling or destroying the channel stops the speaker.
    int startSending(int chn);
    int stopSending(int chn);
    // Whether the channel exists and is enabled; false while not initialised.
    bool active(int chn);

    // The reader's side. poll: 0 while a buffer waits, -EAGAIN while none does, -EPERM
    // while the channel is not receiving.
    int poll(int chn);
    int receive(int chn, rts_av_buffer** buffer);
    // -EINVAL for anything but a buffer handed out and not yet given back.
    int putBuffer(rts_av_buffer* buffer);
    // Arms a one-shot callback for the channel's next buffer, run on the platform's
    // callback thread. -EINVAL for a null record or handler or a channel without
    // buffers, -EPERM while disabled, -EBUSY while one is armed.
    int setCallback(int chn, const rts_av_callback* record);

    // The sender's side of a playback channel: copies the buffer's bytes into its
    // speaker's FIFO (see audio/playback_device.h). -EINVAL for a channel of another kind,
    // a buffer that is not popped from a live audio queue, a byte count beyond the
    // buffer or not whole frames; -EPERM while not enabled and sending; -EAGAIN when the
    // FIFO stayed full. Waits up to one device period without the platform's lock.
    int send(int chn, const rts_av_buffer* buffer);

    // The support library's audio queues: pools of playback buffers, given back with
    // putBuffer(). See media/audio_queues.h; they need no init().
    int createAudioQueue(audio_queue* queue, std::size_t bufferBytes);
    rts_av_buffer* popAudioQueue(audio_queue* queue);
    int destroyAudioQueue(audio_queue* queue);

    // The speaker of playback channel `chn`: the running one, else the last it had (see
    // media/speakers.h). Null for none.
    std::shared_ptr<audio::PlaybackDevice> speaker(int chn);
    // The newest playback channel that has had a speaker, or kNoChannel.
    int newestSpeakerChannel();

    // The streams' side (media/stream_sink.h).
    bool routeOf(int isp, StreamRoute* route) override;
    bool captureRouteOf(int capture, CaptureRoute* route) override;
    void publish(int chn, const uint8_t* data, std::size_t length, uint64_t timestampUs,
                 uint32_t flags) override;
    void countDropped(int chn) override;
    // The sample format of the `bytes` bytes at `data` when they lie in a buffer an audio
    // channel handed out and that is not given back yet; none otherwise.
    std::optional<AudioFormat> receivedFormat(const void* data, std::size_t bytes);
    // What capture channel `chn` has read while enabled; none while it is not capturing.
    std::optional<CaptureCounts> captureCounts(int chn);

    // For tests: scripted channels make nothing themselves, and push() hands them
    // buffers as if they had. push: -ENOENT, -EINVAL for a kind without buffers, -EPERM
    // while disabled.
    int setScripted(int chn, bool scripted);
    int push(int chn, const uint8_t* data, std::size_t length, uint64_t timestampUs,
             uint32_t flags);
    std::optional<OutputStats> stats(int chn);
    // Waits until no callback is queued or running.
    void waitCallbacksIdle();

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
    // Lets the newest OSD channel that has no mask pack yet, and whose source is an image
    // channel with a `width` x `height` profile, draw mask pack `pack`; -ENODEV when
    // there is no such channel. The attachment goes with the channel.
    int attachMask(uint32_t width, uint32_t height, uint32_t pack);
    // Frees the channel that draws mask pack `pack` for another mask pack.
    void detachMask(uint32_t pack);

    // Back to a fresh process: not initialised, no channels or handles, ids from 0.
    void reset();
    int liveChannels();
    int initCount();
    int liveAudioQueues();
    int liveControlHandles();

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

    using Lock = std::unique_lock<std::mutex>;

    // Each takes the lock it is given.
    void destroyAll(Lock& lock, OutOfService& out);
    void destroyChannel(Lock& lock, int chn, OutOfService& out);
    // Takes the channel's video and capture streams out of service.
    void stopStreams(int chn, OutOfService& out);
    // Gives a buffer channel `chn` made to its queue and its armed callback.
    void handOut(int chn, Channel& c, const uint8_t* data, std::size_t length, uint64_t timestampUs,
                 uint32_t flags);
    int giveBack(rts_av_buffer* buffer);
    // Keeps the channel's buffer pool while buffers of it are still out.
    void retirePool(Channel& c);

    std::mutex mMutex;
    int mInitCount = 0;
    ChannelRegistry mChannels;
    ControlHandles mHandles;
    std::map<int, std::unique_ptr<VideoStream>> mStreams;     // by image channel
    std::map<int, std::unique_ptr<CaptureStream>> mCaptures;  // by capture channel
    Speakers mSpeakers;
    AudioQueues mAudioQueues;
    // Pools of destroyed channels whose buffers are still out.
    std::vector<std::unique_ptr<BufferPool>> mRetiredPools;
    CallbackDispatcher mCallbacks{mMutex, [this](rts_av_buffer* buffer) { giveBack(buffer); }};
};

MediaPlatform& media();

template <typename F>
int MediaPlatform::whenInitialised(F f) {
    std::lock_guard<std::mutex> lock(mMutex);
    if (mInitCount == 0) return -ENODEV;
    return f();
}

template <typename F>
int MediaPlatform::withChannel(int chn, F f) {
    return whenInitialised([&] {
        Channel* channel = mChannels.find(chn);
        return channel ? f(*channel) : -ENOENT;
    });
}

template <typename F>
int MediaPlatform::withHandle(HandleId handle, ChannelKind kind, F f) {
    std::lock_guard<std::mutex> lock(mMutex);
    int chn;
    if (!mHandles.channelOf(handle, kind, &chn)) return -EINVAL;
    Channel* channel = mChannels.find(chn);
    if (!channel) return -ENODEV;
    return f(*channel);
}

}  // namespace host::media
