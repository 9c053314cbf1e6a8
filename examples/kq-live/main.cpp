// kq-live: the live view of a camera application on libkq_api, run on the host
// platform. It streams channel 0 as H.264 with the captured AAC and channel 1 as MJPEG,
// with the timestamp on both, the watermark on channel 0 and channel 1's privacy icon
// ready, and serves them over RTSP and a web page (channel 1 live, snapshots, the
// controls, the log and talkback into a playback sink) until stopped (SIGINT, SIGTERM)
// or for --seconds.
#include <sys/stat.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>

#include "camera.h"
#include "capture_time.h"
#include "delay_probe.h"
#include "frame_hub.h"
#include "host_platform.h"
#include "http_server.h"
#include "live_log.h"
#include "options.h"
#include "rtsp_server.h"
#include "web_camera.h"

namespace {

using live::Options;

bool makeFolder(const std::string& path) {
    if (mkdir(path.c_str(), 0755) == 0 || errno == EEXIST) return true;
    std::perror(path.c_str());
    return false;
}

// SIGINT and SIGTERM are taken by waitForStop() alone: blocked in every thread, which
// inherit the mask of this one.
sigset_t blockStopSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

// Until a stop signal, or `seconds` when not 0.
void waitForStop(const sigset_t& signals, unsigned int seconds) {
    const int64_t end = live::monotonicNs() + int64_t{seconds} * 1000000000;
    for (;;) {
        timespec wait{1, 0};
        int signal = sigtimedwait(&signals, nullptr, &wait);
        if (signal > 0) {
            live::logLine(live::LogLevel::Info, "%s: stopping", strsignal(signal));
            return;
        }
        if (seconds && live::monotonicNs() >= end) return;
    }
}

live::RtspSettings rtspSettings(const Options& options, int64_t baseNs) {
    live::RtspSettings settings;
    settings.address = options.listen;
    settings.port = options.rtspPort;
    settings.user = options.user;
    settings.password = options.password;
    settings.maxViewers = options.maxViewers;
    settings.ch0 = options.ch0;
    settings.ch1 = options.ch1;
    settings.audioRate = live::AudioCapture::kFormat.sampleRate;
    settings.audioChannels = live::AudioCapture::kFormat.channels;
    settings.baseNs = baseNs;
    settings.delayStats = options.delayStats;
    return settings;
}

live::ServerOptions webOptions(const Options& options) {
    live::ServerOptions web;
    web.address = options.listen;
    web.port = options.httpPort;
    if (options.authenticated()) web.credentials = options.user + ":" + options.password;
    web.maxConnections = 2 * options.maxViewers;
    // What Camera::start() set, for the page's controls to show.
    const auto set = [](live::Control control, int channel, int value) {
        live::ControlCall call;
        call.control = control;
        call.channel = channel;
        call.value = value;
        return call;
    };
    web.setUp = {set(live::Control::TimestampEnabled, 0, 1),
                 set(live::Control::TimestampEnabled, 1, 1),
                 set(live::Control::WatermarkEnabled, 0, 1),
                 set(live::Control::WatermarkPosition, 0, live::Camera::kWatermarkPosition)};
    web.log = [](int level, const std::string& text) {
        live::logLine(static_cast<live::LogLevel>(level), "%s", text.c_str());
    };
    return web;
}

live::CameraSettings cameraSettings(const Options& options) {
    return {options.ch0,
            options.ch1,
            options.bitrate,
            options.gop,
            KQ_LIVE_SAMPLES "/logo.bmp",
            KQ_LIVE_SAMPLES "/icon.bmp",
            options.mic,
            options.speaker.empty() ? options.outDir + "/talkback.wav" : options.speaker};
}

void printUrls(const Options& options, uint16_t rtspPort, uint16_t httpPort) {
    const bool v6 = options.listen.find(':') != std::string::npos;
    const std::string host = v6 ? "[" + options.listen + "]" : options.listen;
    std::printf("rtsp://%s:%u/ch0  H.264 %ux%u@%u with AAC\n", host.c_str(), rtspPort,
                options.ch0.width, options.ch0.height, options.ch0.fps);
    std::printf("rtsp://%s:%u/ch1  MJPEG %ux%u@%u\n", host.c_str(), rtspPort, options.ch1.width,
                options.ch1.height, options.ch1.fps);
    std::printf("http://%s:%u/  the web page: channel 1 live, snapshots, controls, log, talkback\n",
                host.c_str(), httpPort);
    std::printf("%s; try: ffplay -rtsp_transport tcp -fflags nobuffer rtsp://%s:%u/ch0\n",
                options.authenticated() ? "digest authentication on" : "no authentication",
                host.c_str(), rtspPort);
    std::fflush(stdout);
}

void printCounts(const live::Camera& camera) {
    std::printf("frames: ch0 %llu, ch1 %llu, aac %llu\n",
                static_cast<unsigned long long>(camera.frames(live::kChannel0Video)),
                static_cast<unsigned long long>(camera.frames(live::kChannel1Video)),
                static_cast<unsigned long long>(camera.frames(live::kAudio)));
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    const live::Parsed parsed = live::parseOptions(argc, argv, &options);
    if (parsed != live::Parsed::Run) {
        if (parsed == live::Parsed::Help) live::printUsage();
        return parsed == live::Parsed::Help ? 0 : 2;
    }
    const sigset_t stopSignals = blockStopSignals();
    if (!makeFolder(options.outDir)) return 1;
    live::quietHostPlatform();
    live::setSyncMarks(options.syncMarks);
    if (!options.camera.empty() && !live::useCamera(options.camera)) return 2;

    live::FrameHub hub;
    live::RtspServer rtsp(hub);
    live::Camera camera(hub);
    // Running time zero of every pipeline: before the first frame is captured.
    const int64_t baseNs = live::monotonicNs();
    bool ok = rtsp.start(rtspSettings(options, baseNs)) && camera.start(cameraSettings(options));
    std::unique_ptr<live::WebCamera> webCamera;
    std::unique_ptr<live::HttpServer> web;
    if (ok) {
        webCamera = std::make_unique<live::WebCamera>(hub, camera.speaker());
        web = std::make_unique<live::HttpServer>(*webCamera, webOptions(options));
        ok = web->start().empty();
    }
    if (ok) {
        printUrls(options, rtsp.port(), web->port());
        waitForStop(stopSignals, options.seconds);
    }
    // The web server calls the camera until it has stopped.
    if (web) web->stop();
    webCamera.reset();
    hub.close();
    rtsp.stop();
    camera.stop();
    printCounts(camera);
    if (options.delayStats) live::DelayProbe::printAll();
    live::releaseGStreamer();
    return ok ? 0 : 1;
}
