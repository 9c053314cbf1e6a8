// Shared setup of the library tests: a fresh host platform for every test and the
// library stopped again afterwards, so no test sees another's channels or records.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host_control.h"
#include "kq_api.h"

class LibraryTest : public ::testing::Test {
protected:
    void SetUp() override { hostctl::reset(); }

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

    // Names of the platform calls made, in order.
    static std::vector<std::string> callNames() {
        std::vector<std::string> names;
        for (const hostctl::JournalEntry& e : hostctl::journal()) names.push_back(e.function);
        return names;
    }

    static std::vector<std::string> logTexts() { return hostctl::logTexts(); }

    // The stored record with exactly this text, or null.
    static bool findLog(const std::string& text, hostctl::LogRecord* found = nullptr) {
        for (const hostctl::LogRecord& r : hostctl::logRecords()) {
            if (r.text != text) continue;
            if (found) *found = r;
            return true;
        }
        return false;
    }
};
