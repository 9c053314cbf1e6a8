#include "video/camera_feed.h"

namespace host::video {
namespace {

constexpr auto kFirstPictureWait = std::chrono::milliseconds(500);
constexpr auto kMostBehind = std::chrono::seconds(1);

}  // namespace

CameraFeed::CameraFeed(std::string path, bool webcam, FailureHandler onFailure)
    : mOnFailure(std::move(onFailure)),
      mThread([this, path = std::move(path), webcam] { run(path, webcam); }) {}

CameraFeed::~CameraFeed() {
    {
        std::lock_guard<std::mutex> lock(mMutex);
        mStopping = true;
    }
    mChanged.notify_all();
    mDecoder.interrupt();  // a webcam may be waited on for its next picture
    mThread.join();
}

std::string CameraFeed::failure() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mFailure;
}

CameraFeed::Stats CameraFeed::stats() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mStats;
}

void CameraFeed::fail(const std::string& reason) {
    {
        std::lock_guard<std::mutex> lock(mMutex);
        // Stopping interrupts a read: that is no failure of the source.
        if (mStopping) return;
        mFailure = reason;
        mStarted = true;
    }
    mChanged.notify_all();
    if (mOnFailure) mOnFailure(reason);
}

CameraFeed::Slot* CameraFeed::freeSlot() {
    std::unique_lock<std::mutex> lock(mMutex);
    for (;;) {
        if (mStopping) return nullptr;
        Slot* oldest = nullptr;
        Slot* next = nullptr;  // the one due after the oldest
        for (Slot& slot : mSlots) {
            if (!slot.shown) return &slot;
            if (!oldest || slot.due < oldest->due) {
                next = oldest;
                oldest = &slot;
            } else if (!next || slot.due < next->due) {
                next = &slot;
            }
        }
        // The oldest is no longer anyone's newest once the next one is due.
        if (next->due <= Clock::now()) {
            oldest->shown = false;
            return oldest;
        }
        mChanged.wait_until(lock, next->due);
    }
}

void CameraFeed::run(const std::string& path, bool webcam) {
    std::string reason = mDecoder.open(path, webcam);
    if (!reason.empty()) return fail(reason);
    Clock::time_point start;
    int64_t lastUs = 0;
    bool anyShown = false;
    for (Slot* slot; (slot = freeSlot()) != nullptr;) {
        int64_t timeUs = 0;
        SourceDecoder::Next next = mDecoder.next(&timeUs, &reason);
        if (next == SourceDecoder::Next::Failed) return fail(reason);
        if (next == SourceDecoder::Next::Still) break;

        const Clock::time_point now = Clock::now();
        const auto sourceTime = std::chrono::microseconds(timeUs);
        if (!anyShown || now - (start + sourceTime) > kMostBehind) start = now - sourceTime;
        const auto interval = std::chrono::microseconds(timeUs - lastUs);
        lastUs = timeUs;
        // Overdue when even the next picture would be due by now: it is not converted,
        // which is most of the time a large picture takes, and the next one shows.
        const bool overdue = anyShown && start + sourceTime + interval < now;
        if (!overdue && !mDecoder.convert(slot->frame, &reason)) return fail(reason);
        std::lock_guard<std::mutex> lock(mMutex);
        ++mStats.decoded;
        if (overdue) {
            ++mStats.dropped;
            continue;
        }
        slot->due = start + sourceTime;
        slot->shown = true;
        anyShown = true;
        mStarted = true;
        mChanged.notify_all();
    }
    // A still image stays on show until the feed stops.
    std::unique_lock<std::mutex> lock(mMutex);
    mChanged.wait(lock, [this] { return mStopping; });
}

CameraFeed::Pick CameraFeed::pictureAt(Clock::time_point due, Frame& out, FrameScaler& scaler) {
    std::unique_lock<std::mutex> lock(mMutex);
    if (!mStarted && !mWaitedForStart) {
        mWaitedForStart = true;
        mChanged.wait_for(lock, kFirstPictureWait, [this] { return mStarted || mStopping; });
    }
    if (!mFailure.empty()) return Pick::Failed;
    // The newest picture due by then; before any is, the first to come.
    const Slot* newestDue = nullptr;
    const Slot* earliest = nullptr;
    for (const Slot& slot : mSlots) {
        if (!slot.shown) continue;
        if (slot.due <= due && (!newestDue || slot.due > newestDue->due)) newestDue = &slot;
        if (!earliest || slot.due < earliest->due) earliest = &slot;
    }
    const Slot* chosen = newestDue ? newestDue : earliest;
    if (!chosen) return Pick::NotYet;
    return scaler.scale(chosen->frame, out) ? Pick::Picture : Pick::NotYet;
}

}  // namespace host::video
