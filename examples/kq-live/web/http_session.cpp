#include "http_session.h"

#include <boost/asio/dispatch.hpp>
#include <boost/asio/post.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/write.hpp>

#include "basic_auth.h"
#include "stream_session.h"
#include "talkback_session.h"

namespace live {

namespace beast = boost::beast;
namespace http = beast::http;
namespace net = boost::asio;

namespace {

std::string peerOf(const net::ip::tcp::socket& socket) {
    boost::system::error_code error;
    const auto endpoint = socket.remote_endpoint(error);
    return error ? "?" : endpoint.address().to_string() + ":" + std::to_string(endpoint.port());
}

bool quietEnd(const beast::error_code& error) {
    return error == http::error::end_of_stream || error == net::error::eof ||
           error == net::error::connection_reset || error == net::error::operation_aborted ||
           error == http::error::partial_message;
}

// Without credentials the server answers to loopback names only: a site whose name an
// attacker points at 127.0.0.1 would otherwise reach it from a browser on this machine.
bool loopbackHost(const std::string& host) {
    const bool bracketed = !host.empty() && host[0] == '[';  // [::1]:8080
    const std::string name =
        bracketed ? host.substr(1, host.find(']') - 1) : host.substr(0, host.find(':'));
    if (name == "localhost") return true;
    boost::system::error_code error;
    const auto address = net::ip::make_address(name, error);
    return !error && address.is_loopback();
}

}  // namespace

HttpSession::HttpSession(net::ip::tcp::socket socket, ServerContext& context, ConnectionSlot slot)
    : mStream(std::move(socket)),
      // Room for a whole request: the parser's limits refuse a larger one first.
      mBuffer(context.options.maxHeaderBytes + context.options.maxBodyBytes + 1024),
      mContext(context),
      mSlot(std::move(slot)),
      mLimits{context.options.maxHeaderBytes, context.options.maxBodyBytes},
      mPeer(peerOf(mStream.socket())) {}

void HttpSession::start() {
    net::dispatch(mStream.get_executor(), [self = shared_from_this()] { self->readRequest(); });
}

void HttpSession::readRequest() {
    mParser.emplace();
    applyLimits(*mParser, mLimits);
    mStream.expires_after(mContext.options.requestTimeout);
    http::async_read(
        mStream, mBuffer, *mParser,
        [self = shared_from_this()](beast::error_code error, std::size_t) { self->onRead(error); });
}

void HttpSession::onRead(const beast::error_code& error) {
    if (error == beast::error::timeout) {
        mContext.log(3, "web: " + mPeer + " sent no whole request within " +
                            std::to_string(mContext.options.requestTimeout.count()) +
                            " ms: closed");
        return closeConnection();
    }
    if (quietEnd(error)) return closeConnection();
    mKeepAlive = !error && mParser->get().keep_alive();
    if (error) {
        const Action refused = refusedRequest(error, *mParser, mLimits);
        mContext.log(3, "web: " + mPeer + " 400 " + refused.logLine);
        return send(refused.reply);
    }
    handle(toRequest(mParser->get()));
}

void HttpSession::handle(const Request& request) {
    const auto host = request.headers.find("host");
    if (mContext.authorization.empty() && host != request.headers.end() &&
        !loopbackHost(host->second)) {
        mContext.log(3, "web: " + mPeer + " asked for host " + host->second.substr(0, 80) +
                            ": 403, only loopback names are served without credentials");
        return send(jsonResponse(403, R"({"error":"unknown host"})"));
    }
    if (!mContext.authorization.empty()) {
        const auto given = request.headers.find("authorization");
        if (!sameSecret(given == request.headers.end() ? "" : given->second,
                        mContext.authorization)) {
            mContext.log(3, "web: " + mPeer + " failed authentication for " + request.method + " " +
                                request.target.substr(0, 80));
            Response refused = jsonResponse(401, R"({"error":"authentication required"})");
            refused.headers.emplace_back("WWW-Authenticate",
                                         R"(Basic realm="kq-live", charset="UTF-8")");
            return send(refused);
        }
    }
    const Action action = route(request);
    if (!action.logLine.empty())
        mContext.log(3, "web: " + mPeer + " " + request.method + " " +
                            request.target.substr(0, 80) + ": " +
                            std::to_string(action.reply.status) + " " + action.logLine);
    perform(action, request);
}

void HttpSession::perform(const Action& action, const Request& request) {
    switch (action.kind) {
        case ActionKind::Reply: return send(action.reply);
        case ActionKind::State: return send(jsonResponse(200, mContext.controls.json()));
        case ActionKind::Control: {
            const int code = mContext.controls.apply(action.control, mContext.camera);
            if (code == 0) return send(jsonResponse(200, R"({"code":0})"));
            mContext.log(3, "web: " + request.target + " refused by the camera: code " +
                                std::to_string(code));
            return send(jsonResponse(
                409, R"({"error":"the camera refused","code":)" + std::to_string(code) + "}"));
        }
        case ActionKind::Snapshot: return takeSnapshot(action.channel, action.quality);
        case ActionKind::Mjpeg:
        case ActionKind::Events: {
            const auto kind =
                action.kind == ActionKind::Mjpeg ? StreamKind::Mjpeg : StreamKind::Events;
            auto stream = std::make_shared<StreamSession>(std::move(mStream), mContext,
                                                          std::move(mSlot), kind, mPeer);
            mContext.track(stream);
            return stream->start();
        }
        case ActionKind::Talkback:
            return std::make_shared<TalkbackSession>(std::move(mStream), mContext, std::move(mSlot),
                                                     action.talkback, mPeer)
                ->start(mParser->release());
    }
}

// The camera answers a snapshot after its next frame: the wait happens on the blocking
// pool, never on a network thread.
void HttpSession::takeSnapshot(int channel, int quality) {
    net::post(mContext.blocking, [self = shared_from_this(), channel, quality] {
        auto picture = std::make_shared<Snapshot>(self->mContext.camera.snapshot(channel, quality));
        net::post(self->mStream.get_executor(), [self, picture, channel] {
            if (picture->code != 0) {
                self->mContext.log(3, "web: snapshot of channel " + std::to_string(channel) +
                                          " failed: code " + std::to_string(picture->code));
                return self->send(jsonResponse(503, R"({"error":"no snapshot","code":)" +
                                                        std::to_string(picture->code) + "}"));
            }
            Response response;
            response.contentType = "image/jpeg";
            response.body.assign(picture->jpeg.begin(), picture->jpeg.end());
            self->send(response);
        });
    });
}

void HttpSession::send(const Response& response) {
    mResponse = std::make_shared<http::response<http::string_body>>(
        static_cast<http::status>(response.status), 11);
    mResponse->set(http::field::server, "kq-live");
    mResponse->set(http::field::content_type, response.contentType);
    mResponse->set(http::field::cache_control, "no-store");
    for (const auto& [name, value] : response.headers) mResponse->set(name, value);
    mResponse->body() = response.body;
    mResponse->keep_alive(mKeepAlive && response.status < 400);
    mResponse->prepare_payload();
    mStream.expires_after(mContext.options.writeTimeout);
    http::async_write(mStream, *mResponse,
                      [self = shared_from_this()](beast::error_code error, std::size_t) {
                          self->onWritten(error);
                      });
}

void HttpSession::onWritten(const beast::error_code& error) {
    const bool again = !error && mResponse->keep_alive();
    mResponse.reset();
    if (again) return readRequest();
    closeConnection();
}

void HttpSession::closeConnection() { closeGracefully(std::move(mStream)); }

namespace {

// Owns a connection while it closes.
class Closer : public std::enable_shared_from_this<Closer> {
public:
    explicit Closer(beast::tcp_stream stream) : mStream(std::move(stream)) {}
    void start() {
        beast::error_code ignored;
        mStream.socket().shutdown(net::ip::tcp::socket::shutdown_send, ignored);
        mStream.expires_after(std::chrono::seconds(1));
        drain();
    }

private:
    void drain() {
        mStream.async_read_some(net::buffer(mDiscard),
                                [self = shared_from_this()](beast::error_code error, std::size_t) {
                                    if (error) return self->mStream.close();
                                    self->drain();
                                });
    }

    beast::tcp_stream mStream;
    char mDiscard[4096];
};

}  // namespace

void closeGracefully(beast::tcp_stream stream) {
    std::make_shared<Closer>(std::move(stream))->start();
}

}  // namespace live
