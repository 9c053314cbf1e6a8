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
        : io_(io), acceptor_(io), context_(context) {}

    std::string open(const tcp::endpoint& endpoint) {
        boost::system::error_code error;
        acceptor_.open(endpoint.protocol(), error);
        if (!error) acceptor_.set_option(net::socket_base::reuse_address(true), error);
        if (!error) acceptor_.bind(endpoint, error);
        if (!error) acceptor_.listen(net::socket_base::max_listen_connections, error);
        return error ? error.message() : "";
    }
    uint16_t port() const { return acceptor_.local_endpoint().port(); }
    void accept() {
        acceptor_.async_accept(
            net::make_strand(io_),
            [self = shared_from_this()](boost::system::error_code error, tcp::socket socket) {
                if (error == net::error::operation_aborted) return;
                if (!error) self->admit(std::move(socket));
                self->accept();
            });
    }
    void close() {
        net::post(acceptor_.get_executor(), [self = shared_from_this()] {
            boost::system::error_code ignored;
            self->acceptor_.close(ignored);
        });
    }

private:
    void admit(tcp::socket socket) {
        if (context_.connections.load() < context_.options.maxConnections) {
            ConnectionSlot slot(&context_.connections);
            return std::make_shared<HttpSession>(std::move(socket), context_, std::move(slot))
                ->start();
        }
        context_.log(3, "web: " + std::to_string(context_.options.maxConnections) +
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

    net::io_context& io_;
    tcp::acceptor acceptor_;
    ServerContext& context_;
};

bool isLoopback(const net::ip::address& address) { return address.is_loopback(); }

}  // namespace

ServerContext::ServerContext(CameraPort& camera_, ServerOptions options_)
    : camera(camera_),
      options(std::move(options_)),
      authorization(options.credentials.empty() ? "" : basicAuthorization(options.credentials)) {}

void ServerContext::log(int level, const std::string& text) const {
    if (options.log)
        options.log(level, text);
    else
        logToStandardError(level, text);
}

void ServerContext::track(const std::shared_ptr<Stoppable>& session) {
    std::lock_guard<std::mutex> lock(mutex_);
    tracked_.erase(
        std::remove_if(tracked_.begin(), tracked_.end(), [](const auto& w) { return w.expired(); }),
        tracked_.end());
    tracked_.push_back(session);
}

void ServerContext::stopTracked() {
    std::vector<std::weak_ptr<Stoppable>> sessions;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        sessions.swap(tracked_);
    }
    for (const auto& weak : sessions)
        if (auto session = weak.lock()) session->stop();
}

class HttpServer::Impl {
public:
    Impl(CameraPort& camera, ServerOptions options) : context_(camera, std::move(options)) {}
    ~Impl() { stop(); }

    std::string start() {
        const std::string error = bind();
        if (!error.empty()) {
            context_.log(4, "web: cannot serve on " + context_.options.address + ":" +
                                std::to_string(context_.options.port) + ": " + error);
            return error;
        }
        listener_->accept();
        for (int i = 0; i < std::max(1, context_.options.threads); ++i)
            threads_.emplace_back([this] { io_->run(); });
        return "";
    }

    void stop() {
        if (threads_.empty()) return;
        listener_->close();
        io_->stop();
        for (std::thread& thread : threads_) thread.join();
        threads_.clear();
        // The network threads are gone: end the streams' threads and wait for the
        // snapshots under way, whose answers nobody sends any more.
        context_.stopTracked();
        context_.blocking.stop();
        context_.blocking.join();
        // Destroying the context destroys the sessions its handlers held: the last
        // calls of the camera (a talkback's close) happen here, before stop() returns.
        listener_.reset();
        io_.reset();
    }

    uint16_t port() const { return port_; }

private:
    std::string bind() {
        const ServerOptions& o = context_.options;
        boost::system::error_code error;
        const net::ip::address address = net::ip::make_address(o.address, error);
        if (error) return "not an IP address: " + o.address;
        if (!isLoopback(address) && o.credentials.empty())
            return "refusing " + o.address + " without credentials: only loopback may go without";
        if (!o.credentials.empty() && o.credentials.find(':') == std::string::npos)
            return "credentials must be NAME:PASSWORD";
        listener_ = std::make_shared<Listener>(*io_, context_);
        const std::string failed = listener_->open(tcp::endpoint(address, o.port));
        if (!failed.empty()) return failed;
        port_ = listener_->port();
        return "";
    }

    ServerContext context_;
    std::unique_ptr<net::io_context> io_ = std::make_unique<net::io_context>();
    std::shared_ptr<Listener> listener_;
    std::vector<std::thread> threads_;
    uint16_t port_ = 0;
};

HttpServer::HttpServer(CameraPort& camera, ServerOptions options)
    : impl_(std::make_unique<Impl>(camera, std::move(options))) {}
HttpServer::~HttpServer() = default;
std::string HttpServer::start() { return impl_->start(); }
void HttpServer::stop() { impl_->stop(); }
uint16_t HttpServer::port() const { return impl_->port(); }

}  // namespace live
