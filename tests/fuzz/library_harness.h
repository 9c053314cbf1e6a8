// What the library's fuzz targets share: the host platform set up once per process,
// quiet, with only the records an input needs, and the platform ids of an open channel.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

#include "host_control.h"
#include "kq_api.h"

namespace fuzz {

// Stops the fuzzer at a broken promise of the library, naming it, so that libFuzzer
// keeps the input.
#define KQ_FUZZ_CHECK(condition)                                                   \
    do {                                                                           \
        if (!(condition)) {                                                        \
            std::fprintf(stderr, "fuzz check failed: %s (%s:%d)\n", #condition,   \
                         __FILE__, __LINE__);                                      \
            std::abort();                                                          \
        }                                                                          \
    } while (0)

// A fresh host platform that echoes no log line and journals nothing (the journal and
// the records stay bounded all the same).
inline void quietPlatform() {
    hostctl::reset();
    hostctl::setLogEcho(nullptr);
    hostctl::setJournalEnabled(false);
}

// The id the latest successful call of a creation function returned, from the journal.
inline int createdChannel(const char* function) {
    auto calls = hostctl::calls(function);
    return calls.empty() ? -1 : calls.back().result;
}

// Opens `channel` with `param` and makes both of its encoders scripted, so that an
// input costs no encoding; KQ_OK or the open's code.
inline int openScripted(int channel, const kq_encoder_param& param,
                        kq_frame_callback callback = nullptr) {
    hostctl::setJournalEnabled(true);
    hostctl::clearJournal();
    int r = kq_open_encoder(channel, &param, callback, nullptr);
    if (r == KQ_OK) {
        hostctl::scriptChannel(createdChannel("rts_av_create_h264_chn"), true);
        hostctl::scriptChannel(createdChannel("rts_av_create_mjpeg_chn"), true);
    }
    hostctl::clearJournal();
    hostctl::setJournalEnabled(false);
    return r;
}

}  // namespace fuzz
