// libFuzzer target: kq-live's HTTP requests. Each input goes through the server's request
// parser with the server's limits; a whole request is routed, its control made on the
// fake camera and a talkback body read as the first WebSocket message, and a refused one
// gets its 400. Beyond the sanitizers' checks: every 400 names the field it refuses, and
// what reaches the camera lies within the ranges the router promises.
#include <nlohmann/json.hpp>

#include "control_state.h"
#include "fake_camera.h"
#include "fuzz_check.h"
#include "request_reader.h"

namespace {

const live::RequestLimits kLimits{8192, 4096};  // the server's defaults

void checkRefusal(const live::Action& action) {
    if (action.reply.status != 400) return;
    const auto body = nlohmann::json::parse(action.reply.body, nullptr, false);
    KQ_FUZZ_CHECK(body.is_object() && body.contains("field") && body.contains("limit"));
    KQ_FUZZ_CHECK(!action.logLine.empty());
}

void checkCall(const live::ControlCall& call) {
    KQ_FUZZ_CHECK(call.channel == 0 || call.channel == 1);
    KQ_FUZZ_CHECK(call.name.size() <= live::kMaxFormatLength);
    if (call.control == live::Control::Flip) KQ_FUZZ_CHECK(call.value >= 0 && call.value <= 3);
    if (call.control == live::Control::TimestampPosition ||
        call.control == live::Control::WatermarkPosition)
        KQ_FUZZ_CHECK(call.value >= 0 && call.value <= 6);
}

void perform(const live::Action& action, const std::string& body) {
    FakeCamera camera;
    live::ControlState state;
    checkRefusal(action);
    if (action.kind == live::ActionKind::Control) {
        checkCall(action.control);
        state.apply(action.control, camera);
        KQ_FUZZ_CHECK(nlohmann::json::parse(state.json(), nullptr, false).is_object());
    }
    if (action.kind == live::ActionKind::Talkback) {
        const live::Action format = live::parseTalkbackFormat(body);
        checkRefusal(format);
        if (format.reply.status != 400)
            KQ_FUZZ_CHECK(format.talkback.rate >= 8000 && format.talkback.channels >= 1);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    live::RequestParser parser;
    live::applyLimits(parser, kLimits);
    parser.eager(true);
    boost::beast::error_code error;
    std::size_t at = 0;
    // The parser takes what it can of the bytes it is given; the rest is offered again.
    while (at < size && !parser.is_done() && !error) {
        const std::size_t used = parser.put(boost::asio::buffer(data + at, size - at), error);
        if (used == 0) break;
        at += used;
    }
    if (error == boost::beast::http::error::need_more) return 0;  // an unfinished request
    if (error) return perform(live::refusedRequest(error, parser, kLimits), ""), 0;
    if (!parser.is_done()) return 0;
    const live::Request request = live::toRequest(parser.get());
    perform(live::route(request), request.body);
    return 0;
}
