#include "router.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>

#include "control_schema.h"

namespace live {

// The page's bytes, embedded at build time (page_html.cpp is generated).
extern const char kPageHtml[];
extern const std::size_t kPageHtmlSize;

namespace {

using nlohmann::json;
using Query = std::map<std::string, std::string>;

std::string clipped(const std::string& text) {
    return text.size() > 40 ? text.substr(0, 37) + "..." : text;
}

Action reply(Response response) {
    Action action;
    action.reply = std::move(response);
    return action;
}

Action notFound(const std::string& path) {
    return reply(jsonResponse(404, json{{"error", "not found"}, {"path", clipped(path)}}.dump(
                                       -1, ' ', true, json::error_handler_t::replace)));
}

Action methodNotAllowed(const std::string& allowed) {
    Response response =
        jsonResponse(405, json{{"error", "method not allowed"}, {"allowed", allowed}}.dump());
    response.headers.emplace_back("Allow", allowed);
    return reply(std::move(response));
}

// "a=1&b=2" into names and values, refusing names other than `allowed` and repeats.
std::optional<Action> parseQuery(const std::string& query, const std::vector<std::string>& allowed,
                                 Query* out) {
    std::string names;
    for (const std::string& name : allowed) names += (names.empty() ? "" : ", ") + name;
    if (names.empty()) names = "none";
    std::size_t start = 0;
    while (start < query.size()) {
        const std::size_t end = std::min(query.find('&', start), query.size());
        const std::string pair = query.substr(start, end - start);
        const std::size_t eq = pair.find('=');
        const std::string name = pair.substr(0, eq);
        const std::string value = eq == std::string::npos ? "" : pair.substr(eq + 1);
        const bool known = std::find(allowed.begin(), allowed.end(), name) != allowed.end();
        if (!known) return badRequest("unknown parameter", clipped(name), clipped(value), names);
        if (!out->emplace(name, value).second)
            return badRequest("repeated parameter", name, clipped(value), "once");
        start = end + 1;
    }
    return std::nullopt;
}

// A query integer in [min, max]: digits only, with an optional leading minus.
std::optional<Action> queryInteger(const Query& query, const std::string& name, int min, int max,
                                   int* out) {
    const auto it = query.find(name);
    if (it == query.end()) return std::nullopt;
    const std::string& text = it->second;
    const std::string limit = std::to_string(min) + ".." + std::to_string(max);
    const bool digits = !text.empty() && text.size() <= 9 &&
                        text.find_first_not_of("0123456789") == std::string::npos;
    if (!digits) return badRequest("expected an integer", name, clipped(text), limit);
    const int value = std::stoi(text);
    if (value < min || value > max) return badRequest("out of range", name, text, limit);
    *out = value;
    return std::nullopt;
}

Action snapshot(int channel, const std::string& query) {
    Query params;
    Action action;
    action.kind = ActionKind::Snapshot;
    action.channel = channel;
    action.quality = kDefaultSnapshotQuality;
    if (auto error = parseQuery(query, {"quality"}, &params)) return *error;
    if (auto error = queryInteger(params, "quality", 1, 100, &action.quality)) return *error;
    return action;
}

std::optional<Action> checkFormat(const TalkbackFormat& format) {
    if (format.rate < 8000 || format.rate > 48000)
        return badRequest("out of range", "rate", std::to_string(format.rate), "8000..48000");
    if (format.channels < 1 || format.channels > 2)
        return badRequest("out of range", "channels", std::to_string(format.channels), "1..2");
    return std::nullopt;
}

Action talkback(const Request& request, const std::string& query) {
    const auto upgrade = request.headers.find("upgrade");
    if (upgrade == request.headers.end() || upgrade->second.find("websocket") == std::string::npos)
        return badRequest("expected a WebSocket upgrade", "upgrade",
                          upgrade == request.headers.end() ? "" : clipped(upgrade->second),
                          "websocket");
    Query params;
    Action action;
    action.kind = ActionKind::Talkback;
    if (auto error = parseQuery(query, {"rate", "channels"}, &params)) return *error;
    if (params.empty()) return action;  // the first message gives the format
    if (params.size() != 2)
        return badRequest("missing parameter", params.count("rate") ? "channels" : "rate", "",
                          "rate and channels together");
    if (auto error = queryInteger(params, "rate", 8000, 48000, &action.talkback.rate))
        return *error;
    if (auto error = queryInteger(params, "channels", 1, 2, &action.talkback.channels))
        return *error;
    return action;
}

Action get(const std::string& path, const std::string& query, const Request& request) {
    Query none;
    if (path == "/talkback") return talkback(request, query);
    if (path == "/snapshot/0" || path == "/snapshot/1") return snapshot(path.back() - '0', query);
    if (auto error = parseQuery(query, {}, &none)) return *error;
    Action action;
    if (path == "/") {
        action.reply.contentType = "text/html; charset=utf-8";
        action.reply.body = pageHtml();
    } else if (path == "/api/state") {
        action.kind = ActionKind::State;
    } else if (path == "/mjpeg/1") {
        action.kind = ActionKind::Mjpeg;
    } else if (path == "/events") {
        action.kind = ActionKind::Events;
    } else {
        return notFound(path);
    }
    return action;
}

// A browser names the page that sends a request in Origin: a page of another site may
// not change the camera's settings or talk through its speaker (such requests need no
// consent of the user: a plain form or WebSocket sends them).
bool crossOrigin(const Request& request) {
    const auto origin = request.headers.find("origin");
    if (origin == request.headers.end()) return false;
    const auto host = request.headers.find("host");
    const std::size_t scheme = origin->second.find("://");
    const std::string site = scheme == std::string::npos ? "" : origin->second.substr(scheme + 3);
    return host == request.headers.end() || site != host->second;
}

}  // namespace

Response jsonResponse(int status, const std::string& body) {
    Response response;
    response.status = status;
    response.body = body;
    return response;
}

Action badRequest(const std::string& what, const std::string& field, const std::string& value,
                  const std::string& limit) {
    const json error = {{"error", what}, {"field", field}, {"value", value}, {"limit", limit}};
    Action action =
        reply(jsonResponse(400, error.dump(-1, ' ', true, json::error_handler_t::replace)));
    action.logLine = what + ": " + field + " = " + value + " (accepted: " + limit + ")";
    return action;
}

Action route(const Request& request) {
    if (request.target.size() > kMaxTargetLength)
        return badRequest("too long", "target", clipped(request.target),
                          std::to_string(kMaxTargetLength) + " characters");
    const std::size_t mark = request.target.find('?');
    const std::string path = request.target.substr(0, mark);
    const std::string query = mark == std::string::npos ? "" : request.target.substr(mark + 1);
    const bool isControl = path.rfind("/api/", 0) == 0 && path != "/api/state";
    if ((isControl || path == "/talkback") && crossOrigin(request)) {
        Action refused = reply(jsonResponse(403, R"({"error":"cross-origin request refused"})"));
        refused.logLine = "refused: a page of " + clipped(request.headers.at("origin")) +
                          " may not steer the camera";
        return refused;
    }
    if (isControl) {
        if (request.method != "POST") return methodNotAllowed("POST");
        if (!query.empty()) return badRequest("unknown parameter", "query", clipped(query), "none");
        return parseControl(path.substr(5), request.body);
    }
    if (request.method != "GET") return methodNotAllowed("GET");
    return get(path, query, request);
}

Action parseTalkbackFormat(const std::string& text) {
    const json message = json::parse(text, nullptr, false);
    const bool fits = message.is_object() && message.size() == 2 && message.contains("rate") &&
                      message.contains("channels") && message["rate"].is_number_integer() &&
                      message["channels"].is_number_integer();
    if (!fits)
        return badRequest("expected {\"rate\": N, \"channels\": N}", "message", clipped(text),
                          "rate 8000..48000, channels 1..2");
    Action action;
    action.kind = ActionKind::Talkback;
    const auto narrow = [](const json& v) {
        return int(std::clamp<int64_t>(v.get<int64_t>(), -1, 1 << 20));
    };
    action.talkback = {narrow(message["rate"]), narrow(message["channels"])};
    if (auto error = checkFormat(action.talkback)) return *error;
    return action;
}

const std::string& pageHtml() {
    static const std::string page(kPageHtml, kPageHtmlSize);
    return page;
}

}  // namespace live
