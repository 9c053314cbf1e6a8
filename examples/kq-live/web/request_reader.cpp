#include "request_reader.h"

#include <cctype>

namespace live {

namespace http = boost::beast::http;

void applyLimits(RequestParser& parser, const RequestLimits& limits) {
    parser.header_limit(uint32_t(limits.headerBytes));
    parser.body_limit(limits.bodyBytes);
}

Request toRequest(const http::request<http::string_body>& message) {
    Request request;
    request.method = std::string(message.method_string());
    request.target = std::string(message.target());
    for (const auto& field : message) {
        std::string name(field.name_string());
        for (char& c : name) c = char(std::tolower(static_cast<unsigned char>(c)));
        request.headers[name] = std::string(field.value());
    }
    request.body = message.body();
    return request;
}

Action refusedRequest(const boost::beast::error_code& error, const RequestParser& parser,
                      const RequestLimits& limits) {
    if (error == http::error::header_limit || error == http::error::buffer_overflow)
        return badRequest("too large", "header", "", std::to_string(limits.headerBytes) + " bytes");
    if (error == http::error::body_limit) {
        const auto length = parser.content_length();
        return badRequest("too large", "body",
                          length ? std::to_string(*length) + " bytes" : "chunked",
                          std::to_string(limits.bodyBytes) + " bytes");
    }
    return badRequest("malformed", "request", error.message(), "HTTP/1.1");
}

}  // namespace live
