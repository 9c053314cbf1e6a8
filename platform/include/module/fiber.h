// Utility library: a named worker that runs one loop function concurrently.
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <thread>

namespace module {

class Fiber {
public:
    using Loop = std::function<void(std::atomic<bool>& stop)>;

    // Starts `loop` at once with the worker's stop flag. `onStart` runs on the worker
    // before the loop and `onStop` after it, when they are set.
    Fiber(const std::string& name, Loop loop, std::function<void()> onStart,
          std::function<void()> onStop);
    // Sets the stop flag and waits until the loop has returned.
    ~Fiber();
    Fiber(const Fiber&) = delete;
    Fiber& operator=(const Fiber&) = delete;

    // True from construction until a stop is requested or the loop has returned.
    bool IsRunning() const;
    const std::string& Name() const { return mName; }

    static void SleepMs(unsigned int ms);

private:
    const std::string mName;
    std::atomic<bool> mStop{false};
    std::atomic<bool> mFinished{false};
    std::thread mThread;
};

}  // namespace module
