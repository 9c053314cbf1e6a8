// Starting and stopping the library, the status codes and log texts of the exported
// entry functions, and the calls refused while the library is not started.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "library_fixture.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using LibraryEntryTest = LibraryTest;

TEST_F(LibraryEntryTest, InitStartsThePlatformSavesTheImageAndLogsSuccess) {
    ASSERT_EQ(kq_init_kq(), KQ_OK);
    EXPECT_EQ(hostctl::platformInitCount(), 1);

    std::vector<std::string> names = callNames();
    ASSERT_FALSE(names.empty());
    EXPECT_EQ(names.front(), "rts_av_init");
    EXPECT_EQ(names.back(), "get_ae_auto") << "the image settings, then auto exposure, are saved";
    hostctl::LogRecord success;
    ASSERT_TRUE(findLog("kq_init_kq success", &success));
    EXPECT_EQ(success.level, 2u);
    EXPECT_EQ(success.module, 26u);
    EXPECT_TRUE(success.file.empty()) << "only error records carry a source location";
    EXPECT_EQ(success.line, 0u);

    kq_uninit();
    EXPECT_EQ(hostctl::platformInitCount(), 0);
}

TEST_F(LibraryEntryTest, SecondInitIsRefusedAndKeepsTheRunningLibrary) {
    startLibrary();
    kq_encoder_param param = h264();
    ASSERT_EQ(kq_open_encoder(0, &param, nullptr, nullptr), KQ_OK);
    forgetHistory();

    EXPECT_EQ(kq_init_kq(), KQ_FAIL);
    EXPECT_THAT(callNames(), IsEmpty()) << "no second platform start";
    hostctl::LogRecord refusal;
    ASSERT_TRUE(findLog("kq_init_kq: library already started, kq_uninit first", &refusal));
    EXPECT_EQ(refusal.level, 4u);
    EXPECT_EQ(hostctl::platformInitCount(), 1);
    EXPECT_EQ(hostctl::liveChannelCount(), 4) << "the open channel is untouched";
}

TEST_F(LibraryEntryTest, CallsWithoutAStartedLibraryAreRefusedWithoutPlatformCalls) {
    auto expectRefused = [](const char* function) {
        hostctl::LogRecord record;
        EXPECT_TRUE(
            findLog(std::string(function) + ": library not started, kq_init_kq first", &record))
            << function;
        EXPECT_EQ(record.level, 4u);
        EXPECT_FALSE(record.file.empty());
    };
    kq_encoder_param param = h264();
    auto exercise = [&] {
        forgetHistory();
        EXPECT_EQ(kq_open_encoder(0, &param, nullptr, nullptr), KQ_FAIL);
        EXPECT_EQ(kq_start_encoder(1), KQ_FAIL);
        kq_close_encoder(0);
        kq_register_snapshot_callback(1, nullptr);
        kq_uninit();
        EXPECT_THAT(callNames(), IsEmpty());
        for (const char* f : {"kq_open_encoder", "kq_start_encoder", "kq_close_encoder",
                              "kq_register_snapshot_callback", "kq_uninit"})
            expectRefused(f);
    };

    exercise();  // before the first start
    startLibrary();
    kq_uninit();
    exercise();  // after a stop
    hostctl::failCall("rts_av_init", 1, -19);
    ASSERT_EQ(kq_init_kq(), KQ_FAIL);
    exercise();  // after a failed start
}

TEST_F(LibraryEntryTest, InvalidChannelsAreRefusedBeforeAnythingIsTouched) {
    startLibrary();
    kq_encoder_param param = h264();
    for (int channel : {2, -1, 1000}) {
        forgetHistory();
        EXPECT_EQ(kq_open_encoder(channel, &param, nullptr, nullptr), KQ_INVALID_CHANNEL);
        EXPECT_EQ(kq_start_encoder(channel), KQ_INVALID_CHANNEL);
        kq_close_encoder(channel);
        kq_register_snapshot_callback(channel, nullptr);
        EXPECT_THAT(callNames(), IsEmpty());
        const std::string refusal = "given ch[" + std::to_string(channel) + "] not vaild!";
        EXPECT_THAT(logTexts(), ElementsAre(refusal, refusal, refusal, refusal));
        hostctl::LogRecord record;
        ASSERT_TRUE(findLog(refusal, &record));
        EXPECT_EQ(record.level, 4u);
        EXPECT_EQ(record.file, "src/rts390x/kq_api_shell/rts_api.cpp");
        EXPECT_GT(record.line, 0u);
    }
}

TEST_F(LibraryEntryTest, NullParametersAreRefusedWithoutBuildingAGraph) {
    startLibrary();
    EXPECT_EQ(kq_open_encoder(0, nullptr, nullptr, nullptr), KQ_FAIL);
    EXPECT_THAT(callNames(), IsEmpty());
    EXPECT_TRUE(findLog("kq_open_encoder ch[0]: no encoder parameters"));
}

TEST_F(LibraryEntryTest, NotImplementedFunctionsOnlyLogTheirNotice) {
    startLibrary();
    EXPECT_EQ(kq_encoder_change_fps(0, 10), 0);
    kq_force_keyframe(0);
    kq_set_roi(0, 1, 2, 3, 4);
    kq_change_bitrate(0, 1);
    kq_motion_detect_enable(1);
    kq_motion_detect_region_setup(0, 1, 2, 3, 4);
    kq_motion_detect_region_enable(0, 1);
    kq_set_pw_frequency(50);
    kq_get_crop_info();
    kq_get_crop_info_mjpg();
    kq_get_crop_info_h264();
    kq_to_mjpg_crop_size();
    kq_to_h264_crop_size();
    kq_register_timestamp_callback(nullptr);

    EXPECT_THAT(callNames(), IsEmpty());
    EXPECT_THAT(
        logTexts(),
        ElementsAre("kq_encoder_change_fps not implemented!", "kq_force_keyframe not implemented!",
                    "kq_set_roi not implemented!", "kq_change_bitrate not implemented!",
                    "kq_motion_detect_enable not implemented!",
                    "kq_motion_detect_region_setup not implemented!",
                    "kq_motion_detect_region_enable not implemented!",
                    "kq_set_pw_frequency not implemented yet!",
                    "kq_get_crop_info not implemented yet!",
                    "kq_get_crop_info_mjpg not implemented yet!",
                    "kq_get_crop_info_h264 not implemented yet!",
                    "kq_to_mjpg_crop_size not implemented yet!",
                    "kq_to_h264_crop_size not implemented yet!"));
    for (const hostctl::LogRecord& r : hostctl::logRecords()) {
        EXPECT_EQ(r.level, 3u);
        EXPECT_TRUE(r.file.empty());
    }
}

TEST_F(LibraryEntryTest, ShownRecordsAreEchoedAndEveryRecordIsStored) {
    startLibrary();
    char* echoed = nullptr;
    std::size_t echoedSize = 0;
    std::FILE* echo = open_memstream(&echoed, &echoedSize);
    ASSERT_NE(echo, nullptr);
    hostctl::setLogEcho(echo);
    hostctl::setShownLevels(hostctl::kAllLogLevels);
    kq_force_keyframe(0);
    std::vector<hostctl::LogRecord> shown = hostctl::logRecords(hostctl::LogRecord::Path::Shown);
    ASSERT_EQ(shown.size(), 1u);
    EXPECT_EQ(shown[0].text, "kq_force_keyframe not implemented!");

    // Warnings not shown: not echoed, not made by the library at all, still stored.
    forgetHistory();
    hostctl::setShownLevels(hostctl::logLevelsFrom(4));
    kq_force_keyframe(0);
    EXPECT_THAT(hostctl::logRecords(hostctl::LogRecord::Path::Shown), IsEmpty());
    EXPECT_THAT(logTexts(), ElementsAre("kq_force_keyframe not implemented!"));

    hostctl::setLogEcho(nullptr);
    std::fclose(echo);
    EXPECT_EQ(std::string(echoed, echoedSize), "warn  kq_force_keyframe not implemented!\n");
    std::free(echoed);
}

}  // namespace
