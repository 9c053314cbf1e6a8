// Between Beast's HTTP parser and the router: the parser's limits, the request in the
// router's plain form, and the 400 for what the parser refused.
#pragma once

#include <boost/beast/http/error.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>

#include "router.h"

namespace live {

using RequestParser = boost::beast::http::request_parser<boost::beast::http::string_body>;

struct RequestLimits {
    std::size_t headerBytes;
    std::size_t bodyBytes;
};

void applyLimits(RequestParser& parser, const RequestLimits& limits);
Request toRequest(const boost::beast::http::request<boost::beast::http::string_body>& message);
// The 400 for a request the parser refused with `error`, naming the limit it broke.
Action refusedRequest(const boost::beast::error_code& error, const RequestParser& parser,
                      const RequestLimits& limits);

}  // namespace live
