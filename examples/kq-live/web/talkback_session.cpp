#include "talkback_session.h"

#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/websocket.hpp>

namespace live {

namespace beast = boost::beast;
namespace websocket = beast::websocket;

TalkbackSession::TalkbackSession(beast::tcp_stream stream, ServerContext& context,
                                 ConnectionSlot slot, TalkbackFormat format, std::string peer)
    : socket_(std::move(stream)),
      context_(context),
      slot_(std::move(slot)),
      format_(format),
      peer_(std::move(peer)) {}

TalkbackSession::~TalkbackSession() {
    if (!writer_) return;
    writer_->close();
    context_.log(
        2, "web: talkback from " + peer_ + " ended after " + std::to_string(bytes_) + " bytes");
}

void TalkbackSession::start(beast::http::request<beast::http::string_body> upgrade) {
    // The WebSocket keeps its own timeouts (idle pings) instead of the stream's.
    beast::get_lowest_layer(socket_).expires_never();
    socket_.set_option(websocket::stream_base::timeout::suggested(beast::role_type::server));
    socket_.read_message_max(context_.options.maxTalkbackMessage);
    socket_.binary(true);
    socket_.async_accept(upgrade, [self = shared_from_this()](beast::error_code error) {
        if (error) {
            self->context_.log(
                3, "web: talkback from " + self->peer_ + " refused: " + error.message());
            return;
        }
        if (self->format_.rate != 0) self->openSpeaker();
        self->read();
    });
}

void TalkbackSession::openSpeaker() {
    writer_ = context_.camera.openTalkback(format_.rate, format_.channels);
    if (!writer_) return refuse(websocket::close_code::try_again_later, "the speaker is busy");
    context_.log(2, "web: talkback from " + peer_ + " at " + std::to_string(format_.rate) +
                        " Hz, " + std::to_string(format_.channels) + " channel(s)");
}

void TalkbackSession::read() {
    socket_.async_read(buffer_, [self = shared_from_this()](beast::error_code error, std::size_t) {
        if (error == websocket::error::buffer_overflow)
            self->context_.log(3, "web: talkback from " + self->peer_ + ": a message beyond " +
                                      std::to_string(self->context_.options.maxTalkbackMessage) +
                                      " bytes: closed");
        if (error) return;  // closed, by either side
        self->onMessage();
        self->buffer_.consume(self->buffer_.size());
        if (!self->closing_) self->read();
    });
}

void TalkbackSession::onMessage() {
    if (socket_.got_text()) {
        if (writer_ || format_.rate != 0)
            return refuse(websocket::close_code::policy_error, "the format was given already");
        const Action parsed = parseTalkbackFormat(beast::buffers_to_string(buffer_.data()));
        if (parsed.kind != ActionKind::Talkback)
            return refuse(websocket::close_code::policy_error, parsed.logLine);
        format_ = parsed.talkback;
        return openSpeaker();
    }
    if (!writer_) return refuse(websocket::close_code::policy_error, "PCM before the format");
    const std::size_t frameBytes = 2 * std::size_t(format_.channels);
    if (buffer_.size() % frameBytes != 0)
        return refuse(websocket::close_code::policy_error,
                      std::to_string(buffer_.size()) + " bytes is not a whole number of " +
                          std::to_string(frameBytes) + "-byte sample frames");
    const auto* data = static_cast<const uint8_t*>(buffer_.data().data());
    const int code = writer_->write(data, buffer_.size());
    bytes_ += buffer_.size();
    if (code != 0 && !warned_) {
        warned_ = true;  // once a talk: a refusing speaker would refuse every message
        context_.log(3, "web: talkback from " + peer_ + ": the speaker refused PCM, code " +
                            std::to_string(code));
    }
}

void TalkbackSession::refuse(websocket::close_code code, const std::string& why) {
    closing_ = true;
    context_.log(3, "web: talkback from " + peer_ + " closed: " + why);
    // A close frame's reason holds at most 123 bytes.
    websocket::close_reason reason(code, why.substr(0, 120));
    socket_.async_close(reason, [self = shared_from_this()](beast::error_code) {});
}

}  // namespace live
