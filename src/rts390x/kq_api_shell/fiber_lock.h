// A scoped lock of a Boost.Fiber mutex. Boost.Fiber comes prebuilt, so ThreadSanitizer
// cannot see the order its mutex puts things in; in such builds the lock tells it.
#pragma once

#include <boost/fiber/mutex.hpp>

#if defined(__SANITIZE_THREAD__)
#define KQ_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define KQ_THREAD_SANITIZER 1
#endif
#endif

#ifdef KQ_THREAD_SANITIZER
extern "C" void __tsan_acquire(void* address);
extern "C" void __tsan_release(void* address);
#endif

namespace module {

class FiberLock {
public:
    explicit FiberLock(boost::fibers::mutex& mutex) : mMutex(mutex) {
        mMutex.lock();
#ifdef KQ_THREAD_SANITIZER
        __tsan_acquire(&mMutex);
#endif
    }
    ~FiberLock() {
#ifdef KQ_THREAD_SANITIZER
        __tsan_release(&mMutex);
#endif
        mMutex.unlock();
    }
    FiberLock(const FiberLock&) = delete;
    FiberLock& operator=(const FiberLock&) = delete;

private:
    boost::fibers::mutex& mMutex;
};

}  // namespace module
