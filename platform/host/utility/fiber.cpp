#include "module/fiber.h"

#include <pthread.h>

#include <chrono>
#include <system_error>

namespace module {

namespace {

// Thread names are limited to 15 characters plus the terminator.
void nameThisThread(const std::string& name) {
    pthread_setname_np(pthread_self(), name.substr(0, 15).c_str());
}

// Exceptions must not escape a worker thread: that would terminate the process.
template <typename Function, typename... Args>
void runGuarded(const Function& function, Args&... args) {
    if (!function) return;
    try {
        function(args...);
    } catch (...) {
    }
}

}  // namespace

Fiber::Fiber(const std::string& name, Loop loop, std::function<void()> onStart,
             std::function<void()> onStop)
    : mName(name), mState(std::make_shared<State>()) {
    try {
        // The worker touches nothing of the fiber itself, which may be gone before the
        // worker ends (see ~Fiber()).
        mThread = std::thread([state = mState, name, loop = std::move(loop),
                               onStart = std::move(onStart), onStop = std::move(onStop)] {
            nameThisThread(name);
            runGuarded(onStart);
            runGuarded(loop, state->stop);
            runGuarded(onStop);
            state->finished = true;
        });
    } catch (const std::system_error&) {
        // No thread could be made: the fiber is simply not running.
        mState->finished = true;
    }
}

Fiber::~Fiber() {
    mState->stop = true;
    if (!mThread.joinable()) return;
    // A fiber destroyed from its own loop or callbacks cannot wait for itself.
    if (mThread.get_id() == std::this_thread::get_id())
        mThread.detach();
    else
        mThread.join();
}

bool Fiber::IsRunning() const { return !mState->stop && !mState->finished; }

void Fiber::SleepMs(unsigned int ms) {
    if (ms == 0)
        std::this_thread::yield();
    else
        std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

}  // namespace module
