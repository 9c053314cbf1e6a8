// Whether a frame reaches the callback in the platform's own buffer: the pointer the
// frame callback gets is compared with the data word of the buffer record the library
// gave back, whose address the journal shows (the pool's records outlive the call).
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "bench_report.h"
#include "host_control.h"
#include "rts_av.h"
#include "scripted_pipe.h"

namespace {

constexpr int kFrames = 100;

int rememberData(const uint8_t* data, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t,
                 void* userData) {
    *static_cast<const uint8_t**>(userData) = data;
    return 0;
}

// The payload address of the buffer record the last rts_av_put_buffer() gave back, or
// null when there was none.
const void* lastReturnedBufferData() {
    auto calls = hostctl::calls("rts_av_put_buffer");
    if (calls.empty()) return nullptr;
    auto address = static_cast<uintptr_t>(std::strtoull(calls.back().args.c_str(), nullptr, 16));
    if (address == 0) return nullptr;
    return reinterpret_cast<const rts_av_buffer*>(address)->data;
}

}  // namespace

int main() {
    bench::Report report("bench_zero_copy: frames reach the callback in the platform's buffer");
    const uint8_t* seen = nullptr;
    bench::ScriptedPipe pipe(rememberData, &seen);
    if (!pipe.started()) return 1;

    int matched = 0;
    for (int i = 0; i < kFrames; ++i) {
        hostctl::clearJournal();
        seen = nullptr;
        if (!pipe.push(1) || !pipe.poll(1)) {
            std::fprintf(stderr, "a pushed frame did not arrive\n");
            return 1;
        }
        if (seen && seen == lastReturnedBufferData()) ++matched;
    }
    report.figure("frames compared", kFrames, "frames");
    report.figure("frames in the platform's buffer", matched, "frames");
    report.figure("frames copied or elsewhere", kFrames - matched, "frames",
                  bench::Target::atMost(0));
    return 0;
}
