// libFuzzer target: kq_open_encoder() with any six words of parameters, on any channel
// number, then start, two polls and close. The encoders are scripted once the channel is
// open, so an input costs the channel graph, not the encoding. Beyond the sanitizers'
// checks: the results are the documented codes, and a close leaves no platform channel.
#include <cstdint>
#include <cstring>

#include "library_harness.h"

namespace {

int onFrame(const uint8_t*, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, void*) { return 0; }

bool validChannel(int channel) { return channel == 0 || channel == 1; }

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzz::quietPlatform();
    KQ_FUZZ_CHECK(kq_init_kq() == KQ_OK);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    uint32_t words[6] = {};
    std::memcpy(words, data, size < sizeof words ? size : sizeof words);
    const uint8_t extra = size > sizeof words ? data[sizeof words] : 0;
    const int channel = static_cast<int>(extra & 3) - 1;  // -1..2
    const bool withCallback = (extra & 4) != 0;
    const kq_encoder_param param = {words[0], words[1], words[2], words[3], words[4], words[5]};

    int r = fuzz::openScripted(channel, param, withCallback ? onFrame : nullptr);
    KQ_FUZZ_CHECK(r == KQ_OK || r == KQ_FAIL || r == KQ_INVALID_CHANNEL);
    KQ_FUZZ_CHECK((r == KQ_INVALID_CHANNEL) == !validChannel(channel));
    if (r == KQ_OK) {
        r = kq_start_encoder(channel);
        KQ_FUZZ_CHECK(r == KQ_OK || r == KQ_FAIL);
        kq_poll_frame(0);
        kq_poll_frame(0);
    }
    kq_close_encoder(channel);
    KQ_FUZZ_CHECK(hostctl::liveChannelCount() == 0);
    return 0;
}
