// Utility library: a drift-free pacer. Periods are counted from Start(), not from the
// last action, so late actions do not push the later ones back.
#pragma once

#include <chrono>
#include <cstdint>

namespace module {

class RegularAction {
public:
    explicit RegularAction(const std::chrono::nanoseconds& period);

    // Starts counting periods now. With `immediately` the first period is ready at
    // once, otherwise after one period.
    void Start(bool immediately);
    // True once the current period has come and its action is not yet done.
    bool IsReady() const;
    // Ends the current period: the next one is ready one period after it began.
    void ActionDone();

private:
    using Clock = std::chrono::steady_clock;
    const std::chrono::nanoseconds mPeriod;
    Clock::time_point mStart;
    uint64_t mDone = 0;
    bool mStarted = false;
};

}  // namespace module
