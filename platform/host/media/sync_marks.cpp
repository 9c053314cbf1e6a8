#include "media/sync_marks.h"

#include <algorithm>
#include <atomic>

namespace host::media {
namespace {

std::atomic<bool> gSyncMarks{false};

}  // namespace

void setSyncMarks(bool on) { gSyncMarks = on; }
bool syncMarks() { return gSyncMarks; }

bool isSyncMark(uint64_t us, std::chrono::nanoseconds period) {
    const auto periodUs = static_cast<uint64_t>(period.count() / 1000);
    return us % kSecondUs < std::max<uint64_t>(periodUs, 1);
}

uint64_t onSyncGrid(uint64_t us, std::chrono::nanoseconds period) {
    const auto periodNs = static_cast<uint64_t>(period.count());
    if (periodNs == 0 || periodNs % 1000 != 0 || kSecondUs * 1000 % periodNs != 0) return us;
    const uint64_t periodUs = periodNs / 1000;
    return (us + periodUs - 1) / periodUs * periodUs;
}

}  // namespace host::media
