// The web layer's routes: from a parsed request to what the server does with it. A pure
// function: every value is checked here, before anything reaches the camera, and a bad
// request becomes a 400 with a JSON error naming the field, its value and the limit.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "camera_port.h"

namespace live {

struct Request {
    std::string method;
    std::string target;                          // path and query
    std::map<std::string, std::string> headers;  // names in lower case
    std::string body;
};

struct Response {
    int status = 200;
    std::string contentType = "application/json";
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers;  // besides the content type
};

// The controls of the public interface behind POST /api/...
enum class Control {
    TimestampEnabled,
    TimestampPosition,
    TimestampFormat,
    TimestampColour,
    WatermarkEnabled,
    WatermarkPosition,
    WatermarkOpacity,
    Privacy,
    Flip,
    Image
};

// A checked control call: which one and its values.
struct ControlCall {
    Control control = Control::Flip;
    int channel = 0;
    int value = 0;      // on/off, position, opacity, flip, or the image setting's value
    int imageType = 0;  // kq_isp_type of an image setting
    std::string name;   // the image setting's name; the timestamp's format
    TimestampColour colour{};
};

struct TalkbackFormat {
    int rate = 0;  // 0: not given yet (the first WebSocket message gives it)
    int channels = 0;
};

enum class ActionKind { Reply, State, Control, Snapshot, Mjpeg, Events, Talkback };

struct Action {
    ActionKind kind = ActionKind::Reply;
    Response reply;  // Reply: the whole answer (the page, errors)
    ControlCall control;
    int channel = 0;  // Snapshot
    int quality = 80;
    TalkbackFormat talkback;
    std::string logLine;  // set for refused requests (400, 403): what was wrong
};

// Limits of what the router accepts.
constexpr std::size_t kMaxTargetLength = 256;
constexpr std::size_t kMaxFormatLength = 31;  // the library keeps 31 characters
constexpr int kDefaultSnapshotQuality = 80;

Action route(const Request& request);

// The first talkback message, {"rate": 8000-48000, "channels": 1-2}: the format, or a
// Reply action carrying the error.
Action parseTalkbackFormat(const std::string& json);

// A JSON error answer: {"error", "field", "value", "limit"}, and its log line.
Action badRequest(const std::string& what, const std::string& field, const std::string& value,
                  const std::string& limit);
Response jsonResponse(int status, const std::string& json);

// The page served at "/".
const std::string& pageHtml();

}  // namespace live
