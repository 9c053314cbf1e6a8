// kq-demo: a small camera application on libkq_api, run on the host platform.
//
// It starts the library, opens channel 0 as H.264 and channel 1 as MJPEG, starts both,
// changes a few image settings, closes everything and prints the library's log.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "host_control.h"
#include "kq_api.h"

namespace {

struct StreamOptions {
    uint32_t width;
    uint32_t height;
    uint32_t fps;
};

struct Options {
    StreamOptions ch0{1920, 1080, 25};
    StreamOptions ch1{640, 360, 25};
    uint32_t bitrate = 2 * 1024 * 1024;
    uint32_t gop = 50;
    unsigned int logLevel = 2;
};

void printUsage() {
    std::printf(
        "usage: kq-demo [--ch0 WxH@FPS] [--ch1 WxH@FPS] [--bitrate BPS] [--gop N]\n"
        "               [--log-level 1-4]\n"
        "  --ch0        channel 0, H.264 (default 1920x1080@25)\n"
        "  --ch1        channel 1, MJPEG (default 640x360@25)\n"
        "  --bitrate    H.264 bitrate in bits per second (default 2097152)\n"
        "  --gop        H.264 key-frame interval in frames (default 50)\n"
        "  --log-level  lowest log level printed: 1 debug ... 4 error (default 2)\n");
}

bool parseStream(const char* text, StreamOptions* stream) {
    unsigned int w = 0, h = 0, fps = 0;
    char end = 0;
    if (std::sscanf(text, "%ux%u@%u%c", &w, &h, &fps, &end) != 3 || !w || !h || !fps)
        return false;
    *stream = {w, h, fps};
    return true;
}

bool parseNumber(const char* text, uint32_t* value) {
    char* end = nullptr;
    unsigned long v = std::strtoul(text, &end, 10);
    if (!*text || *end || v > UINT32_MAX) return false;
    *value = static_cast<uint32_t>(v);
    return true;
}

enum class Parsed { Run, Help, Error };

Parsed parseOptions(int argc, char** argv, Options* options) {
    for (int i = 1; i < argc; ++i) {
        const std::string flag = argv[i];
        if (flag == "--help" || flag == "-h") return Parsed::Help;
        if (i + 1 >= argc) {
            std::fprintf(stderr, "kq-demo: %s needs a value\n", flag.c_str());
            return Parsed::Error;
        }
        const char* value = argv[++i];
        uint32_t number = 0;
        bool ok = true;
        if (flag == "--ch0")
            ok = parseStream(value, &options->ch0);
        else if (flag == "--ch1")
            ok = parseStream(value, &options->ch1);
        else if (flag == "--bitrate")
            ok = parseNumber(value, &options->bitrate);
        else if (flag == "--gop")
            ok = parseNumber(value, &options->gop);
        else if (flag == "--log-level" && (ok = parseNumber(value, &number)))
            options->logLevel = number;
        else
            ok = false;
        if (!ok) {
            std::fprintf(stderr, "kq-demo: bad argument %s %s\n", flag.c_str(), value);
            return Parsed::Error;
        }
    }
    return Parsed::Run;
}

int onFrame(const uint8_t*, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, void*) { return 0; }

// Opens and starts one channel; true on success.
bool startChannel(int channel, uint32_t encType, const StreamOptions& stream,
                  const Options& options) {
    const kq_encoder_param param = {encType,          stream.width, stream.height,
                                    stream.fps,       options.bitrate, options.gop};
    int r = kq_open_encoder(channel, &param, onFrame, nullptr);
    std::printf("kq_open_encoder(%d, %s %ux%u@%u) = %d\n", channel,
                encType == KQ_ENC_H264 ? "H.264" : "MJPEG", stream.width, stream.height,
                stream.fps, r);
    if (r != KQ_OK) return false;
    r = kq_start_encoder(channel);
    std::printf("kq_start_encoder(%d) = %d\n", channel, r);
    return r == KQ_OK;
}

void changeImageSettings() {
    struct Setting {
        uint32_t type;
        int value;
        const char* name;
    };
    const Setting settings[] = {{KQ_ISP_BRIGHTNESS, 150, "brightness"},
                                {KQ_ISP_CONTRAST, 140, "contrast"},
                                {KQ_ISP_SATURATION, 100, "saturation"},
                                {KQ_ISP_AE_2, 400, "auto-exposure target"},
                                {KQ_ISP_AE_APPLY, 1, "apply auto exposure"}};
    for (const Setting& s : settings)
        std::printf("kq_isp_set(%s = %d) = %d\n", s.name, s.value, kq_isp_set(s.type, s.value));
    kq_set_image_flip(1);
    std::printf("kq_set_image_flip(1)\n");
    rts_show_isp_saved_setting();
}

void printLog(unsigned int lowestLevel) {
    std::printf("\nlibrary log (level %u and above):\n", lowestLevel);
    for (const hostctl::LogRecord& record : hostctl::logRecords(hostctl::LogRecord::Path::Shown))
        if (record.level >= lowestLevel) std::printf("  %s\n", record.readable().c_str());
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    const Parsed parsed = parseOptions(argc, argv, &options);
    if (parsed != Parsed::Run) {
        printUsage();
        return parsed == Parsed::Help ? 0 : 2;
    }

    int status = 0;
    int r = kq_init_kq();
    std::printf("kq_init_kq() = %d\n", r);
    if (r == KQ_OK) {
        bool ok = startChannel(0, KQ_ENC_H264, options.ch0, options) &&
                  startChannel(1, KQ_ENC_MJPEG, options.ch1, options);
        if (!ok) status = 1;
        changeImageSettings();
        kq_close_encoder(0);
        kq_close_encoder(1);
        kq_uninit();
        std::printf("platform channels left: %d\n", hostctl::liveChannelCount());
    } else {
        status = 1;
    }
    printLog(options.logLevel);
    return status;
}
