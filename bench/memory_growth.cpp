// Whether an application left running stays flat, measured from outside. A child
// process opens, starts, snapshots and closes both channels cycle after cycle, with the
// host's journal and captured log records at their defaults. Every few cycles it stops
// itself between two cycles, and this program reads its resident size, open files and
// threads from /proc before letting it go on. Growth after warm-up, once the journal
// and the records have reached their bounds, should be none.
//
//   bench_memory_growth [CYCLES]     (default 1200, as ./dev bench runs it)
//
// The soak, about 7 minutes, from the project's folder:
//   cmake --build build/host --target bench_memory_growth
//   build/host/bench/bench_memory_growth 10000
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "bench_report.h"
#include "child_process.h"
#include "kq_api.h"
#include "process_sampler.h"

namespace {

constexpr const char* kWorkloadFlag = "--workload";
constexpr int kDefaultCycles = 1200;
constexpr int kSampleEvery = 10;        // cycles between two samples
constexpr int kSnapshotLimitMs = 3000;  // per cycle, for both channels
constexpr double kFlatTargetMb = 0.25;  // growth allowed over the last quarter
constexpr double kRatePer = 1000;       // growth is given per 1000 cycles
constexpr std::size_t kTableRows = 20;
constexpr const char* kSnapshotsLine = "snapshots delivered: ";

struct Stream {
    int channel;
    kq_encoder_param param;
};

constexpr Stream kStreams[] = {{0, {KQ_ENC_H264, 320, 240, 30, 262144, 30}},
                               {1, {KQ_ENC_MJPEG, 320, 240, 30, 0, 0}}};

std::atomic<int> gSnapshots[2];

int onSnapshot(int channel, const uint8_t*, uint32_t length) {
    if (channel >= 0 && channel < 2 && length > 0) gSnapshots[channel].fetch_add(1);
    return 0;
}

// One cycle of both channels; false when a channel could not be opened or started.
// `snapshots` counts the pictures that arrived in time.
bool runCycle(int* snapshots) {
    for (const Stream& s : kStreams) {
        if (kq_open_encoder(s.channel, &s.param, nullptr, nullptr) != KQ_OK) return false;
        if (kq_start_encoder(s.channel) != KQ_OK) return false;
    }
    const int before[2] = {gSnapshots[0].load(), gSnapshots[1].load()};
    for (const Stream& s : kStreams) {
        kq_register_snapshot_callback(s.channel, onSnapshot);
        kq_trigger_snapshot(s.channel, 80);
    }
    auto arrived = [&] { return gSnapshots[0] > before[0] && gSnapshots[1] > before[1]; };
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(kSnapshotLimitMs);
    while (!arrived() && std::chrono::steady_clock::now() < deadline) kq_poll_frame(20);
    *snapshots += (gSnapshots[0] > before[0]) + (gSnapshots[1] > before[1]);
    for (const Stream& s : kStreams) kq_close_encoder(s.channel);
    return true;
}

// The child: stops itself after starting the library and after every kSampleEvery
// cycles, so that each sample is taken between two cycles.
int runWorkload(int cycles) {
    if (kq_init_kq() != KQ_OK) return 1;
    raise(SIGSTOP);
    int snapshots = 0;
    for (int cycle = 1; cycle <= cycles; ++cycle) {
        if (!runCycle(&snapshots)) {
            std::fprintf(stderr, "cycle %d: a channel did not open or start\n", cycle);
            return 1;
        }
        if (cycle % kSampleEvery == 0) raise(SIGSTOP);
    }
    kq_uninit();
    std::printf("%s%d\n", kSnapshotsLine, snapshots);
    return 0;
}

struct Samples {
    std::vector<bench::ProcessSample> taken;  // after init, then after every kSampleEvery cycles
    int exitCode = -1;
    double seconds = 0;
};

// Runs the child to its end, sampling it at each of its stops.
Samples sampleChild(const std::vector<std::string>& argv, const std::string& outputFile) {
    Samples samples;
    const auto start = std::chrono::steady_clock::now();
    const pid_t pid = bench::startChild(argv, outputFile);
    if (pid < 0) return samples;
    for (;;) {
        int status = 0;
        if (waitpid(pid, &status, WUNTRACED) < 0) {
            if (errno == EINTR) continue;
            break;
        }
        if (WIFSTOPPED(status)) {
            // After init, then after every kSampleEvery cycles.
            const double cycles = static_cast<double>(samples.taken.size()) * kSampleEvery;
            samples.taken.push_back(bench::sampleProcess(pid, cycles));
            kill(pid, SIGCONT);
            continue;
        }
        samples.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        break;
    }
    samples.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return samples;
}

std::string ownPath() {
    std::error_code error;
    std::filesystem::path path = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::string() : path.string();
}

int snapshotsDelivered(const std::string& output) {
    std::size_t at = output.find(kSnapshotsLine);
    return at == std::string::npos ? -1
                                   : std::atoi(output.c_str() + at + std::strlen(kSnapshotsLine));
}

void reportGrowth(const Samples& samples, int cycles, int snapshots, bench::Report& report) {
    report.figure("cycles", cycles, "cycles");
    report.figure("run time", samples.seconds, "s", 1);
    report.figure("time per cycle", samples.seconds * 1000 / cycles, "ms", 1);
    report.figure("snapshots delivered (of " + std::to_string(2 * cycles) + ")", snapshots,
                  "pictures");
    report.figure("resident size after kq_init_kq", samples.taken.front().residentKb / 1024.0, "MB",
                  2);
    // Warm-up, a quarter of the run: the journal and the captured log records fill up to
    // their bounds (about 2,500 cycles).
    bench::reportGrowth(report, samples.taken, cycles / 4, "cycles", kRatePer, kFlatTargetMb);
    bench::printTable(samples.taken, "cycles", kTableRows);
}

int measure(int cycles) {
    bench::Report report(
        "bench_memory_growth: resident size of a process cycling both channels, from outside");
    report.note(
        "per cycle: open, start, one snapshot and close of channel 0 (H.264 320x240) and "
        "channel 1 (MJPEG 320x240); journal and log records at their defaults");
    const std::string self = ownPath();
    char output[] = "/tmp/kq-bench-memory-XXXXXX";
    const int fd = mkstemp(output);
    if (self.empty() || fd < 0) {
        std::fprintf(stderr, "no path of this program or no scratch file\n");
        return 1;
    }
    close(fd);
    Samples samples = sampleChild({self, kWorkloadFlag, std::to_string(cycles)}, output);
    const std::string childOutput = bench::readFile(output);
    std::remove(output);
    const std::size_t expected = static_cast<std::size_t>(cycles / kSampleEvery) + 1;
    if (samples.exitCode != 0 || samples.taken.size() != expected) {
        std::fprintf(stderr, "the cycling child failed (exit %d, %zu samples):\n%s",
                     samples.exitCode, samples.taken.size(), childOutput.c_str());
        return 1;
    }
    reportGrowth(samples, cycles, snapshotsDelivered(childOutput), report);
    return 0;
}

// A count of at least 4 sample intervals, or the default.
int parseCycles(const char* text) {
    const int cycles = text ? std::atoi(text) : 0;
    return cycles >= 4 * kSampleEvery ? cycles / kSampleEvery * kSampleEvery : kDefaultCycles;
}

}  // namespace

// An optional argument sets the number of cycles (default 1200, whole tens).
int main(int argc, char** argv) {
    if (argc > 2 && std::strcmp(argv[1], kWorkloadFlag) == 0)
        return runWorkload(std::atoi(argv[2]));
    return measure(parseCycles(argc > 1 ? argv[1] : nullptr));
}
