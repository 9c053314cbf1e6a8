#include "module/regular_action.h"

#include <algorithm>

namespace module {

RegularAction::RegularAction(const std::chrono::nanoseconds& period)
    : mPeriod(std::max(period, std::chrono::nanoseconds::zero())) {}

void RegularAction::Start(bool immediately) {
    // Period k begins at mStart + k * mPeriod. Waiting one period first means
    // starting the count at period 1, which also avoids adding a huge period to
    // the clock.
    mStart = Clock::now();
    mDone = immediately ? 0 : 1;
    mStarted = true;
}

bool RegularAction::IsReady() const {
    if (!mStarted) return false;
    if (mPeriod.count() == 0) return true;
    const auto elapsed = Clock::now() - mStart;
    if (elapsed.count() < 0) return false;
    // Dividing rather than multiplying mDone by the period cannot overflow.
    const auto periodsBegun = static_cast<uint64_t>(elapsed / mPeriod);
    return periodsBegun >= mDone;
}

void RegularAction::ActionDone() {
    if (mStarted) ++mDone;
}

}  // namespace module
