// Starting and stopping the library, the status codes and log texts of the exported
// entry functions, and the calls refused while the library is not started.
#include <climits>
#include <cstdio>
#include <string>

#include "library_fixture.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

const kq_encoder_param kH264 = {KQ_ENC_H264, 1280, 720, 30, 1000000, 60};

// The entry points that act on a channel, each calling it on `channel` and giving its
// code (0 for those that return nothing), with the codes of its two refusals: of a
// channel other than 0 and 1, and while the library is not started.
struct ChannelEntry {
    const char* function;
    int (*call)(int channel);
    int invalidChannel, notStarted;
};

const ChannelEntry kChannelEntries[] = {
    {"kq_open_encoder", [](int c) { return kq_open_encoder(c, &kH264, nullptr, nullptr); },
     KQ_INVALID_CHANNEL, KQ_FAIL},
    {"kq_start_encoder", kq_start_encoder, KQ_INVALID_CHANNEL, KQ_FAIL},
    {"kq_close_encoder", [](int c) { return kq_close_encoder(c), 0; }, 0, 0},
    {"kq_register_snapshot_callback",
     [](int c) { return kq_register_snapshot_callback(c, nullptr), 0; }, 0, 0},
    // An invalid channel answers like a placed request; a stopped library has no callback.
    {"kq_trigger_snapshot", [](int c) { return kq_trigger_snapshot(c, 80); }, 0, -16},
    {"kq_enable_osd", [](int c) { return kq_enable_osd(c, 1), 0; }, 0, 0},
    {"kq_osd_set_position", [](int c) { return kq_osd_set_position(c, 3), 0; }, 0, 0},
    {"kq_osd_set_color", [](int c) { return kq_osd_set_color(c, 1, 2, 3, 4, 5, 6), 0; }, 0, 0},
    {"kq_osd_set_format", [](int c) { return kq_osd_set_format(c, "%H"), 0; }, 0, 0},
    {"kq_watermark_enable", [](int c) { return kq_watermark_enable(c, 1); }, -1, -1},
    {"kq_watermark_setup_position", [](int c) { return kq_watermark_setup_position(c, 3), 0; }, 0,
     0},
    {"kq_watermark_setup_opaque", [](int c) { return kq_watermark_setup_opaque(c, 50), 0; }, 0, 0},
    {"kq_enable_privacy_mode", [](int c) { return kq_enable_privacy_mode(c, 1); }, -1, -1},
};

class LibraryEntryTest : public LibraryTest {
protected:
    // The only trace a refused call may leave: this error, located in `file`, and no
    // platform call. Forgets the history for the next call.
    static void expectRefusal(const std::string& text, const std::string& file) {
        EXPECT_THAT(callNames(), IsEmpty());
        const std::vector<hostctl::LogRecord> records = libraryRecords();
        forgetHistory();
        ASSERT_EQ(records.size(), 1u);
        EXPECT_EQ(records[0].text, text);
        EXPECT_EQ(records[0].level, 4u);
        EXPECT_EQ(records[0].file, "src/rts390x/kq_api_shell/" + file);
        EXPECT_GT(records[0].line, 0u);
    }

    static void expectRefusedWhileStopped() {
        forgetHistory();
        for (const ChannelEntry& e : kChannelEntries) {
            SCOPED_TRACE(e.function);
            EXPECT_EQ(e.call(0), e.notStarted);
            expectRefusal(std::string(e.function) + ": library not started, kq_init_kq first",
                          "rts_api.cpp");
        }
        EXPECT_EQ(kq_poll_frame(0), 0);
        expectRefusal("kq_poll_frame: library not started, kq_init_kq first", "rts_api.cpp");
        kq_uninit();
        expectRefusal("kq_uninit: library not started, kq_init_kq first", "rts_api.cpp");
    }
};

TEST_F(LibraryEntryTest, InitStartsThePlatformOnceSavesTheImageAndLogsSuccess) {
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

    // A second start is refused and keeps the running library.
    openPipe(0, h264());
    forgetHistory();
    EXPECT_EQ(kq_init_kq(), KQ_FAIL);
    EXPECT_THAT(callNames(), IsEmpty()) << "no second platform start";
    EXPECT_EQ(levelOf("kq_init_kq: library already started, kq_uninit first"), 4u);
    EXPECT_EQ(hostctl::platformInitCount(), 1);
    EXPECT_EQ(hostctl::liveChannelCount(), 4) << "the open channel is untouched";

    kq_uninit();
    EXPECT_EQ(hostctl::platformInitCount(), 0);
    EXPECT_EQ(hostctl::liveChannelCount(), 0);
}

TEST_F(LibraryEntryTest, CallsWithoutAStartedLibraryAreRefusedWithoutPlatformCalls) {
    expectRefusedWhileStopped();  // before the first start
    startLibrary();
    kq_uninit();
    expectRefusedWhileStopped();  // after a stop
    hostctl::failCall("rts_av_init", 1, -19);
    ASSERT_EQ(kq_init_kq(), KQ_FAIL);
    expectRefusedWhileStopped();  // after a failed start
}

TEST_F(LibraryEntryTest, InvalidChannelsAreRefusedBeforeAnythingIsTouched) {
    startLibrary();
    for (int channel : {2, -1, 1000, -100000, INT_MAX}) {
        for (const ChannelEntry& e : kChannelEntries) {
            SCOPED_TRACE(std::string(e.function) + "(" + std::to_string(channel) + ")");
            EXPECT_EQ(e.call(channel), e.invalidChannel);
            expectRefusal("given ch[" + std::to_string(channel) + "] not vaild!", "rts_api.cpp");
        }
    }
}

TEST_F(LibraryEntryTest, NullParametersAreRefusedWithoutAPlatformCall) {
    startLibrary();
    EXPECT_EQ(kq_open_encoder(0, nullptr, nullptr, nullptr), KQ_FAIL);
    kq_osd_set_format(0, nullptr);
    EXPECT_THAT(callNames(), IsEmpty());
    EXPECT_THAT(logTexts(), ElementsAre("kq_open_encoder ch[0]: no encoder parameters",
                                        "kq_osd_set_format ch[0]: no format, the timestamp "
                                        "keeps its format"));
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
    // The overlays set themselves up with each channel: these do nothing.
    EXPECT_EQ(kq_osd_init(), 0);
    EXPECT_EQ(kq_osd_uninit(), 0);
    kq_osd_update();

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

// A record is shown only at the levels the log library shows, and stored at every level.
// (How the host echoes a shown record is HostLogTest's.)
TEST_F(LibraryEntryTest, ShownRecordsFollowTheShownLevelsAndEveryRecordIsStored) {
    startLibrary();
    std::FILE* echo = std::tmpfile();
    hostctl::setLogEcho(echo);  // without an echo stream no level is shown
    for (unsigned int lowest : {1u, 4u}) {
        SCOPED_TRACE("shown from level " + std::to_string(lowest));
        forgetHistory();
        hostctl::setShownLevels(hostctl::logLevelsFrom(lowest));
        kq_force_keyframe(0);  // a warning
        std::vector<std::string> shown;
        for (const hostctl::LogRecord& r : hostctl::logRecords(hostctl::LogRecord::Path::Shown))
            shown.push_back(r.text);
        const std::vector<std::string> stored = {"kq_force_keyframe not implemented!"};
        EXPECT_EQ(logTexts(), stored);
        EXPECT_EQ(shown, lowest <= 3 ? stored : std::vector<std::string>{});
    }
    hostctl::setLogEcho(nullptr);
    std::fclose(echo);
}

}  // namespace
