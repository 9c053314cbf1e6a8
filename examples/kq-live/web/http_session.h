// One connection's requests, one after another: read within the time allowed, checked
// for credentials, routed, answered. A stream or WebSocket route hands the connection to
// a session of its kind.
#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/message.hpp>
#include <memory>
#include <optional>

#include "request_reader.h"
#include "server_context.h"

namespace live {

// Sends the end of the stream, then reads what the peer still sends until it closes too,
// for at most a second: closing with unread bytes would reset the connection and could
// cost the peer the answer it was sent (a 400 or a 503 in particular).
void closeGracefully(boost::beast::tcp_stream stream);

class HttpSession : public std::enable_shared_from_this<HttpSession> {
public:
    HttpSession(boost::asio::ip::tcp::socket socket, ServerContext& context, ConnectionSlot slot);
    void start();

private:
    void readRequest();
    void onRead(const boost::beast::error_code& error);
    void handle(const Request& request);
    void perform(const Action& action, const Request& request);
    void takeSnapshot(int channel, int quality);
    void send(const Response& response);
    void onWritten(const boost::beast::error_code& error);
    void closeConnection();

    boost::beast::tcp_stream mStream;
    boost::beast::flat_buffer mBuffer;
    ServerContext& mContext;
    ConnectionSlot mSlot;
    const RequestLimits mLimits;
    const std::string mPeer;
    std::optional<RequestParser> mParser;
    bool mKeepAlive = false;
    std::shared_ptr<boost::beast::http::response<boost::beast::http::string_body>> mResponse;
};

}  // namespace live
