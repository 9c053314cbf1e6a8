// What the server's sessions share: the camera, the controls, the options, the count of
// connections and the event streams to stop when the server stops.
#pragma once

#include <atomic>
#include <boost/asio/thread_pool.hpp>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "control_state.h"
#include "http_server.h"

namespace live {

// Holds one of the server's connections; gives it back when destroyed.
class ConnectionSlot {
public:
    ConnectionSlot() = default;
    explicit ConnectionSlot(std::atomic<std::size_t>* count) : mCount(count) { ++*mCount; }
    ConnectionSlot(ConnectionSlot&& other) noexcept : mCount(other.mCount) {
        other.mCount = nullptr;
    }
    ConnectionSlot& operator=(ConnectionSlot&&) = delete;
    ~ConnectionSlot() {
        if (mCount) --*mCount;
    }

private:
    std::atomic<std::size_t>* mCount = nullptr;
};

// A session with a thread of its own, stopped before the server's threads end.
class Stoppable {
public:
    virtual ~Stoppable() = default;
    virtual void stop() = 0;
};

struct ServerContext {
    ServerContext(CameraPort& camera, ServerOptions options);

    void log(int level, const std::string& text) const;
    void track(const std::shared_ptr<Stoppable>& session);
    void stopTracked();

    CameraPort& camera;
    const ServerOptions options;
    const std::string authorization;  // the expected header; empty: none asked
    ControlState controls;
    std::atomic<std::size_t> connections{0};
    boost::asio::thread_pool blocking{1};  // snapshots, which wait for the camera

private:
    std::mutex mMutex;
    std::vector<std::weak_ptr<Stoppable>> mTracked;
};

}  // namespace live
