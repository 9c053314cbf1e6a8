// Digest authentication of the RTSP server, with every failed attempt logged: a request
// that carried credentials the server refused names the client's address and user.
#pragma once

#include <gst/rtsp-server/rtsp-server.h>

#include <string>

namespace live {

// The role the credentials give, which each factory lets access and construct media.
constexpr const char* kViewerRole = "viewer";

// A new authenticator (the caller owns its reference) accepting only `user` with
// `password` by digest.
GstRTSPAuth* newDigestAuth(const std::string& user, const std::string& password);

// Lets the viewer role reach `factory`'s media.
void allowViewers(GstRTSPMediaFactory* factory);

}  // namespace live
