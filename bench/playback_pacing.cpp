// A minute of playback through module::PcmSink into the host's in-memory speaker, fed by
// a writer that keeps up (the start level at once, then one 20 ms buffer a period):
// underruns, how the buffers' arrivals at the speaker keep time, the heap allocations
// per buffer in steady state, and the process's CPU time per minute of audio. Then two
// sinks whose format cannot be played: the CPU time of one with buffers of 0 ms, and
// how long destroying one with buffers of 8 s takes.
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <thread>
#include <vector>

#include "allocation_counter.h"
#include "bench_report.h"
#include "host_control.h"
#include "module/buf.h"
#include "module/pcm_sink.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr module::AudioParam kParam{48000, 2, 16, 20};  // 3840 bytes a buffer
constexpr uint32_t kFrameBytes = 3840;
constexpr auto kPeriod = 20ms;
constexpr unsigned kStartLevel = 8;
constexpr unsigned kBurst = 4;
// Allocations are counted after this settling time and until this long before the end.
constexpr auto kSettle = 5s;

double cpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec +
           (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

std::shared_ptr<module::Buf> tone() {
    auto buf = std::make_shared<module::Buf>();
    buf->Malloc(kFrameBytes);
    buf->size = kFrameBytes;
    auto* samples = reinterpret_cast<int16_t*>(buf->Data());
    for (uint32_t i = 0; i < kFrameBytes / 2; ++i)
        samples[i] = static_cast<int16_t>(8000 * std::sin(i / 2 * 2 * M_PI * 1000 / 48000.0));
    return buf;
}

struct Counts {
    uint64_t buffers = 0;     // written while counting
    uint64_t writes = 0;      // allocations of the writer's Write calls
    uint64_t everywhere = 0;  // allocations of every thread of the process
};

// Writes `buffers` buffers, keeping up; counts the allocations of the steady middle.
Counts writeFor(module::PcmSink& sink, unsigned buffers) {
    const std::shared_ptr<const module::Buf> buf = tone();
    Counts counts;
    for (unsigned i = 0; i < kStartLevel; ++i) sink.Write(buf, kFrameBytes);
    const auto start = Clock::now();
    const unsigned settle = kSettle / kPeriod;
    for (unsigned i = kStartLevel; i < buffers; ++i) {
        std::this_thread::sleep_until(start + (i - kStartLevel) * kPeriod);
        const bool counting = i >= settle && i < buffers - settle;
        if (i == settle) bench::countEveryThread(true);
        if (i == buffers - settle) bench::countEveryThread(false);
        uint64_t before = bench::allocationsCounted();
        {
            std::optional<bench::AllocationScope> scope;
            if (counting) scope.emplace();
            sink.Write(buf, kFrameBytes);
        }
        if (counting) {
            ++counts.buffers;
            counts.writes += bench::allocationsCounted() - before;
        }
    }
    counts.everywhere = bench::allocationsEverywhere();
    return counts;
}

// A sink that cannot play must neither spin nor hold up its destruction for a buffer
// period it never keeps.
void measureUnplayableSinks(bench::Report& report) {
    const double cpuBefore = cpuSeconds();
    auto spinner = module::PcmSink::Create("bench-speaker", {48000, 2, 16, 0});
    std::this_thread::sleep_for(2s);
    const double cpu = cpuSeconds() - cpuBefore;
    spinner.reset();
    auto slow = module::PcmSink::Create("bench-speaker", {48000, 2, 16, 8000});
    std::this_thread::sleep_for(100ms);
    const auto destroying = Clock::now();
    slow.reset();
    const double destroyMs =
        std::chrono::duration<double, std::milli>(Clock::now() - destroying).count();
    report.figure("CPU time of a sink of 0 ms buffers over 2 s", cpu, "s",
                  bench::Target::atMost(0.05), 3);
    report.figure("time to destroy a sink of 8 s buffers", destroyMs, "ms",
                  bench::Target::atMost(50), 1);
}

}  // namespace

int main(int argc, char** argv) {
    const int seconds = argc > 1 ? std::max(20, std::atoi(argv[1])) : 60;
    bench::Report report("bench_playback_pacing: " + std::to_string(seconds) +
                         " s of 20 ms buffers through PcmSink into the host's speaker");
    hostctl::setJournalEnabled(false);
    hostctl::setLogEcho(nullptr);
    const unsigned buffers = static_cast<unsigned>(seconds * 1000 / 20);

    const double cpuBefore = cpuSeconds();
    auto sink = module::PcmSink::Create("bench-speaker", kParam);
    const int chn = hostctl::newestPlaybackChannel();
    if (chn < 0 || !sink->IsRunning()) {
        std::fprintf(stderr, "the sink did not open a speaker\n");
        return 1;
    }
    const Counts counts = writeFor(*sink, buffers);
    if (!hostctl::waitPlaybackPlayed(chn, uint64_t{buffers} * kFrameBytes, 5000)) {
        std::fprintf(stderr, "the speaker did not play every buffer\n");
        return 1;
    }
    const double cpu = cpuSeconds() - cpuBefore;
    const hostctl::PlaybackStats stats = hostctl::playbackStats(chn);
    const std::vector<hostctl::PlaybackArrival> arrivals = hostctl::playbackArrivals(chn);
    sink.reset();

    report.figure("buffers played", static_cast<double>(stats.bytesPlayed / kFrameBytes),
                  "buffers");
    report.figure("underruns", static_cast<double>(stats.underruns), "underruns",
                  bench::Target::atMost(0));
    if (arrivals.size() != buffers) {
        report.note("the speaker kept " + std::to_string(arrivals.size()) + " arrivals of " +
                    std::to_string(buffers) + ": no timing figures");
        measureUnplayableSinks(report);
        return 0;
    }
    // After the burst every buffer should arrive one period after the one before:
    // the ideal is counted from the first paced arrival.
    const double period = std::chrono::duration<double, std::micro>(kPeriod).count();
    const uint64_t firstPaced = arrivals[kBurst].timeUs;
    const double drift =
        static_cast<double>(arrivals.back().timeUs - firstPaced) - period * (buffers - 1 - kBurst);
    double deviationSum = 0, deviationWorst = 0;
    for (std::size_t i = kBurst + 1; i < arrivals.size(); ++i) {
        double deviation =
            std::abs(static_cast<double>(arrivals[i].timeUs - arrivals[i - 1].timeUs) - period);
        deviationSum += deviation;
        deviationWorst = std::max(deviationWorst, deviation);
    }
    const double paced = static_cast<double>(arrivals.size() - kBurst - 1);
    report.figure("drift of the last arrival from the ideal", std::abs(drift) / 1000, "ms",
                  bench::Target::atMost(20), 2);
    report.figure("mean deviation of arrival intervals from 20 ms", deviationSum / paced / 1000,
                  "ms", 3);
    report.figure("worst deviation of an arrival interval", deviationWorst / 1000, "ms", 3);
    report.figure("heap allocations per buffer, every thread, steady state",
                  static_cast<double>(counts.everywhere) / counts.buffers, "allocations/buffer",
                  bench::Target::atMost(0), 4);
    report.figure("heap allocations per Write", static_cast<double>(counts.writes) / counts.buffers,
                  "allocations/Write", bench::Target::atMost(0), 4);
    report.figure("CPU time per minute of playback", cpu * 60 / seconds, "s", 3);
    report.note("allocations counted over " + std::to_string(counts.buffers) + " buffers, after " +
                std::to_string(kSettle.count()) +
                " s and until as long before the end; CPU time of the whole process");
    measureUnplayableSinks(report);
    return 0;
}
