// The router, request by request: what a good request does (the port call it makes, or
// the route it takes) and what each kind of bad request is refused for.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "control_state.h"
#include "fake_camera.h"
#include "router.h"

namespace {

struct Case {
    const char* method;
    const char* target;
    const char* body;
    // A control: the port call made. A refusal: the status and, for 400, the field
    // named. Other routes: what the server does.
    const char* outcome;
};

const Case kCases[] = {
    // Each control reaches the port with its values.
    {"POST", "/api/timestamp/enabled", R"({"channel":1,"enabled":true})", "enableTimestamp 1 1"},
    {"POST", "/api/timestamp/position", R"({"channel":0,"position":6})",
     "setTimestampPosition 0 6"},
    {"POST", "/api/timestamp/format", R"({"channel":1,"format":"%H:%M:%S"})",
     "setTimestampFormat 1 %H:%M:%S"},
    {"POST", "/api/timestamp/colour", R"({"channel":0,"text":[255,255,0],"background":[0,0,9]})",
     "setTimestampColour 0 255 255 0 0 0 9"},
    {"POST", "/api/watermark/enabled", R"({"channel":0,"enabled":false})", "enableWatermark 0 0"},
    {"POST", "/api/watermark/position", R"({"channel":1,"position":0})",
     "setWatermarkPosition 1 0"},
    {"POST", "/api/watermark/opacity", R"({"opacity":100,"channel":0})",
     "setWatermarkOpacity 0 100"},
    {"POST", "/api/privacy", R"({"channel":1,"enabled":true})", "enablePrivacy 1 1"},
    {"POST", "/api/flip", R"({"flip":3})", "setFlip 3"},
    {"POST", "/api/image", R"({"setting":"gamma","value":255})", "setImage 8 255"},
    {"POST", "/api/image", R"({"setting":"ae_bias","value":-128})", "setImage 21 -128"},
    {"POST", "/api/image", R"({"setting":"ae_apply","value":1})", "setImage 25 1"},
    // Other routes.
    {"GET", "/", "", "200 text/html; charset=utf-8"},
    {"GET", "/api/state", "", "state"},
    {"GET", "/snapshot/0", "", "snapshot 0 80"},
    {"GET", "/snapshot/1?quality=1", "", "snapshot 1 1"},
    {"GET", "/mjpeg/1", "", "mjpeg"},
    {"GET", "/events", "", "events"},
    {"GET", "/talkback", "", "talkback 0/0"},
    {"GET", "/talkback?rate=8000&channels=2", "", "talkback 8000/2"},
    // Values out of range, of the wrong kind, too long, unknown or missing.
    {"POST", "/api/timestamp/position", R"({"channel":0,"position":7})", "400 position"},
    {"POST", "/api/timestamp/position", R"({"channel":2,"position":1})", "400 channel"},
    {"POST", "/api/timestamp/position", R"({"channel":0,"position":1.5})", "400 position"},
    {"POST", "/api/timestamp/position", R"({"channel":0,"position":18446744073709551615})",
     "400 position"},
    {"POST", "/api/timestamp/position", R"({"channel":0})", "400 position"},
    {"POST", "/api/timestamp/position", R"({"channel":0,"position":1,"size":9})", "400 size"},
    {"POST", "/api/timestamp/enabled", R"({"channel":0,"enabled":1})", "400 enabled"},
    {"POST", "/api/timestamp/format",
     R"({"channel":0,"format":"12345678901234567890123456789012"})", "400 format"},
    {"POST", "/api/timestamp/format", R"({"channel":0,"format":"%H\n"})", "400 format"},
    {"POST", "/api/timestamp/format", R"({"channel":0,"format":""})", "400 format"},
    {"POST", "/api/timestamp/colour", R"({"channel":0,"text":[256,0,0],"background":[0,0,0]})",
     "400 text"},
    {"POST", "/api/timestamp/colour", R"({"channel":0,"text":[0,0,0],"background":[0,0]})",
     "400 background"},
    {"POST", "/api/watermark/opacity", R"({"channel":0,"opacity":-1})", "400 opacity"},
    {"POST", "/api/flip", R"({"flip":4})", "400 flip"},
    {"POST", "/api/image", R"({"setting":"brightness","value":256})", "400 value"},
    {"POST", "/api/image", R"({"setting":"ae_target","value":65536})", "400 value"},
    {"POST", "/api/image", R"({"setting":"reserved_4","value":0})", "400 setting"},
    {"POST", "/api/image", R"({"setting":"ae_apply","value":0})", "400 value"},
    {"POST", "/api/flip", R"([3])", "400 body"},
    {"POST", "/api/flip", R"({"flip":3)", "400 body"},
    {"POST", "/api/flip?x=1", R"({"flip":3})", "400 query"},
    {"GET", "/snapshot/1?quality=101", "", "400 quality"},
    {"GET", "/snapshot/1?quality=8x", "", "400 quality"},
    {"GET", "/snapshot/1?size=1", "", "400 size"},
    {"GET", "/snapshot/1?quality=5&quality=6", "", "400 quality"},
    {"GET", "/events?x", "", "400 x"},
    {"GET", "/talkback?rate=96000&channels=1", "", "400 rate"},
    {"GET", "/talkback?rate=8000", "", "400 channels"},
    // Routes and methods that do not exist.
    {"GET", "/mjpeg/0", "", "404"},
    {"GET", "/snapshot/2", "", "404"},
    {"POST", "/api/zoom", "{}", "404"},
    {"GET", "/api/flip", "", "405"},
    {"POST", "/events", "", "405"},
};

std::string outcome(const live::Action& action, FakeCamera& camera) {
    live::ControlState state;
    const nlohmann::json reply = nlohmann::json::parse(action.reply.body, nullptr, false);
    switch (action.kind) {
        case live::ActionKind::Reply:
            if (action.reply.status == 400) return "400 " + reply.value("field", std::string("?"));
            if (action.reply.status == 200) return "200 " + action.reply.contentType;
            return std::to_string(action.reply.status);
        case live::ActionKind::Control:
            state.apply(action.control, camera);
            return camera.calls().back();
        case live::ActionKind::State: return "state";
        case live::ActionKind::Snapshot:
            return "snapshot " + std::to_string(action.channel) + " " +
                   std::to_string(action.quality);
        case live::ActionKind::Mjpeg: return "mjpeg";
        case live::ActionKind::Events: return "events";
        case live::ActionKind::Talkback:
            return "talkback " + std::to_string(action.talkback.rate) + "/" +
                   std::to_string(action.talkback.channels);
    }
    return "?";
}

TEST(Router, EachRequestGetsItsOutcome) {
    for (const Case& c : kCases) {
        FakeCamera camera;
        live::Request request{c.method, c.target, {{"upgrade", "websocket"}}, c.body};
        const live::Action action = live::route(request);
        EXPECT_EQ(outcome(action, camera), c.outcome)
            << c.method << " " << c.target << " " << c.body;
        // A refusal says why in its log line, and nothing reached the camera.
        EXPECT_EQ(action.reply.status == 400, !action.logLine.empty()) << c.target;
        EXPECT_EQ(camera.calls().empty(), action.kind != live::ActionKind::Control) << c.target;
    }
}

TEST(Router, TheStateShowsWhatTheCameraTook) {
    FakeCamera camera;
    live::ControlState state;
    const auto post = [&](const char* target, const char* body) {
        return state.apply(live::route({"POST", target, {}, body}).control, camera);
    };
    EXPECT_EQ(post("/api/timestamp/position", R"({"channel":1,"position":4})"), 0);
    EXPECT_EQ(post("/api/image", R"({"setting":"hue","value":7})"), 0);
    camera.code = -1;
    EXPECT_EQ(post("/api/flip", R"({"flip":2})"), -1);
    const auto json = nlohmann::json::parse(state.json());
    EXPECT_EQ(json["channels"][1]["timestamp"]["position"], 4);
    EXPECT_EQ(json["image"]["hue"], 7);
    EXPECT_FALSE(json.contains("flip"));  // refused, so not remembered
}

TEST(Router, PagesOfOtherSitesMayNotSteerTheCamera) {
    const auto status = [](const char* method, const char* target, const char* origin) {
        live::Request request{
            method, target, {{"host", "127.0.0.1:8080"}, {"upgrade", "websocket"}}, "{}"};
        if (origin) request.headers["origin"] = origin;
        return live::route(request).reply.status;
    };
    EXPECT_EQ(status("POST", "/api/flip", "http://evil.example"), 403);
    EXPECT_EQ(status("GET", "/talkback", "http://127.0.0.1:8081"), 403);
    EXPECT_EQ(status("POST", "/api/flip", "http://127.0.0.1:8080"), 400);  // its own page
    EXPECT_EQ(status("POST", "/api/flip", nullptr), 400);                  // not a browser
    EXPECT_EQ(status("GET", "/api/state", "http://evil.example"), 200);    // reads stay its own
}

TEST(Router, TheTalkbackFormatMessageIsChecked) {
    EXPECT_EQ(live::parseTalkbackFormat(R"({"rate":48000,"channels":1})").talkback.rate, 48000);
    for (const char* bad :
         {R"({"rate":48000})", R"({"rate":7999,"channels":1})", R"({"rate":8000,"channels":3})",
          R"({"rate":"8000","channels":1})", "PCM", R"({"rate":1e9,"channels":1})"})
        EXPECT_EQ(live::parseTalkbackFormat(bad).reply.status, 400) << bad;
}

}  // namespace
