// kq-live's command line. Every value is checked here, before anything starts.
#pragma once

#include <cstdint>
#include <string>

#include "option_values.h"

namespace live {

struct Options {
    unsigned int seconds = 0;  // 0: until SIGINT or SIGTERM
    std::string listen = "127.0.0.1";
    std::string user, password;  // none: no authentication, on loopback only
    uint16_t rtspPort = 8554;    // 0: any free port, printed
    uint16_t httpPort = 8080;
    std::string outDir = "live-out";
    std::string speaker;  // the talkback sink's device; empty: talkback.wav in outDir
    std::string mic = "mic";
    bool syncMarks = false;
    // The host's camera source: pattern, file:PATH or v4l2:DEVICE (empty: the
    // environment's choice, KQ_HOST_CAMERA, or the pattern).
    std::string camera;
    unsigned int maxViewers = 8;
    examples::VideoSize ch0{1920, 1080, 25};  // H.264
    examples::VideoSize ch1{640, 360, 25};    // MJPEG
    uint32_t bitrate = 2 * 1024 * 1024;
    // One key frame a second: a viewer joins at the next one.
    uint32_t gop = 25;
    // Prints the delay from frame callback to the RTSP server's output at the end.
    bool delayStats = false;

    bool authenticated() const { return !user.empty(); }
};

enum class Parsed { Run, Help, Error };

// Parses and checks; says on stderr what was wrong.
Parsed parseOptions(int argc, char** argv, Options* options);
void printUsage();

// Whether `address` (a numeric IPv4 or IPv6 address) is a loopback address.
bool isLoopback(const std::string& address);

}  // namespace live
