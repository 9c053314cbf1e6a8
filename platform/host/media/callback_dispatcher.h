// The one platform thread that runs the one-shot callbacks of every channel, in the
// order their buffers came. It starts with the first callback and lives as long as the
// process. It shares the media platform's lock: every call is made holding it, and the
// thread holds it too except while a handler runs, since the handler is the caller's
// code and may call the platform itself.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

#include "media/channel.h"
#include "media/channel_output.h"

namespace host::media {

class CallbackDispatcher {
public:
    using Lock = std::unique_lock<std::mutex>;
    // Gives a buffer back to whoever lent it; called holding the lock.
    using GiveBack = std::function<void(rts_av_buffer*)>;

    CallbackDispatcher(std::mutex& mutex, GiveBack giveBack)
        : mMutex(mutex), mGiveBack(std::move(giveBack)) {}

    // Queues the callback of channel `chn`'s buffer.
    void enqueue(int chn, const CallbackJob& job);
    // Drops the queued callbacks of channel `chn` (every channel for kNoChannel),
    // giving their buffers back, and waits for its running one, unless that is the
    // very thread asking.
    void cancel(Lock& lock, int chn);
    // Waits until no callback is queued or running.
    void waitIdle(Lock& lock);

private:
    struct Pending {
        int chn;
        CallbackJob job;
    };

    void run();

    std::mutex& mMutex;
    const GiveBack mGiveBack;
    std::deque<Pending> mQueue;
    int mRunning = kNoChannel;
    std::condition_variable mChanged;
    std::thread::id mThreadId;
    bool mStarted = false;
};

}  // namespace host::media
