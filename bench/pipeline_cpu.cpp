// The host pipeline's CPU time for the demo's two streams against ffmpeg making the
// same streams from its own test source, and whether a reader that keeps up loses any
// frame. CPU time, not wall time: both run at their own pace on a shared machine.
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "bench_report.h"
#include "child_process.h"
#include "host_control.h"
#include "kq_api.h"

namespace {

constexpr int kDefaultSeconds = 10;
constexpr int kPollTimeoutMs = 100;
constexpr double kRatioTarget = 1.3;

struct Stream {
    int channel;
    kq_encoder_param param;
    const char* name;
};

// The demo's streams.
constexpr Stream kH264Stream = {
    0, {KQ_ENC_H264, 1920, 1080, 25, 2097152, 50}, "H.264 1920x1080@25"};
constexpr Stream kMjpegStream = {1, {KQ_ENC_MJPEG, 640, 360, 25, 0, 0}, "MJPEG 640x360@25"};

double cpuSeconds(int who) {
    rusage usage{};
    getrusage(who, &usage);
    auto seconds = [](const timeval& t) { return static_cast<double>(t.tv_sec) + t.tv_usec / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

int countFrame(const uint8_t*, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, void* counter) {
    static_cast<std::atomic<uint64_t>*>(counter)->fetch_add(1, std::memory_order_relaxed);
    return 0;
}

struct HostRun {
    bool ok = false;
    double cpuSeconds = 0;
    uint64_t frames[2] = {0, 0};
    uint64_t dropped[2] = {0, 0};
};

// Opens a stream and returns the platform channel its frames come from, or -1.
int openStream(const Stream& stream, std::atomic<uint64_t>* counter) {
    hostctl::clearJournal();
    if (kq_open_encoder(stream.channel, &stream.param, countFrame, counter) != KQ_OK) return -1;
    const char* creation = stream.param.enc_type == KQ_ENC_MJPEG ? "rts_av_create_mjpeg_chn"
                                                                 : "rts_av_create_h264_chn";
    auto calls = hostctl::calls(creation);
    return calls.empty() ? -1 : calls.back().result;
}

// Starts both channels and polls them on a thread of its own for `seconds`.
void stream(int seconds, const int delivery[2], const std::atomic<uint64_t> counters[2],
            HostRun& run) {
    double before = cpuSeconds(RUSAGE_SELF);
    if (kq_start_encoder(0) != KQ_OK || kq_start_encoder(1) != KQ_OK) return;
    std::atomic<bool> stop{false};
    std::thread reader([&] {
        while (!stop.load()) kq_poll_frame(kPollTimeoutMs);
    });
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    stop = true;
    reader.join();
    run.cpuSeconds = cpuSeconds(RUSAGE_SELF) - before;
    for (int i = 0; i < 2; ++i) {
        run.frames[i] = counters[i].load();
        run.dropped[i] = hostctl::channelStats(delivery[i]).dropped;
    }
    run.ok = true;
}

HostRun runHost(int seconds) {
    HostRun run;
    hostctl::reset();
    hostctl::setJournalEnabled(true);
    if (kq_init_kq() == KQ_OK) {
        std::atomic<uint64_t> counters[2] = {{0}, {0}};
        int delivery[2] = {openStream(kH264Stream, &counters[0]),
                           openStream(kMjpegStream, &counters[1])};
        // Off from here: journaling formats and allocates on every call.
        hostctl::setJournalEnabled(false);
        hostctl::clearJournal();
        if (delivery[0] >= 0 && delivery[1] >= 0) stream(seconds, delivery, counters, run);
        kq_close_encoder(0);
        kq_close_encoder(1);
        kq_uninit();
    }
    hostctl::reset();
    return run;
}

// The same two streams from ffmpeg's test source, each encoder on one thread like the
// host's; the sources end after `seconds` so that both outputs finish.
std::vector<std::string> ffmpegCommand(int seconds) {
    const std::string duration = ":rate=25:duration=" + std::to_string(seconds);
    return {"ffmpeg",
            "-hide_banner",
            "-loglevel",
            "error",
            "-nostdin",
            "-f",
            "lavfi",
            "-i",
            "testsrc2=size=1920x1080" + duration,
            "-f",
            "lavfi",
            "-i",
            "testsrc2=size=640x360" + duration,
            "-map",
            "0",
            "-c:v",
            "libx264",
            "-preset",
            "superfast",
            "-tune",
            "zerolatency",
            "-threads",
            "1",
            "-b:v",
            "2097152",
            "-g",
            "50",
            "-f",
            "null",
            "-",
            "-map",
            "1",
            "-c:v",
            "mjpeg",
            "-q:v",
            "5",
            "-threads",
            "1",
            "-f",
            "null",
            "-"};
}

std::string commandLine(const std::vector<std::string>& argv) {
    std::string line = "running:";
    for (const std::string& arg : argv) line += " " + arg;
    return line;
}

int parseSeconds(int argc, char** argv) {
    if (argc < 2) return kDefaultSeconds;
    int seconds = std::atoi(argv[1]);
    return seconds > 0 ? seconds : kDefaultSeconds;
}

void noteLoad(bench::Report& report) {
    double load[1] = {0};
    if (getloadavg(load, 1) != 1) return;
    char text[64];
    std::snprintf(text, sizeof text, "load average before the run: %.2f", load[0]);
    report.note(text);
}

void reportHost(const HostRun& host, int seconds, bench::Report& report) {
    const std::string expected = " (~" + std::to_string(25 * seconds) + ")";
    report.figure("host pipeline CPU time", host.cpuSeconds, "s", 2);
    for (int i = 0; i < 2; ++i)
        report.figure("channel " + std::to_string(i) + " frames delivered" + expected,
                      static_cast<double>(host.frames[i]), "frames");
    for (int i = 0; i < 2; ++i)
        report.figure("channel " + std::to_string(i) + " frames dropped",
                      static_cast<double>(host.dropped[i]), "frames", bench::Target::atMost(0));
}

// ffmpeg's CPU time for the same streams, or a note why there is none.
void compareWithFfmpeg(double hostSeconds, int seconds, bench::Report& report) {
    if (!bench::onPath("ffmpeg")) {
        report.note("ffmpeg not found (./dev bench installs it): no comparison");
        return;
    }
    std::vector<std::string> ffmpeg = ffmpegCommand(seconds);
    report.note(commandLine(ffmpeg));
    double before = cpuSeconds(RUSAGE_CHILDREN);
    int status = bench::runChild(ffmpeg);
    double ffmpegSeconds = cpuSeconds(RUSAGE_CHILDREN) - before;
    if (status != 0 || ffmpegSeconds <= 0) {
        report.note("ffmpeg failed with status " + std::to_string(status) + ": no comparison");
        return;
    }
    report.figure("ffmpeg CPU time", ffmpegSeconds, "s", 2);
    report.figure("host / ffmpeg CPU time", hostSeconds / ffmpegSeconds, "ratio",
                  bench::Target::atMost(kRatioTarget), 2);
}

}  // namespace

// An optional argument sets the seconds of each run.
int main(int argc, char** argv) {
    const int seconds = parseSeconds(argc, argv);
    bench::Report report("bench_pipeline_cpu: CPU time of the demo's two streams against ffmpeg");
    noteLoad(report);
    report.note("host: " + std::string(kH264Stream.name) + " and " + kMjpegStream.name + " for " +
                std::to_string(seconds) + " s, one thread polling");
    HostRun host = runHost(seconds);
    if (!host.ok) {
        std::fprintf(stderr, "the host pipeline did not start\n");
        return 1;
    }
    reportHost(host, seconds, report);
    compareWithFfmpeg(host.cpuSeconds, seconds, report);
    return 0;
}
