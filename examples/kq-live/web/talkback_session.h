// Talkback: the browser's microphone over a WebSocket into the camera's speaker. The
// format comes in the query (?rate=R&channels=C) or as the first, text message
// {"rate": R, "channels": C}; every binary message after it is 16-bit PCM, whole sample
// frames, written as it comes.
#pragma once

#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <memory>

#include "server_context.h"

namespace live {

class TalkbackSession : public std::enable_shared_from_this<TalkbackSession> {
public:
    TalkbackSession(boost::beast::tcp_stream stream, ServerContext& context, ConnectionSlot slot,
                    TalkbackFormat format, std::string peer);
    ~TalkbackSession();
    void start(boost::beast::http::request<boost::beast::http::string_body> upgrade);

private:
    void openSpeaker();
    void read();
    void onMessage();
    void refuse(boost::beast::websocket::close_code code, const std::string& why);

    boost::beast::websocket::stream<boost::beast::tcp_stream> mSocket;
    ServerContext& mContext;
    ConnectionSlot mSlot;
    TalkbackFormat mFormat;
    const std::string mPeer;
    boost::beast::flat_buffer mBuffer;
    std::unique_ptr<TalkbackWriter> mWriter;
    uint64_t mBytes = 0;
    bool mWarned = false;
    bool mClosing = false;
};

}  // namespace live
