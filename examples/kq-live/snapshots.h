// Snapshots on request, for the web page: kq_trigger_snapshot() and the snapshot
// callback joined into one blocking call. The callback carries no user data, so one
// object serves the process; one request per channel at a time, as the library asks.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

namespace live {

class Snapshots {
public:
    // Registers the callback of both channels: after the channels are open.
    Snapshots();
    // Unregisters it; a picture still on its way is dropped.
    ~Snapshots();
    Snapshots(const Snapshots&) = delete;
    Snapshots& operator=(const Snapshots&) = delete;

    struct Picture {
        int code = 0;       // 0, kq_trigger_snapshot()'s refusal, or -1 when none came in time
        bool late = false;  // none came in time
        std::vector<uint8_t> jpeg;
    };
    // Asks for one picture of `channel` at `quality` and waits up to `timeout` for it.
    // `trigger` makes the request: the caller's way of serialising library calls.
    template <class Trigger>
    Picture take(int channel, std::chrono::milliseconds timeout, Trigger trigger);

private:
    struct Slot {
        std::mutex requester;  // one request at a time
        std::mutex mutex;
        std::condition_variable arrived;
        bool waiting = false;
        std::vector<uint8_t> jpeg;
        bool done = false;
    };
    static int onSnapshot(int channel, const uint8_t* jpeg, uint32_t length);
    Picture wait(Slot& slot, std::chrono::milliseconds timeout);
    // Readies `channel`'s slot for the picture of a new request.
    void arm(int channel);

    Slot mSlots[2];
};

template <class Trigger>
Snapshots::Picture Snapshots::take(int channel, std::chrono::milliseconds timeout,
                                   Trigger trigger) {
    if (channel != 0 && channel != 1) return {-1, false, {}};
    Slot& slot = mSlots[channel];
    std::lock_guard<std::mutex> one(slot.requester);
    arm(channel);
    if (const int code = trigger(); code != 0) {
        std::lock_guard<std::mutex> lock(slot.mutex);
        slot.waiting = false;
        return {code, false, {}};
    }
    return wait(slot, timeout);
}

}  // namespace live
