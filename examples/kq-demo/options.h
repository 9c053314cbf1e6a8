// kq-demo's command line.
#pragma once

#include <cstdint>
#include <string>

namespace demo {

struct StreamOptions {
    uint32_t width;
    uint32_t height;
    uint32_t fps;
};

struct Options {
    unsigned int seconds = 10;
    std::string outDir = "demo-out";
    StreamOptions ch0{1920, 1080, 25};  // H.264
    StreamOptions ch1{640, 360, 25};    // MJPEG
    uint32_t bitrate = 2 * 1024 * 1024;
    uint32_t gop = 50;
    unsigned int snapshotEvery = 2;  // seconds
    unsigned int logLevel = 3;
    // BMP files of channel 0's watermark and channel 1's privacy icon; the samples the
    // build makes unless given.
    std::string logo = KQ_DEMO_SAMPLES "/logo.bmp";
    std::string icon = KQ_DEMO_SAMPLES "/icon.bmp";
    // The sink's device (empty: playback.wav in the output folder) and what it plays
    // (empty: a tone).
    std::string speaker;
    std::string play;
    // The capture device: a generator's tone unless given (alsa:default records the
    // PC's microphone, a .wav path plays that file in a loop).
    std::string mic = "mic";
    // The host's camera source: pattern, file:PATH or v4l2:DEVICE (empty: the
    // environment's choice, KQ_HOST_CAMERA, or the pattern).
    std::string camera;
};

enum class Parsed { Run, Help, Error };

Parsed parseOptions(int argc, char** argv, Options* options);
void printUsage();

}  // namespace demo
