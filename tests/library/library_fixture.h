// Shared setup of the library tests: a fresh host platform for every test and the
// library stopped again afterwards, so no test sees another's channels or records.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ostream>
#include <string>
#include <vector>

#include "host_control.h"
#include "kq_api.h"

// One set_osd_text() call as journaled: pack, "text", count, x, y, block.
struct DrawnText {
    std::string text;
    int count, x, y, block;
};

inline std::vector<DrawnText> drawnTexts() {
    std::vector<DrawnText> drawn;
    for (const hostctl::JournalEntry& e : hostctl::calls("set_osd_text")) {
        std::size_t open = e.args.find('"');
        std::size_t close = e.args.rfind('"');
        DrawnText d{e.args.substr(open + 1, close - open - 1), 0, 0, 0, 0};
        std::sscanf(e.args.c_str() + close + 1, ", %d, %d, %d, %d", &d.count, &d.x, &d.y, &d.block);
        drawn.push_back(d);
    }
    return drawn;
}

// Where a draw_osd_image() call put its image: its last three arguments.
struct DrawnImage {
    int x, y, block;
    bool operator==(const DrawnImage& o) const { return x == o.x && y == o.y && block == o.block; }
};

inline std::ostream& operator<<(std::ostream& out, const DrawnImage& d) {
    return out << "(" << d.x << ", " << d.y << ") block " << d.block;
}

inline std::vector<DrawnImage> drawnImages() {
    std::vector<DrawnImage> drawn;
    for (const hostctl::JournalEntry& e : hostctl::calls("draw_osd_image")) {
        std::size_t at = e.args.size();
        for (int i = 0; i < 3 && at != std::string::npos && at > 0; ++i)
            at = e.args.rfind(", ", at - 1);
        DrawnImage d{-1, -1, -1};
        if (at != std::string::npos)
            std::sscanf(e.args.c_str() + at, ", %d, %d, %d", &d.x, &d.y, &d.block);
        drawn.push_back(d);
    }
    return drawn;
}

class LibraryTest : public ::testing::Test {
protected:
    void SetUp() override {
        hostctl::reset();
        // The tests read the captured records; echoing them would only flood the output.
        hostctl::setLogEcho(nullptr);
    }

    void TearDown() override {
        kq_uninit();  // logs a refusal when the test left the library stopped: harmless
        hostctl::reset();
    }

    // Starts the library and forgets what starting it journaled and logged.
    void startLibrary() {
        ASSERT_EQ(kq_init_kq(), KQ_OK);
        forgetHistory();
    }

    static void forgetHistory() {
        hostctl::clearJournal();
        hostctl::clearLogRecords();
    }

    static kq_encoder_param h264(uint32_t width = 1280, uint32_t height = 720, uint32_t fps = 30,
                                 uint32_t bitrate = 1000000, uint32_t gop = 60) {
        return {KQ_ENC_H264, width, height, fps, bitrate, gop};
    }

    static kq_encoder_param mjpeg(uint32_t width = 640, uint32_t height = 360, uint32_t fps = 15) {
        return {KQ_ENC_MJPEG, width, height, fps, 0, 0};
    }

    // The platform channel ids of an open pipe.
    struct PipeChannels {
        int isp = -1, osd = -1, enc = -1, jpg = -1;
        int delivery(bool mjpeg) const { return mjpeg ? jpg : enc; }
    };

    // Opens `channel` and reads the ids of its channels from the journal.
    static PipeChannels openPipe(int channel, const kq_encoder_param& param,
                                 kq_frame_callback callback = nullptr, void* userData = nullptr) {
        hostctl::clearJournal();
        EXPECT_EQ(kq_open_encoder(channel, &param, callback, userData), KQ_OK);
        auto created = [](const char* function) {
            auto calls = hostctl::calls(function);
            return calls.empty() ? -1 : calls.back().result;
        };
        return {created("rts_av_create_isp_chn"), created("rts_av_create_osd_chn"),
                created("rts_av_create_h264_chn"), created("rts_av_create_mjpeg_chn")};
    }

    // Opens and starts `channel` with both encoders scripted: only pushed buffers come out.
    static PipeChannels startScriptedPipe(int channel, const kq_encoder_param& param,
                                          kq_frame_callback callback = nullptr,
                                          void* userData = nullptr) {
        PipeChannels ids = openPipe(channel, param, callback, userData);
        EXPECT_EQ(hostctl::scriptChannel(ids.enc, true), 0);
        EXPECT_EQ(hostctl::scriptChannel(ids.jpg, true), 0);
        EXPECT_EQ(kq_start_encoder(channel), KQ_OK);
        return ids;
    }

    // Polls until `done()` or `limitMs` passed; whether `done()` came true.
    template <typename Done>
    static bool pollUntil(Done done, int limitMs = 3000) {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(limitMs);
        while (!done()) {
            if (std::chrono::steady_clock::now() > deadline) return false;
            kq_poll_frame(10);
        }
        return true;
    }

    // Names of the platform calls made, in order.
    static std::vector<std::string> callNames() {
        std::vector<std::string> names;
        for (const hostctl::JournalEntry& e : hostctl::journal()) names.push_back(e.function);
        return names;
    }

    // The library's stored records, without the host platform's own.
    static std::vector<hostctl::LogRecord> libraryRecords() {
        std::vector<hostctl::LogRecord> records = hostctl::logRecords();
        records.erase(std::remove_if(records.begin(), records.end(),
                                     [](const hostctl::LogRecord& r) {
                                         return r.module == hostctl::kHostLogModule;
                                     }),
                      records.end());
        return records;
    }

    static std::vector<std::string> logTexts() {
        std::vector<std::string> texts;
        for (hostctl::LogRecord& r : libraryRecords()) texts.push_back(std::move(r.text));
        return texts;
    }

    // The stored record with exactly this text, or null.
    static bool findLog(const std::string& text, hostctl::LogRecord* found = nullptr) {
        for (const hostctl::LogRecord& r : hostctl::logRecords()) {
            if (r.text != text) continue;
            if (found) *found = r;
            return true;
        }
        return false;
    }

    // The level of the stored record with exactly this text; 0 when there is none.
    static unsigned int levelOf(const std::string& text) {
        hostctl::LogRecord record;
        return findLog(text, &record) ? record.level : 0;
    }
};
