// kq-live's web server: the page, snapshots, the MJPEG stream, the control API, the log
// as server-sent events and the talkback WebSocket, on threads of its own.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "camera_port.h"
#include "router.h"

namespace live {

// A line of the server's own log: level as LogRecord's (3 warning, 4 error).
using WebLog = std::function<void(int level, const std::string& text)>;

struct ServerOptions {
    std::string address = "127.0.0.1";
    uint16_t port = 8080;  // 0: a free port, which port() then tells
    // "NAME:PASSWORD": every request must bring them (HTTP Basic). Empty: no
    // authentication, which the server accepts on a loopback address only.
    std::string credentials;
    std::size_t maxConnections = 16;  // beyond: 503
    std::size_t maxHeaderBytes = 8192;
    std::size_t maxBodyBytes = 4096;
    std::size_t maxTalkbackMessage = 64 * 1024;
    std::chrono::milliseconds requestTimeout{10000};  // to receive a whole request
    std::chrono::milliseconds writeTimeout{10000};    // to send one answer or frame
    std::chrono::milliseconds heartbeat{15000};       // a comment on a quiet event stream
    int threads = 2;
    WebLog log;  // empty: standard error
    // The controls the camera set before serving, shown by GET /api/state as if set.
    std::vector<ControlCall> setUp;
};

class HttpServer {
public:
    HttpServer(CameraPort& camera, ServerOptions options);
    ~HttpServer();  // stops
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    // Binds and starts serving, once: empty, or what went wrong (also logged).
    std::string start();
    // Closes every connection and joins the threads; the camera is not called after it.
    // Not from the server's own threads (its log function included).
    void stop();
    // The bound port (after start()).
    uint16_t port() const;

private:
    class Impl;
    std::unique_ptr<Impl> mImpl;
};

}  // namespace live
