#include "media/callback_dispatcher.h"

namespace host::media {

void CallbackDispatcher::enqueue(int chn, const CallbackJob& job) {
    mQueue.push_back({chn, job});
    if (!mStarted) {
        std::thread thread([this] { run(); });
        mThreadId = thread.get_id();
        thread.detach();  // lives as long as the process, like the platform itself
        mStarted = true;
    }
    mChanged.notify_all();
}

void CallbackDispatcher::run() {
    Lock lock(mMutex);
    for (;;) {
        mChanged.wait(lock, [this] { return !mQueue.empty(); });
        Pending pending = mQueue.front();
        mQueue.pop_front();
        mRunning = pending.chn;
        lock.unlock();
        pending.job.handler(pending.job.context, nullptr, pending.job.buffer);
        lock.lock();
        mGiveBack(pending.job.buffer);
        mRunning = kNoChannel;
        mChanged.notify_all();
    }
}

void CallbackDispatcher::cancel(Lock& lock, int chn) {
    for (auto it = mQueue.begin(); it != mQueue.end();) {
        if (chn != kNoChannel && it->chn != chn) {
            ++it;
            continue;
        }
        mGiveBack(it->job.buffer);
        it = mQueue.erase(it);
    }
    if (std::this_thread::get_id() == mThreadId) return;
    mChanged.wait(lock,
                  [&] { return mRunning == kNoChannel || (chn != kNoChannel && mRunning != chn); });
}

void CallbackDispatcher::waitIdle(Lock& lock) {
    mChanged.wait(lock, [this] { return mQueue.empty() && mRunning == kNoChannel; });
}

}  // namespace host::media
