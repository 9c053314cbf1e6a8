// The camera fed from a 1080p25 clip: the picture quality of channel 0's H.264 (the
// demo's stream) against ffmpeg's libx264 encoding the same stretch of the clip with the
// same preset, size, rate, bitrate and key-frame interval, both measured by ffmpeg's
// SSIM and PSNR against the clip; and the CPU time decoding the clip adds beside the
// pipeline, against the same run from the test pattern, and the allocations it adds;
// and that a 2160p60 clip, more than the decoder keeps up with, leaves the channel's pace
// alone and drops source pictures instead.
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "allocation_counter.h"
#include "bench_report.h"
#include "host_control.h"
#include "kq_api.h"

namespace {

constexpr int kDefaultSeconds = 8;
constexpr kq_encoder_param kChannel0 = {KQ_ENC_H264, 1920, 1080, 25, 2097152, 50};
constexpr double kSsimRatioTarget = 0.98;
constexpr int kSteadyAfter = 2;  // seconds
// The size a picture of the stream is matched at against the clip's, to find where the
// stream stands in the clip; and the picture matched: the first ones may repeat while
// the clip's decoder starts, as a sensor's first pictures would.
constexpr int kSettle = 25;
constexpr int kMatchWidth = 192, kMatchHeight = 108;
const std::string kScratch = KQ_BENCH_SCRATCH_DIR;

std::string run(const std::string& command) {
    std::string output;
    if (std::FILE* pipe = popen(command.c_str(), "r")) {
        char chunk[4096];
        for (std::size_t n; (n = std::fread(chunk, 1, sizeof chunk, pipe)) > 0;)
            output.append(chunk, n);
        pclose(pipe);
    }
    return output;
}

double cpuSeconds(int who = RUSAGE_SELF) {
    rusage usage{};
    getrusage(who, &usage);
    auto seconds = [](const timeval& t) { return static_cast<double>(t.tv_sec) + t.tv_usec / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

struct StreamFile {
    std::ofstream file;
    uint64_t pictures = 0;
};

int writeFrame(const uint8_t* data, uint32_t length, uint32_t, uint32_t, uint32_t, uint32_t,
               void* user) {
    auto* stream = static_cast<StreamFile*>(user);
    stream->file.write(reinterpret_cast<const char*>(data), length);
    ++stream->pictures;
    return 0;
}

struct Run {
    bool ok = false;
    double cpuPercent = 0;  // of one core
    double allocationsPerPicture = 0;
    double picturesPerSecond = 0;  // what channel 0 delivered
    hostctl::CameraStats camera{};
};

// Channel 0 from `source` for `seconds`, its stream written to `out`.
Run streamChannel0(const std::string& source, int seconds, const std::string& out) {
    Run result;
    hostctl::reset();
    hostctl::setJournalEnabled(false);
    hostctl::setLogEcho(stderr);
    StreamFile stream{std::ofstream(out, std::ios::binary)};
    if (hostctl::setCameraSource(source) != 0 || kq_init_kq() != KQ_OK) return result;
    if (kq_open_encoder(0, &kChannel0, writeFrame, &stream) == KQ_OK) {
        const double before = cpuSeconds();
        if (kq_start_encoder(0) == KQ_OK) {
            std::atomic<bool> stop{false};
            std::thread reader([&] {
                while (!stop) kq_poll_frame(100);
            });
            // Allocations counted in the steady state, after the start's.
            std::this_thread::sleep_for(std::chrono::seconds(kSteadyAfter));
            const uint64_t allocationsBefore = bench::allocationsEverywhere();
            bench::countEveryThread(true);
            std::this_thread::sleep_for(std::chrono::seconds(seconds - kSteadyAfter));
            bench::countEveryThread(false);
            result.allocationsPerPicture =
                double(bench::allocationsEverywhere() - allocationsBefore) /
                ((seconds - kSteadyAfter) * kChannel0.fps);
            stop = true;
            reader.join();
            result.camera = hostctl::cameraStats();
            result.cpuPercent = 100 * (cpuSeconds() - before) / seconds;
            result.picturesPerSecond = double(stream.pictures) / seconds;
            result.ok = true;
        }
        kq_close_encoder(0);
    }
    kq_uninit();
    hostctl::reset();
    return result;
}

// The pictures of `input` (those `select` picks, when given) as small luma planes.
std::vector<std::vector<uint8_t>> smallLuma(const std::string& input, const std::string& select) {
    const std::string raw =
        run("ffmpeg -v error -i '" + input + "' -vf '" + select + (select.empty() ? "" : ",") +
            "scale=" + std::to_string(kMatchWidth) + ":" + std::to_string(kMatchHeight) +
            "' -f rawvideo -pix_fmt gray -");
    const std::size_t size = std::size_t{kMatchWidth} * kMatchHeight;
    std::vector<std::vector<uint8_t>> pictures;
    for (std::size_t at = 0; at + size <= raw.size(); at += size)
        pictures.emplace_back(raw.begin() + at, raw.begin() + at + size);
    return pictures;
}

// The clip's picture nearest the stream's picture `index`.
int clipPictureOf(const std::string& stream, int index, const std::string& clip) {
    const auto first = smallLuma(stream, "select=eq(n\\," + std::to_string(index) + ")");
    const auto pictures = smallLuma(clip, "");
    if (first.empty()) return -1;
    int best = -1;
    double bestError = 1e300;
    for (std::size_t i = 0; i < pictures.size(); ++i) {
        double error = 0;
        for (std::size_t p = 0; p < first[0].size(); ++p)
            error += std::pow(first[0][p] - pictures[i][p], 2);
        if (error < bestError) bestError = error, best = static_cast<int>(i);
    }
    return best;
}

struct Quality {
    double ssim = 0, psnr = 0;
    int pictures = 0;
};

// Both sides of a comparison in the clip's levels: the camera's pictures are full range,
// flagged so in the stream, the clip's and libx264's limited.
const std::string kLimited = "scale=out_range=limited,format=yuv420p";

// SSIM (all planes) and PSNR (average) of `stream` from its picture `from` against the
// clip from its picture `start`.
Quality qualityOf(const std::string& stream, int from, const std::string& clip, int start) {
    Quality quality;
    quality.pictures =
        std::atoi(run("ffprobe -v error -count_frames -select_streams v:0 -show_entries "
                      "stream=nb_read_frames -of csv=p=0 '" +
                      stream + "'")
                      .c_str());
    for (const char* metric : {"ssim", "psnr"}) {
        const std::string log =
            run("ffmpeg -hide_banner -nostats -i '" + stream + "' -i '" + clip +
                "' -lavfi \"[1:v]trim=start_frame=" + std::to_string(start) + "," + kLimited +
                ",setpts=PTS-STARTPTS[clip];[0:v]trim=start_frame=" + std::to_string(from) + "," +
                kLimited + ",setpts=PTS-STARTPTS[ours];[ours][clip]" + metric +
                "=shortest=1\" -f null - 2>&1");
        std::smatch match;
        if (std::string(metric) == "ssim" &&
            std::regex_search(log, match, std::regex(R"(SSIM .* All:([0-9.]+))")))
            quality.ssim = std::stod(match[1]);
        if (std::string(metric) == "psnr" &&
            std::regex_search(log, match, std::regex(R"(PSNR .* average:([0-9.inf]+))")))
            quality.psnr = std::stod(match[1]);
    }
    return quality;
}

}  // namespace

int main(int argc, char** argv) {
    const int seconds = argc > 1 ? std::max(2, std::atoi(argv[1])) : kDefaultSeconds;
    bench::Report report(
        "camera from a 1080p25 clip: channel 0 H.264 1920x1080@25, 2 Mbit/s, "
        "key frame every 50, against ffmpeg's libx264");
    const std::string clip = kScratch + "/camera-clip.mkv";
    // Longer than the run, so the stream never loops back within what is compared.
    if (run("ffmpeg -v error -y -f lavfi -i testsrc2=size=1920x1080:rate=25 -t " +
            std::to_string(seconds + 4) + " -c:v libx264 -preset veryfast -crf 12 '" + clip +
            "' && echo made") != "made\n") {
        report.note("ffmpeg could not make the clip");
        return 1;
    }
    const std::string ours = kScratch + "/camera-ch0.h264";
    const Run fromClip = streamChannel0("file:" + clip, seconds, ours);
    const Run fromPattern = streamChannel0("pattern", seconds, kScratch + "/camera-pattern.h264");
    if (!fromClip.ok || !fromPattern.ok) {
        report.note("the channel did not stream: see the records above");
        return 1;
    }
    // A source the decoder cannot keep up with beside the pipeline on this machine.
    const std::string heavyClip = kScratch + "/camera-clip-2160p60.mp4";
    run("ffmpeg -v error -y -f lavfi -i testsrc2=size=3840x2160:rate=60 -t " +
        std::to_string(seconds + 4) + " -c:v libx264 -preset ultrafast -crf 18 '" + heavyClip +
        "'");
    const Run fromHeavy =
        streamChannel0("file:" + heavyClip, seconds, kScratch + "/camera-2160p60.h264");
    const int start = clipPictureOf(ours, kSettle, clip);
    const std::string profile =
        run("ffprobe -v error -select_streams v:0 -show_entries stream=profile -of csv=p=0 '" +
            ours + "'");
    std::string x264Profile = profile.find("High") != std::string::npos   ? "high"
                              : profile.find("Main") != std::string::npos ? "main"
                                                                          : "baseline";
    const std::string theirs = kScratch + "/camera-x264.h264";
    const Quality ourQuality = qualityOf(ours, kSettle, clip, start);
    run("ffmpeg -v error -y -i '" + clip + "' -vf trim=start_frame=" + std::to_string(start) +
        ",setpts=PTS-STARTPTS -frames:v " + std::to_string(ourQuality.pictures - kSettle) +
        " -c:v libx264 -preset superfast -tune zerolatency -threads 1 -profile:v " + x264Profile +
        " -b:v 2097152 -maxrate 2097152 -bufsize 2097152 -g 50 -keyint_min 50 -sc_threshold 0 '" +
        theirs + "'");
    const Quality theirQuality = qualityOf(theirs, 0, clip, start);

    // ffmpeg decoding as much of the clip, two threads as the camera's decoder has.
    const double before = cpuSeconds(RUSAGE_CHILDREN);
    run("ffmpeg -v error -threads 2 -i '" + clip + "' -t " + std::to_string(seconds) +
        " -f null -");
    const double ffmpegPercent = 100 * (cpuSeconds(RUSAGE_CHILDREN) - before) / seconds;

    report.figure("pictures compared", ourQuality.pictures - kSettle, "");
    report.figure("clip picture of the stream's picture " + std::to_string(kSettle), start, "");
    report.figure("source pictures decoded", static_cast<double>(fromClip.camera.decoded), "");
    report.figure("source pictures dropped (decoder behind)",
                  static_cast<double>(fromClip.camera.dropped), "", bench::Target::atMost(0));
    report.figure("SSIM, ours", ourQuality.ssim, "", 4);
    report.figure("SSIM, libx264 " + x264Profile + " superfast", theirQuality.ssim, "", 4);
    report.figure("SSIM ratio, ours / libx264",
                  theirQuality.ssim > 0 ? ourQuality.ssim / theirQuality.ssim : 0, "",
                  bench::Target::atLeast(kSsimRatioTarget), 4);
    report.figure("PSNR, ours", ourQuality.psnr, "dB", 2);
    report.figure("PSNR, libx264", theirQuality.psnr, "dB", 2);
    report.figure("PSNR ratio, ours / libx264",
                  theirQuality.psnr > 0 ? ourQuality.psnr / theirQuality.psnr : 0, "", 4);
    report.figure("CPU, channel 0 from the clip", fromClip.cpuPercent, "% of a core", 1);
    report.figure("CPU, channel 0 from the pattern", fromPattern.cpuPercent, "% of a core", 1);
    report.figure("CPU the clip adds (decode, convert, copy)",
                  fromClip.cpuPercent - fromPattern.cpuPercent, "% of a core", 1);
    report.figure("CPU, ffmpeg decoding the clip alone", ffmpegPercent, "% of a core", 1);
    report.note("from a 3840x2160@60 clip, more than the decoder keeps up with:");
    report.figure("channel 0 pictures a second", fromHeavy.picturesPerSecond, "",
                  bench::Target::atLeast(kChannel0.fps - 0.5), 1);
    report.figure("source pictures decoded", static_cast<double>(fromHeavy.camera.decoded), "");
    report.figure("source pictures dropped", static_cast<double>(fromHeavy.camera.dropped), "");
    // The process's allocations, FFmpeg's own included, on every thread.
    report.figure("allocations a picture, from the clip", fromClip.allocationsPerPicture, "", 1);
    report.figure("allocations a picture, from the pattern", fromPattern.allocationsPerPicture, "",
                  1);
    return 0;
}
