#include "talkback_session.h"

#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/websocket.hpp>

namespace live {

namespace beast = boost::beast;
namespace websocket = beast::websocket;

TalkbackSession::TalkbackSession(beast::tcp_stream stream, ServerContext& context,
                                 ConnectionSlot slot, TalkbackFormat format, std::string peer)
    : mSocket(std::move(stream)),
      mContext(context),
      mSlot(std::move(slot)),
      mFormat(format),
      mPeer(std::move(peer)) {}

TalkbackSession::~TalkbackSession() {
    if (!mWriter) return;
    mWriter->close();
    mContext.log(
        2, "web: talkback from " + mPeer + " ended after " + std::to_string(mBytes) + " bytes");
}

void TalkbackSession::start(beast::http::request<beast::http::string_body> upgrade) {
    // The WebSocket keeps its own timeouts (idle pings) instead of the stream's.
    beast::get_lowest_layer(mSocket).expires_never();
    mSocket.set_option(websocket::stream_base::timeout::suggested(beast::role_type::server));
    mSocket.read_message_max(mContext.options.maxTalkbackMessage);
    mSocket.binary(true);
    mSocket.async_accept(upgrade, [self = shared_from_this()](beast::error_code error) {
        if (error) {
            self->mContext.log(
                3, "web: talkback from " + self->mPeer + " refused: " + error.message());
            return;
        }
        if (self->mFormat.rate != 0) self->openSpeaker();
        self->read();
    });
}

void TalkbackSession::openSpeaker() {
    mWriter = mContext.camera.openTalkback(mFormat.rate, mFormat.channels);
    if (!mWriter) return refuse(websocket::close_code::try_again_later, "the speaker is busy");
    mContext.log(2, "web: talkback from " + mPeer + " at " + std::to_string(mFormat.rate) +
                        " Hz, " + std::to_string(mFormat.channels) + " channel(s)");
}

void TalkbackSession::read() {
    mSocket.async_read(mBuffer, [self = shared_from_this()](beast::error_code error, std::size_t) {
        if (error == websocket::error::buffer_overflow)
            self->mContext.log(3, "web: talkback from " + self->mPeer + ": a message beyond " +
                                      std::to_string(self->mContext.options.maxTalkbackMessage) +
                                      " bytes: closed");
        if (error) return;  // closed, by either side
        self->onMessage();
        self->mBuffer.consume(self->mBuffer.size());
        if (!self->mClosing) self->read();
    });
}

void TalkbackSession::onMessage() {
    if (mSocket.got_text()) {
        if (mWriter || mFormat.rate != 0)
            return refuse(websocket::close_code::policy_error, "the format was given already");
        const Action parsed = parseTalkbackFormat(beast::buffers_to_string(mBuffer.data()));
        if (parsed.kind != ActionKind::Talkback)
            return refuse(websocket::close_code::policy_error, parsed.logLine);
        mFormat = parsed.talkback;
        return openSpeaker();
    }
    if (!mWriter) return refuse(websocket::close_code::policy_error, "PCM before the format");
    const std::size_t frameBytes = 2 * std::size_t(mFormat.channels);
    if (mBuffer.size() % frameBytes != 0)
        return refuse(websocket::close_code::policy_error,
                      std::to_string(mBuffer.size()) + " bytes is not a whole number of " +
                          std::to_string(frameBytes) + "-byte sample frames");
    const auto* data = static_cast<const uint8_t*>(mBuffer.data().data());
    const int code = mWriter->write(data, mBuffer.size());
    mBytes += mBuffer.size();
    if (code != 0 && !mWarned) {
        mWarned = true;  // once a talk: a refusing speaker would refuse every message
        mContext.log(3, "web: talkback from " + mPeer + ": the speaker refused PCM, code " +
                            std::to_string(code));
    }
}

void TalkbackSession::refuse(websocket::close_code code, const std::string& why) {
    mClosing = true;
    mContext.log(3, "web: talkback from " + mPeer + " closed: " + why);
    // A close frame's reason holds at most 123 bytes.
    websocket::close_reason reason(code, why.substr(0, 120));
    mSocket.async_close(reason, [self = shared_from_this()](beast::error_code) {});
}

}  // namespace live
