// What the library's fuzz targets share: a quiet host platform, the records of an input
// freed at its end, and an open pipe whose encoders make nothing by themselves.
#pragma once

#include "fuzz_check.h"
#include "host_control.h"
#include "kq_api.h"

namespace fuzz {

// A fresh host platform that echoes no log line and journals nothing.
inline void quietPlatform() {
    hostctl::reset();
    hostctl::setLogEcho(nullptr);
    hostctl::setJournalEnabled(false);
}

// Frees what an input journaled and logged. libFuzzer takes an input that leaves more
// allocations than frees for a possible leak and scans the whole heap after it: records
// kept from one input to the next would cost that scan every time.
inline void forgetRecords() {
    hostctl::clearJournal();
    hostctl::clearLogRecords();
}

// Platform ids of a pipe's two encoder channels.
struct Encoders {
    int h264 = -1;
    int mjpeg = -1;
};

// Opens `channel` and makes both of its encoders scripted, so that an input costs the
// channel graph, not the encoding; the open's code, with the encoders' ids on success.
inline int openScripted(int channel, const kq_encoder_param& param, kq_frame_callback callback,
                        void* userData, Encoders* encoders) {
    // The ids come from the journal of the creation calls.
    hostctl::setJournalEnabled(true);
    const int r = kq_open_encoder(channel, &param, callback, userData);
    if (r == KQ_OK) {
        auto created = [](const char* function) {
            auto calls = hostctl::calls(function);
            return calls.empty() ? -1 : calls.back().result;
        };
        *encoders = {created("rts_av_create_h264_chn"), created("rts_av_create_mjpeg_chn")};
        KQ_FUZZ_CHECK(hostctl::scriptChannel(encoders->h264, true) == 0);
        KQ_FUZZ_CHECK(hostctl::scriptChannel(encoders->mjpeg, true) == 0);
    }
    hostctl::setJournalEnabled(false);
    hostctl::clearJournal();
    return r;
}

}  // namespace fuzz
