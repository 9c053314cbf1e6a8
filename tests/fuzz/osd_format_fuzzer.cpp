// libFuzzer target: the running timestamp. Each input sets the timestamp's position,
// colours and strftime() format on a started channel, then lets one poll step redraw
// it. The library redraws when the second changes, so this program's time() advances
// one second per input: it replaces the C library's for the whole process, the
// library's calls included. Beyond the sanitizers' checks, the text handed to the
// support library must hold at most the 31 characters the library keeps.
#include <atomic>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <string>

#include "library_harness.h"

namespace {

constexpr int kChannel = 0;
constexpr unsigned int kMaxTimestampChars = 31;
std::atomic<time_t> gNow{1700000000};  // 2023-11-14, a plain date to start from

struct TimestampInput {
    int position;
    uint8_t colour[6];
    std::string format;  // up to the first NUL, as the library reads it
};

TimestampInput parse(const uint8_t* data, size_t size) {
    TimestampInput in{};
    // Positions -2..9: the seven options and some beyond them on both sides.
    in.position = size > 0 ? static_cast<int>(data[0] % 12) - 2 : 0;
    for (size_t i = 0; i < 6; ++i) in.colour[i] = size > 1 + i ? data[1 + i] : 0;
    if (size > 7) in.format.assign(reinterpret_cast<const char*>(data + 7), size - 7);
    in.format = in.format.c_str();
    return in;
}

}  // namespace

extern "C" time_t time(time_t* out) {
    const time_t now = gNow.load();
    if (out) *out = now;
    return now;
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzz::quietPlatform();
    KQ_FUZZ_CHECK(kq_init_kq() == KQ_OK);
    const kq_encoder_param param = {KQ_ENC_H264, 320, 240, 25, 262144, 25};
    KQ_FUZZ_CHECK(fuzz::openScripted(kChannel, param) == KQ_OK);
    KQ_FUZZ_CHECK(kq_start_encoder(kChannel) == KQ_OK);
    kq_enable_osd(kChannel, 1);
    hostctl::setJournalEnabled(true);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const TimestampInput in = parse(data, size);
    hostctl::clearJournal();
    kq_osd_set_position(kChannel, in.position);
    kq_osd_set_color(kChannel, in.colour[0], in.colour[1], in.colour[2], in.colour[3],
                     in.colour[4], in.colour[5]);
    kq_osd_set_format(kChannel, in.format.c_str());
    gNow.fetch_add(1);
    kq_poll_frame(0);
    for (const hostctl::JournalEntry& e : hostctl::calls("set_osd_text")) {
        // "pack, "text", count, x, y, block": the count follows the closing quote.
        const std::size_t close = e.args.rfind('"');
        KQ_FUZZ_CHECK(close != std::string::npos);
        const long count = std::strtol(e.args.c_str() + close + 2, nullptr, 10);
        KQ_FUZZ_CHECK(count >= 0 && count <= static_cast<long>(kMaxTimestampChars));
    }
    return 0;
}
