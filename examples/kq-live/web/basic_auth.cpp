#include "basic_auth.h"

#include <cstdint>

namespace live {

namespace {

std::string base64(const std::string& in) {
    static const char kDigits[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    for (std::size_t i = 0; i < in.size(); i += 3) {
        uint32_t group = uint32_t(uint8_t(in[i])) << 16;
        if (i + 1 < in.size()) group |= uint32_t(uint8_t(in[i + 1])) << 8;
        if (i + 2 < in.size()) group |= uint8_t(in[i + 2]);
        out += kDigits[(group >> 18) & 63];
        out += kDigits[(group >> 12) & 63];
        out += i + 1 < in.size() ? kDigits[(group >> 6) & 63] : '=';
        out += i + 2 < in.size() ? kDigits[group & 63] : '=';
    }
    return out;
}

}  // namespace

std::string basicAuthorization(const std::string& credentials) {
    return "Basic " + base64(credentials);
}

bool sameSecret(const std::string& given, const std::string& expected) {
    // Every byte of `expected` is compared, against a zero past the end of `given`; the
    // difference in length counts too.
    unsigned difference = given.size() != expected.size();
    for (std::size_t i = 0; i < expected.size(); ++i)
        difference |= uint8_t(expected[i]) ^ (i < given.size() ? uint8_t(given[i]) : 0u);
    return difference == 0;
}

}  // namespace live
