// The demo's whole workload for an hour, watched from outside: kq-demo runs both
// channels with the timestamp, the watermark and privacy mode, snapshots every two
// seconds, playback and capture, while this program samples its resident memory, open
// files and threads every minute and reports their growth after warm-up (goal: flat).
//
//   bench_demo_soak [SECONDS [SAMPLE_EVERY]]     (default 3600 and 60)
//
// For instance, from the project's folder, in the background with its log:
//   cmake --build build/host --target bench_demo_soak     (builds kq-demo too)
//   nohup build/host/bench/bench_demo_soak 3600 60 > build/host/demo-soak.log 2>&1 &
//
// Each sample is printed as a row when taken; the growth figures follow at the end. It
// fails only when kq-demo fails or dies; a growth above the goal is a printed figure.
//
// Not in ./dev bench: it takes an hour. The channels are smaller than the demo's
// defaults and the speaker plays into memory, so that an hour's files stay near 1 GB;
// they are written into a scratch folder and deleted at the end.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "bench_report.h"
#include "child_process.h"
#include "process_sampler.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned int kDefaultSeconds = 3600;
constexpr unsigned int kDefaultSampleEvery = 60;
constexpr unsigned int kWarmUpSeconds = 300;  // at most a tenth of the run
constexpr double kFlatTargetMb = 1.0;
constexpr double kRatePer = 3600;  // growth is given per hour

unsigned int argument(int argc, char** argv, int index, unsigned int fallback) {
    const long value = argc > index ? std::atol(argv[index]) : 0;
    return value > 0 ? static_cast<unsigned int>(value) : fallback;
}

// Waits until `until` for the child to end; true (with its exit code) when it did.
bool waitForExit(pid_t pid, Clock::time_point until, int* exitCode) {
    for (;;) {
        int status = 0;
        const pid_t r = waitpid(pid, &status, WNOHANG);
        if (r == pid) {
            *exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            return true;
        }
        if (r < 0) {
            *exitCode = -1;
            return true;
        }
        if (Clock::now() >= until) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
}

}  // namespace

int main(int argc, char** argv) {
    const unsigned int seconds = argument(argc, argv, 1, kDefaultSeconds);
    const unsigned int every = std::min(argument(argc, argv, 2, kDefaultSampleEvery), seconds);
    bench::Report report("bench_demo_soak: kq-demo's whole workload, sampled from outside");
    report.note("kq-demo --seconds " + std::to_string(seconds) +
                ": H.264 640x360@25 at 512 kbit/s, MJPEG 320x240@10, overlays, snapshots every "
                "2 s, playback into memory, capture as PCM and AAC; a sample every " +
                std::to_string(every) + " s");

    const std::filesystem::path out = std::filesystem::path(KQ_BENCH_SCRATCH_DIR) / "demo-soak";
    std::filesystem::remove_all(out);
    std::filesystem::create_directories(out);
    const std::string log = (out / "kq-demo.log").string();
    const pid_t pid =
        bench::startChild({KQ_DEMO_PATH, "--seconds", std::to_string(seconds), "--out",
                           (out / "files").string(), "--ch0", "640x360@25", "--bitrate", "524288",
                           "--ch1", "320x240@10", "--speaker", "soak-speaker"},
                          log);
    if (pid < 0) {
        std::fprintf(stderr, "could not start %s\n", KQ_DEMO_PATH);
        return 1;
    }

    // The first sample a period in, once the child runs the demo rather than our copy.
    std::vector<bench::ProcessSample> samples;
    bench::printTableHeading("s");
    const auto start = Clock::now();
    int exitCode = 0;
    bool ended = false;
    for (unsigned int k = 1; k * every < seconds; ++k) {
        ended = waitForExit(pid, start + std::chrono::seconds(k * every), &exitCode);
        if (ended) break;
        samples.push_back(bench::sampleProcess(pid, k * every));
        bench::printTableRow(samples.back());
    }
    if (!ended) waitForExit(pid, Clock::time_point::max(), &exitCode);
    const double ran = std::chrono::duration<double>(Clock::now() - start).count();

    report.figure("run time", ran, "s", 0);
    report.figure("samples", static_cast<double>(samples.size()), "samples");
    const bool failed = exitCode != 0 || ran < seconds;
    if (failed) {
        std::fprintf(stderr, "kq-demo ended early or failed (exit %d after %.0f s); its log:\n%s",
                     exitCode, ran, bench::readFile(log).c_str());
    } else {
        const unsigned int warmUp = std::min(kWarmUpSeconds, seconds / 10);
        bench::reportGrowth(report, samples, warmUp, "s", kRatePer, kFlatTargetMb);
    }
    std::filesystem::remove_all(out);
    return failed ? 1 : 0;
}
