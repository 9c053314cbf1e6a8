#include "options.h"

#include <arpa/inet.h>

#include <cstdio>
#include <cstring>

namespace live {
namespace {

// The library passes at most 63 characters of a device name.
constexpr std::size_t kMaxDeviceName = 63;

bool fail(const char* flag, const char* value, const char* expected) {
    std::fprintf(stderr, "kq-live: bad %s \"%s\": expected %s\n", flag, value, expected);
    return false;
}

bool parsePort(const char* flag, const char* text, uint16_t* port) {
    uint32_t value = 0;
    if (!examples::parseUnsigned(text, 0, 65535, &value))
        return fail(flag, text, "a port of 0 to 65535 (0: any free port)");
    *port = static_cast<uint16_t>(value);
    return true;
}

bool parseAddress(const char* text, std::string* address) {
    in6_addr any{};
    if (inet_pton(AF_INET, text, &any) != 1 && inet_pton(AF_INET6, text, &any) != 1)
        return fail("--listen", text, "a numeric IPv4 or IPv6 address");
    *address = text;
    return true;
}

bool printable(const std::string& text) {
    for (char c : text)
        if (static_cast<unsigned char>(c) < 0x21 || c == 0x7f) return false;
    return true;
}

bool parseUser(const char* text, Options* options) {
    const char* colon = std::strchr(text, ':');
    std::string user = colon ? std::string(text, colon) : std::string();
    std::string password = colon ? std::string(colon + 1) : std::string();
    if (user.empty() || password.empty() || user.size() > 64 || password.size() > 128 ||
        !printable(user) || !printable(password) || user.find('"') != std::string::npos)
        return fail("--user", text,
                    "NAME:PASSWORD, a name of 1-64 and a password of 1-128 printable characters "
                    "without spaces, no colon or quote in the name");
    options->user = user;
    options->password = password;
    return true;
}

bool parseDevice(const char* flag, const char* text, std::string* device) {
    if (!*text || std::strlen(text) > kMaxDeviceName)
        return fail(flag, text, "a device name of 1 to 63 characters");
    *device = text;
    return true;
}

// Channel 0 within the host's H.264 sizes; channel 1 also within what RTP carries of a
// JPEG picture: whole blocks of 8 pixels, at most 2040 a side.
bool parseChannel(const char* flag, const char* text, bool rtpJpeg, examples::VideoSize* size) {
    examples::VideoSize parsed{};
    bool ok = examples::parseVideoSize(text, &parsed) && parsed.width >= 16 &&
              parsed.height >= 16 && parsed.width % 2 == 0 && parsed.height % 2 == 0 &&
              parsed.width <= 4096 && parsed.height <= 4096 && parsed.fps <= 120;
    if (rtpJpeg)
        ok = ok && parsed.width % 8 == 0 && parsed.height % 8 == 0 && parsed.width <= 2040 &&
             parsed.height <= 2040;
    if (!ok)
        return fail(flag, text,
                    rtpJpeg ? "WIDTHxHEIGHT@FPS, multiples of 8 from 16 to 2040, 1-120 fps"
                            : "WIDTHxHEIGHT@FPS, even sizes from 16 to 4096, 1-120 fps");
    *size = parsed;
    return true;
}

bool parseNumber(const char* flag, const char* text, uint32_t min, uint32_t max, uint32_t* value) {
    if (examples::parseUnsigned(text, min, max, value)) return true;
    char expected[64];
    std::snprintf(expected, sizeof expected, "a whole number from %u to %u", min, max);
    return fail(flag, text, expected);
}

bool parseValue(const std::string& flag, const char* value, Options* options) {
    const char* f = flag.c_str();
    if (flag == "--seconds") return parseNumber(f, value, 0, 86400 * 365, &options->seconds);
    if (flag == "--listen") return parseAddress(value, &options->listen);
    if (flag == "--user") return parseUser(value, options);
    if (flag == "--rtsp-port") return parsePort(f, value, &options->rtspPort);
    if (flag == "--http-port") return parsePort(f, value, &options->httpPort);
    if (flag == "--out")
        return *value ? (options->outDir = value, true) : fail(f, value, "a folder");
    if (flag == "--speaker") return parseDevice(f, value, &options->speaker);
    if (flag == "--mic") return parseDevice(f, value, &options->mic);
    if (flag == "--camera")
        return *value ? (options->camera = value, true)
                      : fail(f, value, "pattern, file:PATH or v4l2:DEVICE");
    if (flag == "--max-viewers") return parseNumber(f, value, 1, 64, &options->maxViewers);
    if (flag == "--ch0") return parseChannel(f, value, false, &options->ch0);
    if (flag == "--ch1") return parseChannel(f, value, true, &options->ch1);
    if (flag == "--bitrate") return parseNumber(f, value, 1, 100000000, &options->bitrate);
    if (flag == "--gop") return parseNumber(f, value, 1, 1000, &options->gop);
    std::fprintf(stderr, "kq-live: unknown option %s (--help lists them)\n", f);
    return false;
}

// Off loopback, every viewer must give the credentials.
bool checkSafety(const Options& options) {
    if (isLoopback(options.listen) || options.authenticated()) return true;
    std::fprintf(stderr,
                 "kq-live: refusing to listen on %s without --user NAME:PASSWORD: off the "
                 "loopback address anyone on the network could watch and steer the camera\n",
                 options.listen.c_str());
    return false;
}

}  // namespace

bool isLoopback(const std::string& address) {
    in_addr v4{};
    if (inet_pton(AF_INET, address.c_str(), &v4) == 1) return (ntohl(v4.s_addr) >> 24) == 127;
    in6_addr v6{};
    return inet_pton(AF_INET6, address.c_str(), &v6) == 1 && IN6_IS_ADDR_LOOPBACK(&v6);
}

void printUsage() {
    std::printf(
        "usage: kq-live [--seconds N] [--listen ADDR] [--user NAME:PASSWORD]\n"
        "               [--rtsp-port PORT] [--http-port PORT] [--max-viewers N]\n"
        "               [--speaker NAME] [--mic NAME] [--out DIR] [--sync-marks]\n"
        "               [--ch0 WxH@FPS] [--ch1 WxH@FPS] [--bitrate BPS] [--gop N]\n"
        "               [--camera SOURCE]\n"
        "  --seconds      how long to run; 0 (the default) until Ctrl-C or SIGTERM\n"
        "  --listen       the address to serve on (default 127.0.0.1); any other than a\n"
        "                 loopback address needs --user\n"
        "  --user         credentials every viewer must give (RTSP digest, HTTP basic)\n"
        "  --rtsp-port    RTSP port (default 8554; 0 picks a free one)\n"
        "  --http-port    web page port (default 8080; 0 picks a free one)\n"
        "  --max-viewers  RTSP sessions served at once (default 8, at most 64)\n"
        "  --speaker      where talkback plays: a .wav path, alsa:NAME (alsa:default to\n"
        "                 hear it) or any other name for memory (default: talkback.wav\n"
        "                 in the output folder)\n"
        "  --mic          the capture device: alsa:NAME, a .wav path played in a loop, or\n"
        "                 any other name for the host's tone (default: mic)\n"
        "  --out          folder for the files written (default live-out)\n"
        "  --sync-marks   a white picture and a beep at each whole second of the clock\n"
        "  --ch0          channel 0, H.264 (default 1920x1080@25)\n"
        "  --ch1          channel 1, MJPEG (default 640x360@25)\n"
        "  --bitrate      H.264 bitrate in bits per second (default 2097152)\n"
        "  --gop          H.264 key-frame interval in frames (default 25: a viewer\n"
        "                 joins within a second)\n"
        "  --camera       what the camera sees: pattern, file:PATH (a video played in a\n"
        "                 loop, or a still image) or v4l2:/dev/videoN (a webcam)\n"
        "                 (default: $KQ_HOST_CAMERA, else the test pattern)\n");
}

Parsed parseOptions(int argc, char** argv, Options* options) {
    for (int i = 1; i < argc; ++i) {
        const std::string flag = argv[i];
        if (flag == "--help" || flag == "-h") return Parsed::Help;
        if (flag == "--sync-marks" || flag == "--delay-stats") {
            (flag == "--sync-marks" ? options->syncMarks : options->delayStats) = true;
            continue;
        }
        if (i + 1 >= argc) {
            std::fprintf(stderr, "kq-live: %s needs a value (--help lists them)\n", flag.c_str());
            return Parsed::Error;
        }
        if (!parseValue(flag, argv[++i], options)) return Parsed::Error;
    }
    return checkSafety(*options) ? Parsed::Run : Parsed::Error;
}

}  // namespace live
