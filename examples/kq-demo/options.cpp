#include "options.h"

#include <cstdio>

#include "option_values.h"

namespace demo {
namespace {

bool parseStream(const char* text, StreamOptions* stream) {
    examples::VideoSize size{};
    if (!examples::parseVideoSize(text, &size)) return false;
    *stream = {size.width, size.height, size.fps};
    return true;
}

bool parseNumber(const char* text, uint32_t* value) {
    return examples::parseUnsigned(text, 0, UINT32_MAX, value);
}

bool parseNumber(const char* text, unsigned int min, unsigned int max, unsigned int* value) {
    return examples::parseUnsigned(text, min, max, value);
}

bool parseValue(const std::string& flag, const char* value, Options* options) {
    if (flag == "--seconds") return parseNumber(value, 1, 86400, &options->seconds);
    if (flag == "--out") return *value && (options->outDir = value, true);
    if (flag == "--ch0") return parseStream(value, &options->ch0);
    if (flag == "--ch1") return parseStream(value, &options->ch1);
    if (flag == "--bitrate") return parseNumber(value, &options->bitrate);
    if (flag == "--gop") return parseNumber(value, &options->gop);
    if (flag == "--snapshot-every") return parseNumber(value, 1, 3600, &options->snapshotEvery);
    if (flag == "--log-level") return parseNumber(value, 1, 4, &options->logLevel);
    if (flag == "--logo") return *value && (options->logo = value, true);
    if (flag == "--icon") return *value && (options->icon = value, true);
    if (flag == "--speaker") return *value && (options->speaker = value, true);
    if (flag == "--play") return *value && (options->play = value, true);
    if (flag == "--mic") return *value && (options->mic = value, true);
    if (flag == "--camera") return *value && (options->camera = value, true);
    return false;
}

}  // namespace

void printUsage() {
    std::printf(
        "usage: kq-demo [--seconds N] [--out DIR] [--ch0 WxH@FPS] [--ch1 WxH@FPS]\n"
        "               [--bitrate BPS] [--gop N] [--snapshot-every S] [--log-level 1-4]\n"
        "               [--logo FILE] [--icon FILE] [--speaker NAME] [--play FILE]\n"
        "               [--mic NAME] [--camera SOURCE]\n"
        "  --seconds         how long to run (default 10)\n"
        "  --out             folder for the files written (default demo-out)\n"
        "  --ch0             channel 0, H.264 (default 1920x1080@25)\n"
        "  --ch1             channel 1, MJPEG (default 640x360@25)\n"
        "  --bitrate         H.264 bitrate in bits per second (default 2097152)\n"
        "  --gop             H.264 key-frame interval in frames (default 50)\n"
        "  --snapshot-every  seconds between snapshots of each channel (default 2)\n"
        "  --log-level       lowest log level printed: 1 debug ... 4 error (default 3)\n"
        "  --logo            channel 0's watermark, a 24- or 32-bit BMP (default: the\n"
        "                    build's sample logo)\n"
        "  --icon            channel 1's privacy icon, a 24- or 32-bit BMP (default: the\n"
        "                    build's sample icon)\n"
        "  --speaker         where the sound plays: a .wav path, alsa:NAME (alsa:default\n"
        "                    to hear it), or any other name for memory (default:\n"
        "                    playback.wav in the output folder)\n"
        "  --play            a WAV file to play in a loop (default: a 440 Hz tone)\n"
        "  --mic             the capture device: alsa:NAME (alsa:default records the\n"
        "                    microphone), a .wav path played in a loop, or any other\n"
        "                    name for the host's tone generator (default: mic)\n"
        "  --camera          what the camera sees: pattern, file:PATH (a video played in\n"
        "                    a loop, or a still image) or v4l2:/dev/videoN (a webcam)\n"
        "                    (default: $KQ_HOST_CAMERA, else the test pattern)\n");
}

Parsed parseOptions(int argc, char** argv, Options* options) {
    for (int i = 1; i < argc; ++i) {
        const std::string flag = argv[i];
        if (flag == "--help" || flag == "-h") return Parsed::Help;
        if (i + 1 >= argc) {
            std::fprintf(stderr, "kq-demo: %s needs a value\n", flag.c_str());
            return Parsed::Error;
        }
        const char* value = argv[++i];
        if (!parseValue(flag, value, options)) {
            std::fprintf(stderr, "kq-demo: bad argument %s %s\n", flag.c_str(), value);
            return Parsed::Error;
        }
    }
    return Parsed::Run;
}

}  // namespace demo
