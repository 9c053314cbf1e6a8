// The buffers of the media channels: what readers take and give back, what the
// streams and scripted pushes produce, and what a playback channel sends.
#include <cerrno>

#include "media/channel_routes.h"
#include "media/media_platform.h"

namespace host::media {

using Guard = std::lock_guard<std::mutex>;

// ---- Buffers -----------------------------------------------------------------------------

int MediaPlatform::poll(int chn) {
    return withChannel(chn, [](Channel& c) {
        if (!c.output()) return -EINVAL;
        if (!c.receiving()) return -EPERM;
        return c.output()->hasQueued() ? 0 : -EAGAIN;
    });
}

int MediaPlatform::receive(int chn, rts_av_buffer** buffer) {
    return withChannel(chn, [buffer](Channel& c) {
        if (!buffer || !c.output()) return -EINVAL;
        if (!c.receiving()) return -EPERM;
        *buffer = c.output()->take();
        return *buffer ? 0 : -EAGAIN;
    });
}

int MediaPlatform::putBuffer(rts_av_buffer* buffer) {
    Guard lock(mMutex);
    return giveBack(buffer);
}

int MediaPlatform::giveBack(rts_av_buffer* buffer) {
    if (!buffer) return -EINVAL;
    if (BufferPool* pool = mAudioQueues.poolHolding(buffer)) {
        pool->giveBack(buffer);
        return 0;
    }
    int rc = -EINVAL;
    mChannels.forEach([&](int, Channel& c) {
        if (rc != 0 && c.output() && c.output()->pool().holds(buffer)) {
            c.output()->pool().giveBack(buffer);
            rc = 0;
        }
    });
    if (rc == 0) return 0;
    for (auto it = mRetiredPools.begin(); it != mRetiredPools.end(); ++it) {
        if (!(*it)->holds(buffer)) continue;
        (*it)->giveBack(buffer);
        if ((*it)->taken() == 0) mRetiredPools.erase(it);
        return 0;
    }
    return -EINVAL;
}

int MediaPlatform::setCallback(int chn, const rts_av_callback* record) {
    return withChannel(chn, [record](Channel& c) {
        if (!record || !record->handler || !c.output()) return -EINVAL;
        if (!c.enabled()) return -EPERM;
        return c.output()->arm(*record);
    });
}

// ---- Producing ---------------------------------------------------------------------------

void MediaPlatform::publish(int chn, const uint8_t* data, std::size_t length, uint64_t timestampUs,
                            uint32_t flags) {
    Guard lock(mMutex);
    Channel* c = mChannels.find(chn);
    if (!c || !c->enabled() || !c->wanted()) return;
    handOut(chn, *c, data, length, timestampUs, flags);
}

void MediaPlatform::handOut(int chn, Channel& c, const uint8_t* data, std::size_t length,
                            uint64_t timestampUs, uint32_t flags) {
    std::optional<CallbackJob> job =
        c.output()->publish(data, length, timestampUs, flags, c.receiving());
    if (job) mCallbacks.enqueue(chn, *job);
}

void MediaPlatform::countDropped(int chn) {
    Guard lock(mMutex);
    if (Channel* c = mChannels.find(chn); c && c->output()) c->output()->countDropped();
}

bool MediaPlatform::routeOf(int isp, StreamRoute* route) {
    route->encoders.clear();  // keeps its capacity
    route->overlayPack = kNoPack;
    route->maskPack = kNoPack;
    Guard lock(mMutex);
    return findStreamRoute(mChannels, isp, route);
}

bool MediaPlatform::captureRouteOf(int capture, CaptureRoute* route) {
    route->targets.clear();  // keeps its capacity
    Guard lock(mMutex);
    return findCaptureRoute(mChannels, capture, route);
}

std::optional<AudioFormat> MediaPlatform::receivedFormat(const void* data, std::size_t bytes) {
    Guard lock(mMutex);
    return findReceivedFormat(mChannels, data, bytes);
}

std::optional<CaptureCounts> MediaPlatform::captureCounts(int chn) {
    Guard lock(mMutex);
    auto it = mCaptures.find(chn);
    if (it == mCaptures.end()) return std::nullopt;
    return it->second->counts();
}

int MediaPlatform::setScripted(int chn, bool scripted) {
    return withChannel(chn, [scripted](Channel& c) {
        if (!c.output()) return -EINVAL;
        c.setScripted(scripted);
        return 0;
    });
}

int MediaPlatform::push(int chn, const uint8_t* data, std::size_t length, uint64_t timestampUs,
                        uint32_t flags) {
    return withChannel(chn, [&](Channel& c) {
        if (!c.output() || (!data && length > 0)) return -EINVAL;
        if (!c.enabled()) return -EPERM;
        // Nobody takes it: made and lost, as a real channel would count it.
        if (!c.wanted()) {
            c.output()->countDropped();
            return 0;
        }
        handOut(chn, c, data, length, timestampUs, flags);
        return 0;
    });
}

std::optional<OutputStats> MediaPlatform::stats(int chn) {
    Guard lock(mMutex);
    Channel* c = mChannels.find(chn);
    if (!c || !c->output()) return std::nullopt;
    return c->output()->stats();
}

// ---- Playback ----------------------------------------------------------------------------

int MediaPlatform::send(int chn, const rts_av_buffer* buffer) {
    Speakers::Speaker speaker;
    const uint8_t* data = nullptr;
    std::size_t bytes = 0;
    int rc = withChannel(chn, [&](Channel& c) {
        if (c.kind() != ChannelKind::AudioPlayback) return -EINVAL;
        if (!c.enabled() || !c.sending()) return -EPERM;
        BufferPool* pool = mAudioQueues.poolHolding(buffer);
        if (!pool) return -EINVAL;
        // The pool's own storage, not the record's address, which the caller could
        // have changed.
        const std::vector<uint8_t>& storage = *pool->storageOf(buffer);
        if (buffer->bytesUsed > storage.size()) return -EINVAL;
        speaker = mSpeakers.find(chn);
        if (!speaker) return -EPERM;  // not reached: sending means a speaker
        data = storage.data();
        bytes = buffer->bytesUsed;
        return 0;
    });
    // The caller keeps the buffer until the send returns, so its storage stays put
    // while the speaker waits for room without the lock.
    return rc != 0 ? rc : speaker->send(data, bytes);
}

std::shared_ptr<audio::PlaybackDevice> MediaPlatform::speaker(int chn) {
    Guard lock(mMutex);
    return mSpeakers.find(chn);
}

int MediaPlatform::newestSpeakerChannel() {
    Guard lock(mMutex);
    return mSpeakers.newestChannel();
}

int MediaPlatform::createAudioQueue(audio_queue* queue, std::size_t bufferBytes) {
    Guard lock(mMutex);
    return mAudioQueues.create(queue, bufferBytes);
}

rts_av_buffer* MediaPlatform::popAudioQueue(audio_queue* queue) {
    Guard lock(mMutex);
    return mAudioQueues.pop(queue);
}

int MediaPlatform::destroyAudioQueue(audio_queue* queue) {
    Guard lock(mMutex);
    return mAudioQueues.destroy(queue, &mRetiredPools);
}

// ---- Callbacks ---------------------------------------------------------------------------

void MediaPlatform::waitCallbacksIdle() {
    Lock lock(mMutex);
    mCallbacks.waitIdle(lock);
}

}  // namespace host::media
