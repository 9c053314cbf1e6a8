// Utility library: a named worker that runs one loop function concurrently.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
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
    // Sets the stop flag and waits until the loop has returned. Destroyed on its own
    // worker (from the loop or a callback), it cannot wait for itself: the worker then
    // finishes on its own, with the state it shares with the fiber.
    ~Fiber();
    Fiber(const Fiber&) = delete;
    Fiber& operator=(const Fiber&) = delete;

    // True from construction until a stop is requested or the loop has returned.
    bool IsRunning() const;
    const std::string& Name() const { return mName; }

    static void SleepMs(unsigned int ms);

private:
    // The flags the worker reads and writes, owned by the fiber and the worker alike.
    struct State {
        std::atomic<bool> stop{false};
        std::atomic<bool> finished{false};
    };

    const std::string mName;
    const std::shared_ptr<State> mState;
    std::thread mThread;
};

}  // namespace module
