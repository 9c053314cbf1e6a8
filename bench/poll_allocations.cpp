// Heap allocations per frame delivered through kq_poll_frame(), journal off: the
// steady poll path is to allocate nothing. Frames are pushed outside the counted
// region, in batches the channel's queue holds, and polled out inside it.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <optional>

#include "allocation_counter.h"
#include "bench_report.h"
#include "host_control.h"
#include "scripted_pipe.h"

namespace {

constexpr int kWarmUpFrames = 400;
constexpr int kMeasuredFrames = 10000;
// The journal formats every call: a short run with it on shows that the counter sees
// allocations made inside the shared libraries.
constexpr int kJournaledFrames = 100;

int countFrame(const uint8_t*, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, void*) {
    return 0;
}

// Pushes and polls `frames` frames, counting the allocations of the polls when
// `counted`; the allocations counted, or nothing when a frame did not arrive.
std::optional<uint64_t> run(bench::ScriptedPipe& pipe, int frames, bool counted) {
    uint64_t before = bench::allocationsCounted();
    for (int done = 0; done < frames;) {
        int batch = std::min(bench::ScriptedPipe::kBatch, frames - done);
        if (!pipe.push(batch)) return std::nullopt;
        std::optional<bench::AllocationScope> scope;
        if (counted) scope.emplace();
        if (!pipe.poll(batch)) return std::nullopt;
        done += batch;
    }
    return bench::allocationsCounted() - before;
}

}  // namespace

int main() {
    bench::Report report("bench_poll_allocations: heap allocations per frame in kq_poll_frame()");
    bench::ScriptedPipe pipe(countFrame, nullptr);
    if (!pipe.started()) return 1;

    hostctl::setJournalEnabled(false);
    std::optional<uint64_t> allocations;
    if (run(pipe, kWarmUpFrames, false)) allocations = run(pipe, kMeasuredFrames, true);
    hostctl::setJournalEnabled(true);
    std::optional<uint64_t> journaled;
    if (allocations) journaled = run(pipe, kJournaledFrames, true);
    if (!journaled) {
        std::fprintf(stderr, "a pushed frame did not arrive\n");
        return 1;
    }

    report.figure("frames polled (after warm-up)", kMeasuredFrames, "frames");
    report.figure("allocations while polling", static_cast<double>(*allocations), "allocations");
    report.figure("allocations per frame", static_cast<double>(*allocations) / kMeasuredFrames,
                  "allocations/frame", bench::Target::atMost(0), 4);
    report.figure("allocations per frame, journal on (check)",
                  static_cast<double>(*journaled) / kJournaledFrames, "allocations/frame", 1);
    if (*journaled == 0)
        report.note("the counter saw no allocation with the journal on: it is not counting");
    return 0;
}
