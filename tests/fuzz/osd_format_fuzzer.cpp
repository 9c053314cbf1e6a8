// libFuzzer target: the running timestamp. Each input sets the timestamp's position,
// colours and strftime() format on a started channel (or switches it off), then lets one
// poll pass redraw or erase it. The library redraws when the second changes, so this
// program's time() advances one second per input: it replaces the C library's for the
// whole process, the library's calls included.
//
// Input: position byte, flags byte, six colour bytes, then the format (up to its first
// NUL, as the library reads it). The frame is narrow enough for long texts to be
// trimmed. Beyond the sanitizers' checks: the text handed to the support library holds
// at most the 24 characters the library formats, and starts inside the frame.
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <string>

#include "library_harness.h"

namespace {

constexpr int kChannel = 0;
constexpr uint32_t kFrameWidth = 176;
constexpr uint32_t kFrameHeight = 144;
constexpr long kMaxTimestampChars = 24;
std::atomic<time_t> gNow{1700000000};  // 2023-11-14, a plain date to start from

enum Flags : uint8_t {
    kSwitchOff = 1,      // the refresh erases instead of drawing
    kNullFormat = 2,     // the format is null, which keeps the previous one
    kAlsoBadChannel = 4  // the same calls go to channel -1 or 2 as well
};

struct TimestampInput {
    int position = 0;
    uint8_t flags = 0;
    uint8_t colour[6] = {};
    std::string format;
};

TimestampInput parse(const uint8_t* data, size_t size) {
    TimestampInput in;
    // Positions -2..9: the seven options and some beyond them on both sides.
    in.position = size > 0 ? data[0] % 12 - 2 : 0;
    in.flags = size > 1 ? data[1] : 0;
    for (size_t i = 0; i < 6 && 2 + i < size; ++i) in.colour[i] = data[2 + i];
    if (size > 8) in.format.assign(reinterpret_cast<const char*>(data + 8), size - 8);
    const std::size_t end = in.format.find('\0');
    if (end != std::string::npos) in.format.resize(end);
    return in;
}

void setTimestamp(int channel, const TimestampInput& in) {
    kq_enable_osd(channel, !(in.flags & kSwitchOff));
    kq_osd_set_position(channel, in.position);
    kq_osd_set_color(channel, in.colour[0], in.colour[1], in.colour[2], in.colour[3], in.colour[4],
                     in.colour[5]);
    kq_osd_set_format(channel, in.flags & kNullFormat ? nullptr : in.format.c_str());
}

// "pack, "text", count, x, y, block" as journaled: the numbers follow the last quote.
void checkDrawnTexts() {
    for (const hostctl::JournalEntry& e : hostctl::calls("set_osd_text")) {
        const std::size_t close = e.args.rfind('"');
        KQ_FUZZ_CHECK(close != std::string::npos);
        char* end = nullptr;
        const long count = std::strtol(e.args.c_str() + close + 2, &end, 10);
        const long x = std::strtol(end + 1, nullptr, 10);
        KQ_FUZZ_CHECK(count >= 0 && count <= kMaxTimestampChars);
        KQ_FUZZ_CHECK(x < static_cast<long>(kFrameWidth));
    }
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
    const kq_encoder_param param = {KQ_ENC_H264, kFrameWidth, kFrameHeight, 25, 262144, 25};
    fuzz::Encoders encoders;
    KQ_FUZZ_CHECK(fuzz::openScripted(kChannel, param, nullptr, nullptr, &encoders) == KQ_OK);
    KQ_FUZZ_CHECK(kq_start_encoder(kChannel) == KQ_OK);
    // Only this target reads the journal: the timestamp's drawing calls.
    hostctl::setJournalEnabled(true);
    fuzz::forgetRecords();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const TimestampInput in = parse(data, size);
    setTimestamp(kChannel, in);
    // Channels outside 0-1 are logged and leave both pipes alone.
    if (in.flags & kAlsoBadChannel) setTimestamp(in.position < 4 ? -1 : 2, in);
    gNow.fetch_add(1);
    kq_poll_frame(0);
    checkDrawnTexts();
    fuzz::forgetRecords();
    return 0;
}
