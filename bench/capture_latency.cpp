// Capture through the host's tone generator, read as an application that waits for each
// frame would: first a module::PcmSource alone, then a module::MultiAudioSourceAacPcm
// read as PCM and AAC by one thread each. For each: the latency from a buffer's platform
// timestamp to the Read that returns it, the heap allocations per frame in the steady
// state (every thread of the process: the platform's capture thread, the source's
// worker and the readers), and the process's CPU time per minute of capture.
#include <sys/resource.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include "allocation_counter.h"
#include "bench_report.h"
#include "camera_support.h"
#include "host_control.h"
#include "module/buf.h"
#include "module/multi_audio_source.h"
#include "module/pcm_source.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr module::AudioParam kParam{48000, 1, 16, 20};
// Allocations are counted after this settling time and until this long before the end.
constexpr auto kSettle = 5s;
// A reader waits this long in the queue for each frame.
constexpr unsigned kWaitMs = 1000;

double cpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec +
           (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// The platform's clock, which stamps the buffers, in milliseconds.
double monotonicMs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1e3 + now.tv_nsec / 1e6;
}

uint32_t mediaMs(const module::Buf& buf) {
    const module::MediaInfo* info = module::MediaInfo::From(buf.mediaInfo.get());
    return info ? info->timeMs : 0;
}

struct Run {
    std::vector<double> latenciesMs;  // of the PCM frames
    uint64_t pcmFrames = 0;           // read in the counted window
    uint64_t aacFrames = 0;
    uint64_t allocations = 0;  // every thread, in the counted window
    double cpuSeconds = 0;
};

// Reads `source` for `seconds`, noting each frame's latency when `latencies` is given.
void readFor(module::I_Source& source, int seconds, std::vector<double>* latencies,
             std::atomic<uint64_t>& counted, const std::atomic<bool>& counting) {
    const auto end = Clock::now() + std::chrono::seconds(seconds);
    std::shared_ptr<module::Buf> frame;
    while (Clock::now() < end) {
        if (source.Read(&frame, kWaitMs, 0) <= 0) continue;
        if (latencies) {
            // Media times are whole milliseconds of the platform's clock, cut to 32 bits:
            // the difference wraps with them.
            const double now = monotonicMs();
            const auto whole = static_cast<uint64_t>(now);
            const uint32_t elapsed = static_cast<uint32_t>(whole) - mediaMs(*frame);
            latencies->push_back(elapsed + (now - double(whole)));
        }
        if (counting) ++counted;
    }
}

// Opens the counting window after kSettle and closes it kSettle before the end.
std::thread countingWindow(int seconds, std::atomic<bool>& counting) {
    return std::thread([seconds, &counting] {
        std::this_thread::sleep_for(kSettle);
        bench::countEveryThread(true);
        counting = true;
        std::this_thread::sleep_for(std::chrono::seconds(seconds) - 2 * kSettle);
        counting = false;
        bench::countEveryThread(false);
    });
}

// Runs `capture(run, counting)` for `seconds`, which reads the source it makes and drops
// it again, and measures the process around it: CPU time, and the allocations of every
// thread in the counted window.
template <typename Capture>
Run measure(int seconds, Capture capture) {
    Run run;
    run.latenciesMs.reserve(std::size_t(seconds) * 1000 / hostctl::kCapturePeriodMs + 100);
    const uint64_t allocationsBefore = bench::allocationsEverywhere();
    const double cpu = cpuSeconds();
    std::atomic<bool> counting{false};
    std::thread window = countingWindow(seconds, counting);
    capture(run, counting);
    window.join();
    run.cpuSeconds = cpuSeconds() - cpu;
    run.allocations = bench::allocationsEverywhere() - allocationsBefore;
    return run;
}

Run capturePcm(int seconds) {
    return measure(seconds, [seconds](Run& run, const std::atomic<bool>& counting) {
        auto source = module::PcmSource::Create("bench-mic", kParam);
        std::atomic<uint64_t> frames{0};
        readFor(*source, seconds, &run.latenciesMs, frames, counting);
        run.pcmFrames = frames;
    });
}

Run captureCombined(int seconds) {
    return measure(seconds, [seconds](Run& run, const std::atomic<bool>& counting) {
        auto source = module::MultiAudioSourceAacPcm::Create("bench-mic", kParam);
        auto pcm = source->CreateSharedSource(module::I_SourceFactory::CODEC_PCM);
        auto aac = source->CreateSharedSource(module::I_SourceFactory::CODEC_AAC);
        source.reset();  // the shared sources keep it
        std::atomic<uint64_t> pcmFrames{0}, aacFrames{0};
        std::thread aacReader([&] { readFor(*aac, seconds, nullptr, aacFrames, counting); });
        readFor(*pcm, seconds, &run.latenciesMs, pcmFrames, counting);
        aacReader.join();
        run.pcmFrames = pcmFrames;
        run.aacFrames = aacFrames;
    });
}

double percentile(std::vector<double> values, double p) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    return values[std::min(values.size() - 1, std::size_t(p * values.size()))];
}

// Allocations per call of the AAC encoder pack, encoding 20 ms buffers as the combined
// source does: the codec's own, which the source does not control.
double encoderAllocations() {
    aac_encoder_pack pack{kParam.channels, kParam.sampleRate, kParam.sampleRate, {}};
    if (create_aac_encoder_pack(&pack) != 0) return 0;
    const uint32_t bytes = kParam.sampleRate / 50 * 2;
    std::vector<uint8_t> pcm(bytes, 0x11), out(bytes);
    for (int i = 0; i < 50; ++i)  // warm up
        do_pcm_to_aac_encode(&pack, pcm.data(), bytes, out.data(), bytes);
    uint64_t counted;
    {
        bench::AllocationScope scope;
        const uint64_t before = bench::allocationsCounted();
        for (int i = 0; i < 500; ++i)
            do_pcm_to_aac_encode(&pack, pcm.data(), bytes, out.data(), bytes);
        counted = bench::allocationsCounted() - before;
    }
    destroy_aac_encoder_pack(&pack);
    return counted / 500.0;
}

// Allocations that making one frame's media-information record takes.
double mediaInfoAllocations() {
    bench::AllocationScope scope;
    const uint64_t before = bench::allocationsCounted();
    auto record = module::MediaInfo::MakeBuf(1);
    return double(bench::allocationsCounted() - before);
}

// Media times are whole milliseconds: every latency measured from them is high by the
// same fraction of a millisecond, the first stamp's. No frame can arrive before its
// period has passed, so the smallest latency, less the period, bounds that fraction:
// subtracting it leaves figures that are still at or above the true ones.
std::vector<double> lessCommonFraction(std::vector<double> latencies, double period) {
    if (latencies.empty()) return latencies;
    const double fraction =
        std::clamp(*std::min_element(latencies.begin(), latencies.end()) - period, 0.0, 1.0);
    for (double& l : latencies) l -= fraction;
    return latencies;
}

void report(bench::Report& out, const char* what, const Run& run, int seconds, double period) {
    const std::vector<double> latencies = lessCommonFraction(run.latenciesMs, period);
    out.figure(std::string(what) + ": latency, median", percentile(latencies, 0.5), "ms", 2);
    out.figure(std::string(what) + ": latency, 99th percentile", percentile(latencies, 0.99), "ms",
               bench::Target::atMost(period + 2), 2);
    out.figure(std::string(what) + ": CPU time per minute of capture",
               run.cpuSeconds * 60 / seconds, "s", 3);
}

}  // namespace

int main(int argc, char** argv) {
    const int seconds = argc > 1 ? std::max(20, std::atoi(argv[1])) : 60;
    bench::Report out("bench_capture_latency: " + std::to_string(seconds) +
                      " s each of 48 kHz mono capture from the host's tone generator");
    hostctl::setJournalEnabled(false);
    hostctl::setLogEcho(nullptr);
    const double period = hostctl::kCapturePeriodMs;
    const double record = mediaInfoAllocations();
    out.figure("allocations of one media-information record", record, "allocations");

    const Run pcm = capturePcm(seconds);
    report(out, "PcmSource", pcm, seconds, period);
    out.figure("PcmSource: heap allocations per frame, steady state",
               double(pcm.allocations) / std::max<uint64_t>(pcm.pcmFrames, 1), "allocations/frame",
               bench::Target::atMost(record), 3);

    if (!hostctl::aacEncoderAvailable()) {
        out.note("the host platform was built without libavcodec: no combined source figures");
        return 0;
    }
    const Run both = captureCombined(seconds);
    report(out, "combined source", both, seconds, period);
    // Each PCM frame makes one record and each AAC frame one more; the codec allocates
    // on its own besides.
    const double frames = double(std::max<uint64_t>(both.pcmFrames, 1));
    const double perFrame = double(both.allocations) / frames;
    const double codec = encoderAllocations();
    out.figure("combined source: heap allocations per PCM frame, steady state", perFrame,
               "allocations/frame", 3);
    out.figure("AAC encoder pack: allocations per 20 ms encoded (libavcodec's)", codec,
               "allocations/call", 3);
    // Compared at the precision printed.
    const auto rounded = [](double value) { return std::round(value * 1000) / 1000; };
    out.figure("combined source: heap allocations per PCM frame, the codec's left out",
               rounded(perFrame - codec), "allocations/frame",
               bench::Target::atMost(rounded(record * (1 + double(both.aacFrames) / frames))), 3);
    out.figure("combined source: AAC frames per PCM frame", double(both.aacFrames) / frames,
               "frames", 3);
    out.note(
        "latency: from the platform timestamp (the first sample's time) to the Read "
        "returning the frame, the reader waiting in the queue; a frame is published once "
        "its period has passed");
    return 0;
}
