#include "http_server.h"

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/write.hpp>
#include <iostream>
#include <thread>
#include <vector>

#include "basic_auth.h"
#include "http_session.h"
#include "server_context.h"

namespace live {

namespace net = boost::asio;
namespace beast = boost::beast;
using tcp = net::ip::tcp;

namespace {

void logToStandardError(int level, const std::string& text) {
    static const char* const kLevels[] = {"debug", "debug", "info ", "warn ", "error"};
    std::cerr << kLevels[std::clamp(level, 0, 4)] << " " << text << "\n";
}

// Accepts connections up to the limit and answers 503 beyond it.
class Listener : public std::enable_shared_from_this<Listener> {
public:
    Listener(net::io_context& io, ServerContext& context)
        : mIo(io), mAcceptor(io), mContext(context) {}

    std::string open(const tcp::endpoint& endpoint) {
        boost::system::error_code error;
        mAcceptor.open(endpoint.protocol(), error);
        if (!error) mAcceptor.set_option(net::socket_base::reuse_address(true), error);
        if (!error) mAcceptor.bind(endpoint, error);
        if (!error) mAcceptor.listen(net::socket_base::max_listen_connections, error);
        return error ? error.message() : "";
    }
    uint16_t port() const { return mAcceptor.local_endpoint().port(); }
    void accept() {
        mAcceptor.async_accept(
            net::make_strand(mIo),
            [self = shared_from_this()](boost::system::error_code error, tcp::socket socket) {
                if (error == net::error::operation_aborted) return;
                if (!error) self->admit(std::move(socket));
                self->accept();
            });
    }
    void close() {
        net::post(mAcceptor.get_executor(), [self = shared_from_this()] {
            boost::system::error_code ignored;
            self->mAcceptor.close(ignored);
        });
    }

private:
    void admit(tcp::socket socket) {
        if (mContext.connections.load() < mContext.options.maxConnections) {
            ConnectionSlot slot(&mContext.connections);
            return std::make_shared<HttpSession>(std::move(socket), mContext, std::move(slot))
                ->start();
        }
        mContext.log(3, "web: " + std::to_string(mContext.options.maxConnections) +
                            " connections open: 503 to another");
        static const std::string kBusy =
            "HTTP/1.1 503 Service Unavailable\r\nContent-Type: application/json\r\n"
            "Content-Length: 33\r\nRetry-After: 1\r\nConnection: close\r\n\r\n"
            R"({"error":"too many connections"})";
        auto refused = std::make_shared<beast::tcp_stream>(std::move(socket));
        refused->expires_after(std::chrono::seconds(1));
        net::async_write(*refused, net::buffer(kBusy), [refused](beast::error_code, std::size_t) {
            closeGracefully(std::move(*refused));
        });
    }

    net::io_context& mIo;
    tcp::acceptor mAcceptor;
    ServerContext& mContext;
};

bool isLoopback(const net::ip::address& address) { return address.is_loopback(); }

}  // namespace

ServerContext::ServerContext(CameraPort& cameraPort, ServerOptions serverOptions)
    : camera(cameraPort),
      options(std::move(serverOptions)),
      authorization(options.credentials.empty() ? "" : basicAuthorization(options.credentials)) {
    for (const ControlCall& call : options.setUp) controls.remember(call);
}

void ServerContext::log(int level, const std::string& text) const {
    if (options.log)
        options.log(level, text);
    else
        logToStandardError(level, text);
}

void ServerContext::track(const std::shared_ptr<Stoppable>& session) {
    std::lock_guard<std::mutex> lock(mMutex);
    mTracked.erase(
        std::remove_if(mTracked.begin(), mTracked.end(), [](const auto& w) { return w.expired(); }),
        mTracked.end());
    mTracked.push_back(session);
}

void ServerContext::stopTracked() {
    std::vector<std::weak_ptr<Stoppable>> sessions;
    {
        std::lock_guard<std::mutex> lock(mMutex);
        sessions.swap(mTracked);
    }
    for (const auto& weak : sessions)
        if (auto session = weak.lock()) session->stop();
}

class HttpServer::Impl {
public:
    Impl(CameraPort& camera, ServerOptions options) : mContext(camera, std::move(options)) {}
    ~Impl() { stop(); }

    std::string start() {
        const std::string error = bind();
        if (!error.empty()) {
            mContext.log(4, "web: cannot serve on " + mContext.options.address + ":" +
                                std::to_string(mContext.options.port) + ": " + error);
            return error;
        }
        mListener->accept();
        for (int i = 0; i < std::max(1, mContext.options.threads); ++i)
            mThreads.emplace_back([this] { mIo->run(); });
        return "";
    }

    void stop() {
        if (mThreads.empty()) return;
        mListener->close();
        mIo->stop();
        for (std::thread& thread : mThreads) thread.join();
        mThreads.clear();
        // The network threads are gone: end the streams' threads and wait for the
        // snapshots under way, whose answers nobody sends any more.
        mContext.stopTracked();
        mContext.blocking.stop();
        mContext.blocking.join();
        // Destroying the context destroys the sessions its handlers held: the last
        // calls of the camera (a talkback's close) happen here, before stop() returns.
        mListener.reset();
        mIo.reset();
    }

    uint16_t port() const { return mPort; }

private:
    std::string bind() {
        const ServerOptions& o = mContext.options;
        boost::system::error_code error;
        const net::ip::address address = net::ip::make_address(o.address, error);
        if (error) return "not an IP address: " + o.address;
        if (!isLoopback(address) && o.credentials.empty())
            return "refusing " + o.address + " without credentials: only loopback may go without";
        if (!o.credentials.empty() && o.credentials.find(':') == std::string::npos)
            return "credentials must be NAME:PASSWORD";
        mListener = std::make_shared<Listener>(*mIo, mContext);
        const std::string failed = mListener->open(tcp::endpoint(address, o.port));
        if (!failed.empty()) return failed;
        mPort = mListener->port();
        return "";
    }

    ServerContext mContext;
    std::unique_ptr<net::io_context> mIo = std::make_unique<net::io_context>();
    std::shared_ptr<Listener> mListener;
    std::vector<std::thread> mThreads;
    uint16_t mPort = 0;
};

HttpServer::HttpServer(CameraPort& camera, ServerOptions options)
    : mImpl(std::make_unique<Impl>(camera, std::move(options))) {}
HttpServer::~HttpServer() = default;
std::string HttpServer::start() { return mImpl->start(); }
void HttpServer::stop() { mImpl->stop(); }
uint16_t HttpServer::port() const { return mImpl->port(); }

}  // namespace live
