#include "snapshots.h"

#include <atomic>

#include "kq_api.h"
#include "live_log.h"

namespace live {
namespace {

std::atomic<Snapshots*> gSnapshots{nullptr};

}  // namespace

Snapshots::Snapshots() {
    gSnapshots = this;
    for (int channel : {0, 1}) kq_register_snapshot_callback(channel, onSnapshot);
}

Snapshots::~Snapshots() {
    for (int channel : {0, 1}) kq_register_snapshot_callback(channel, nullptr);
    gSnapshots = nullptr;
}

void Snapshots::arm(int channel) {
    Slot& slot = mSlots[channel];
    std::lock_guard<std::mutex> lock(slot.mutex);
    slot.waiting = true;
    slot.done = false;
    slot.jpeg.clear();
}

Snapshots::Picture Snapshots::wait(Slot& slot, std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(slot.mutex);
    const bool came = slot.arrived.wait_for(lock, timeout, [&slot] { return slot.done; });
    slot.waiting = false;
    if (!came) return {-1, true, {}};
    return {0, false, std::move(slot.jpeg)};
}

// On a platform thread. A picture nobody waits for (its request timed out) is dropped.
int Snapshots::onSnapshot(int channel, const uint8_t* jpeg, uint32_t length) {
    Snapshots* self = gSnapshots;
    if (!self || (channel != 0 && channel != 1)) return 0;
    Slot& slot = self->mSlots[channel];
    {
        std::lock_guard<std::mutex> lock(slot.mutex);
        if (!slot.waiting) {
            logLine(LogLevel::Warning, "snapshot of channel %d came too late: dropped", channel);
            return 0;
        }
        slot.jpeg.assign(jpeg, jpeg + length);
        slot.done = true;
    }
    slot.arrived.notify_all();
    return 0;
}

}  // namespace live
