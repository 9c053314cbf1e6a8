// HTTP Basic authentication: the Authorization header the configured credentials give,
// compared with the one a request brings in time that does not depend on where they
// differ.
#pragma once

#include <string>

namespace live {

// "Basic " and the Base64 of "NAME:PASSWORD".
std::string basicAuthorization(const std::string& credentials);

// Whether `given` equals `expected`, looking at every byte of `expected` whatever
// `given` holds.
bool sameSecret(const std::string& given, const std::string& expected);

}  // namespace live
