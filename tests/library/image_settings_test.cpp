// Image settings by ISP type: what reaches the platform, what is saved, the staged
// auto-exposure values, and the re-application over every newly opened graph.
#include <algorithm>

#include "camera_support.h"
#include "library_fixture.h"

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

namespace {

class ImageSettingsTest : public LibraryTest {
protected:
    // Opens and closes channel 0, returning the platform calls of the open.
    static std::vector<std::string> callsOfAnOpen() {
        forgetHistory();
        kq_encoder_param param = h264();
        EXPECT_EQ(kq_open_encoder(0, &param, nullptr, nullptr), KQ_OK);
        std::vector<std::string> texts = hostctl::callTexts();
        kq_close_encoder(0);
        forgetHistory();
        return texts;
    }

    // The auto-exposure values the platform has now, as set_ae_auto's arguments.
    static std::string platformAe() {
        int32_t bias = 0, metering = 0;
        uint16_t target = 0;
        uint8_t speed = 0;
        EXPECT_EQ(get_ae_auto(&bias, &target, &speed, &metering), 0);
        return std::to_string(bias) + ", " + std::to_string(target) + ", " + std::to_string(speed) +
               ", " + std::to_string(metering);
    }
};

TEST_F(ImageSettingsTest, ImageTypesReachThePlatformAndAreReappliedOnOpen) {
    startLibrary();
    EXPECT_EQ(kq_isp_set(KQ_ISP_BRIGHTNESS, 150), 0);
    EXPECT_THAT(hostctl::callTexts(), ElementsAre("set_brightness(150)"));
    EXPECT_THAT(logTexts(), IsEmpty());

    // A refused value keeps the older one saved (its record is the failure sweep's).
    hostctl::failCall("set_brightness", 1, -5);
    EXPECT_EQ(kq_isp_set(KQ_ISP_BRIGHTNESS, 200), -5);

    std::vector<std::string> open = callsOfAnOpen();
    EXPECT_THAT(open, Contains("set_brightness(150)"));
    EXPECT_THAT(open, Not(Contains("set_flip(1)"))) << "flip is not saved";
}

// Reserved types are accepted and unknown ones refused, and auto-exposure values are
// range-checked and staged until applied (by a non-zero apply): none of them reaches the
// platform at once.
TEST_F(ImageSettingsTest, ReservedUnknownAndStagedTypesMakeNoPlatformCall) {
    startLibrary();
    const char* const aeRefused = "rts verify ae auto setting fail, ret = 21, Is a directory";
    const struct {
        uint32_t type;
        int value;
        int result;
        unsigned int level;  // of its one record
        const char* record;  // null for none
    } cases[] = {
        {KQ_ISP_RESERVED_4, 9, 0, 0, nullptr},
        {KQ_ISP_RESERVED_7, 9, 0, 0, nullptr},
        {26, 1, -1, 4, "given isp type: 26 invalid!"},
        {0xffffffffu, 1, -1, 4, "given isp type: -1 invalid!"},
        {KQ_ISP_AE_1, -128, 0, 0, nullptr},
        {KQ_ISP_AE_1, 127, 0, 0, nullptr},
        {KQ_ISP_AE_1, 128, 21, 3, aeRefused},
        {KQ_ISP_AE_1, -129, 21, 3, aeRefused},
        {KQ_ISP_AE_2, 65535, 0, 0, nullptr},
        {KQ_ISP_AE_2, -1, 21, 3, aeRefused},
        {KQ_ISP_AE_2, 65536, 21, 3, aeRefused},
        {KQ_ISP_AE_3, 255, 0, 0, nullptr},
        {KQ_ISP_AE_3, 256, 21, 3, aeRefused},
        {KQ_ISP_AE_4, 5, 0, 0, nullptr},
        {KQ_ISP_AE_4, 6, 21, 3, aeRefused},
        {KQ_ISP_AE_4, -1, 21, 3, aeRefused},
        {KQ_ISP_AE_2, 400, 0, 0, nullptr},
        {KQ_ISP_AE_APPLY, 0, 0, 0, nullptr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.type << " = " << c.value);
        forgetHistory();
        EXPECT_EQ(kq_isp_set(c.type, c.value), c.result);
        EXPECT_THAT(callNames(), IsEmpty());
        const std::vector<hostctl::LogRecord> records = libraryRecords();
        ASSERT_EQ(records.size(), c.record ? 1u : 0u);
        if (!c.record) continue;
        EXPECT_EQ(records[0].text, c.record);
        EXPECT_EQ(records[0].level, c.level);
    }

    EXPECT_EQ(kq_isp_set(KQ_ISP_AE_APPLY, 1), 0);
    EXPECT_THAT(hostctl::callTexts(), ElementsAre("set_ae_auto(127, 400, 255, 5)"));
    EXPECT_EQ(platformAe(), "127, 400, 255, 5");

    forgetHistory();
    EXPECT_EQ(rts_set_isp(KQ_ISP_AE_1, 3), 0);
    EXPECT_THAT(callNames(), IsEmpty());
    EXPECT_THAT(logTexts(), ElementsAre("THIS SHOULD NOT HAPPENED!"));
}

TEST_F(ImageSettingsTest, IrModeReappliesTheStagedExposureEvenWhenItFails) {
    startLibrary();
    const std::string ae = platformAe();
    forgetHistory();
    EXPECT_EQ(kq_isp_set(KQ_ISP_IR_MODE, 1), 0);
    EXPECT_THAT(hostctl::callTexts(), ElementsAre("set_ir_mode(1)", "set_ae_auto(" + ae + ")"));

    forgetHistory();
    hostctl::failCall("set_ir_mode", 1, -5);
    EXPECT_EQ(kq_isp_set(KQ_ISP_IR_MODE, 2), -5);
    EXPECT_THAT(hostctl::callTexts(), ElementsAre("set_ir_mode(2)", "set_ae_auto(" + ae + ")"));

    // The open applies the saved table, with auto exposure inside it at type 16 and again
    // after it.
    std::vector<std::string> open = callsOfAnOpen();
    EXPECT_THAT(open, Contains("set_ir_mode(1)"));
    EXPECT_EQ(std::count(open.begin(), open.end(), "set_ae_auto(" + ae + ")"), 2);
}

TEST_F(ImageSettingsTest, StartSavesWhatThePlatformHasAndKeepsSlotsItCannotRead) {
    ASSERT_EQ(set_contrast(99), 0);
    ASSERT_EQ(set_ae_auto(-3, 1000, 9, 2), 0);
    startLibrary();
    std::vector<std::string> open = callsOfAnOpen();
    EXPECT_THAT(open, Contains("set_contrast(99)"));
    EXPECT_THAT(open, Contains("set_ae_auto(-3, 1000, 9, 2)"));
    kq_uninit();

    // A getter failing at the next start leaves its slot as it was.
    ASSERT_EQ(set_contrast(42), 0);
    hostctl::failCall("get_contrast", 1, -5);
    hostctl::failCall("get_ae_auto", 1, -5);
    ASSERT_EQ(kq_init_kq(), KQ_OK);
    open = callsOfAnOpen();
    EXPECT_THAT(open, Contains("set_contrast(99)"));
    EXPECT_THAT(open, Contains("set_ae_auto(-3, 1000, 9, 2)"));
}

TEST_F(ImageSettingsTest, ShowLogsThePlatformsCurrentValues) {
    startLibrary();
    ASSERT_EQ(set_gray_mode(1), 0);  // not through the library: not saved
    forgetHistory();
    rts_show_isp_saved_setting();

    std::vector<std::string> logs = logTexts();
    ASSERT_EQ(logs.size(), 21u);
    EXPECT_EQ(logs[4], "get isp type:4 = 0\n");
    EXPECT_EQ(logs[7], "get isp type:7 = 0\n");
    EXPECT_EQ(logs[11], "get isp type:11 = 1\n");
    EXPECT_THAT(callNames(), Not(Contains("set_gray_mode"))) << "showing changes nothing";
}

}  // namespace
