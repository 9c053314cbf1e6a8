// The host log library's echo, the level a developer chooses for it, the host's own
// records, and the bounds of the control interface's bookkeeping.
#include <cstdio>
#include <cstdlib>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "camera_support.h"
#include "host_control.h"
#include "log/log_level.h"
#include "log_entry.h"
#include "rts_av.h"

using ::testing::ElementsAre;

namespace {

constexpr unsigned int kModuleBit = 1u << 26;

class HostLogTest : public ::testing::Test {
protected:
    void SetUp() override { hostctl::reset(); }
    void TearDown() override {
        hostctl::reset();  // echoes to stderr again before the stream goes
        if (mEcho) std::fclose(mEcho);
        std::free(mEchoed);
    }

    // Echoes into memory from here on.
    void captureEcho() {
        mEcho = open_memstream(&mEchoed, &mEchoedSize);
        ASSERT_NE(mEcho, nullptr);
        hostctl::setLogEcho(mEcho);
    }

    std::string echoed() {
        std::fflush(mEcho);
        return std::string(mEchoed, mEchoedSize);
    }

    // A record written the way the library writes one: shown if IsShow() says so,
    // then stored.
    static void write(unsigned int level, const char* text) {
        if (LogEntry::IsShow(1u << level, kModuleBit))
            LogEntry(level, 26, nullptr, 0).Msg("%s", text);
        Log2MyDB(level, 26, nullptr, 0, "%s", text);
    }

private:
    std::FILE* mEcho = nullptr;
    char* mEchoed = nullptr;
    std::size_t mEchoedSize = 0;
};

TEST(HostLogLevel, EnvironmentValuesNameTheLowestLevelShown) {
    struct Case {
        const char* value;
        unsigned int lowest;
    };
    for (const Case& c :
         {Case{"debug", 1}, Case{"INFO", 2}, Case{"Warning", 3}, Case{"warn", 3}, Case{"error", 4},
          Case{"off", 5}, Case{"1", 1}, Case{"4", 4}, Case{"0", 5}}) {
        unsigned int levels = 0xdead;
        ASSERT_TRUE(host::log::parseLevels(c.value, &levels)) << c.value;
        EXPECT_EQ(levels, hostctl::logLevelsFrom(c.lowest)) << c.value;
    }
    for (const char* unknown : {"", "5", "-1", "verbose", "errors", " info"}) {
        unsigned int levels = 0xdead;
        EXPECT_FALSE(host::log::parseLevels(unknown, &levels)) << unknown;
        EXPECT_EQ(levels, 0xdeadu) << unknown;
    }
}

TEST_F(HostLogTest, ALevelIsShownExactlyWhenItsRecordsAreEchoed) {
    captureEcho();
    std::string expected;
    for (unsigned int lowest = 1; lowest <= 5; ++lowest) {
        SCOPED_TRACE(lowest);
        hostctl::clearLogRecords();
        hostctl::setShownLevels(hostctl::logLevelsFrom(lowest));
        for (unsigned int level = 1; level <= 4; ++level) {
            EXPECT_EQ(LogEntry::IsShow(1u << level, kModuleBit), level >= lowest) << level;
            // Even a caller that skips IsShow() echoes only the levels shown. Errors name
            // their source, which the echo shows.
            const char* file = level == 4 ? "src/x.cpp" : nullptr;
            LogEntry(level, 26, file, 42).Msg("level %u\n", level);
            Log2MyDB(level, 26, file, 42, "level %u\n", level);
        }
        static const char* const kLines[] = {"", "debug level 1\n", "info  level 2\n",
                                             "warn  level 3\n", "error src/x.cpp:42 level 4\n"};
        for (unsigned int level = lowest; level <= 4; ++level) expected += kLines[level];
        EXPECT_EQ(echoed(), expected) << "one line per record shown, none per record stored";
        EXPECT_EQ(hostctl::logRecords(hostctl::LogRecord::Path::Shown).size(), 5 - lowest);
        EXPECT_THAT(hostctl::logTexts(),
                    ElementsAre("level 1\n", "level 2\n", "level 3\n", "level 4\n"))
            << "stored whatever is shown";
    }
}

TEST_F(HostLogTest, WithoutAnEchoStreamNothingIsShownButEverythingStored) {
    hostctl::setShownLevels(hostctl::kAllLogLevels);
    hostctl::setLogEcho(nullptr);
    for (unsigned int level = 1; level <= 4; ++level)
        EXPECT_FALSE(LogEntry::IsShow(1u << level, kModuleBit)) << level;
    write(4, "stored");
    EXPECT_TRUE(hostctl::logRecords(hostctl::LogRecord::Path::Shown).empty());
    EXPECT_THAT(hostctl::logTexts(), ElementsAre("stored"));
}

// The host's own records go where the library's do, under a module of their own.
TEST_F(HostLogTest, TheHostsOwnRecordsAreKeptAndEchoedUnderItsModule) {
    captureEcho();
    hostctl::setShownLevels(hostctl::logLevelsFrom(3));
    EXPECT_EQ(init_gpio(40, 0, 1, 0), -ENODEV);
    const std::string text =
        "host: init_gpio: pin 40 of bank 0 refused: the board has pins 0 to 31 in banks 0 to 3";
    EXPECT_EQ(echoed(), "warn  " + text + "\n");
    for (auto path : {hostctl::LogRecord::Path::Shown, hostctl::LogRecord::Path::Stored}) {
        std::vector<hostctl::LogRecord> records = hostctl::logRecords(path);
        ASSERT_EQ(records.size(), 1u);
        EXPECT_EQ(records[0].module, hostctl::kHostLogModule);
        EXPECT_EQ(records[0].level, 3u);
        EXPECT_EQ(records[0].file, "");
        EXPECT_EQ(records[0].text, text);
    }
    hostctl::setShownLevels(hostctl::logLevelsFrom(4));
    EXPECT_EQ(init_gpio(40, 0, 1, 0), -ENODEV);
    EXPECT_EQ(hostctl::logRecords().size(), 2u) << "stored whatever is shown";
    EXPECT_EQ(echoed(), "warn  " + text + "\n");
}

// Run by the ctest entry platform_log_level, which sets KQ_HOST_LOG_LEVEL=Info: a reset
// echoes to stderr again, the levels the environment chose.
TEST_F(HostLogTest, TheEnvironmentChoosesTheLevelsShown) {
    const char* value = std::getenv(host::log::kLevelVariable);
    if (!value || std::string(value) != "Info") GTEST_SKIP() << "KQ_HOST_LOG_LEVEL is not Info";
    hostctl::setShownLevels(0);
    hostctl::setLogEcho(nullptr);
    hostctl::reset();
    EXPECT_FALSE(LogEntry::IsShow(1u << 1, kModuleBit));
    for (unsigned int level = 2; level <= 4; ++level)
        EXPECT_TRUE(LogEntry::IsShow(1u << level, kModuleBit)) << level;
}

}  // namespace
