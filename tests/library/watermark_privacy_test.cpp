// The watermark logo and the privacy mode as the library hands them to the support
// library: images made from bitmap files, placed, drawn, erased and freed; the mask
// switched with the icon; and every refusal on the way.
#include <unistd.h>

#include "bitmap_files.h"
#include "library/library_fixture.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using bitmap_files::writeBitmapFile;

constexpr int kInjected = -5;

// Everything after the pack's address, of every call of `function`.
std::vector<std::string> packCalls(const std::string& function) {
    std::vector<std::string> out;
    for (const hostctl::JournalEntry& e : hostctl::calls(function))
        out.push_back(e.args.substr(e.args.find(", ") + 2));
    return out;
}

class OverlayImageTest : public LibraryTest {
protected:
    void SetUp() override {
        LibraryTest::SetUp();
        char folder[] = "/tmp/kq-images-XXXXXX";
        ASSERT_NE(mkdtemp(folder), nullptr);
        mFolder = folder;
        writeBitmapFile(mLogo = mFolder + "/logo.bmp", 200, 100, 32);
        writeBitmapFile(mIcon = mFolder + "/icon.bmp", 320, 240, 24);
        startLibrary();
    }

    void TearDown() override {
        LibraryTest::TearDown();
        for (const char* name : {"logo.bmp", "icon.bmp", "big.bmp"})
            std::remove((mFolder + "/" + name).c_str());
        rmdir(mFolder.c_str());
    }

    // Opens `channel` and forgets what opening journaled and logged.
    void open(int channel, const kq_encoder_param& param) {
        openPipe(channel, param);
        forgetHistory();
    }

    std::string mFolder, mLogo, mIcon;
};

TEST_F(OverlayImageTest, ATwoHundredByOneHundredLogoIsPlacedByItsOptionOnFullHd) {
    open(0, h264(1920, 1080));
    kq_watermark_setup_logo(0, mLogo.c_str());
    const struct {
        int option;
        DrawnImage at;
    } placements[] = {
        {KQ_POS_TOP_LEFT_ALT, {5, 5, 1}}, {KQ_POS_BOTTOM_LEFT, {5, 975, 1}},
        {KQ_POS_TOP_RIGHT, {1715, 5, 1}}, {KQ_POS_BOTTOM_RIGHT, {1715, 975, 1}},
        {KQ_POS_TOP_CENTER, {860, 5, 1}}, {KQ_POS_BOTTOM_CENTER, {860, 975, 1}},
    };
    for (const auto& p : placements) {
        SCOPED_TRACE(p.option);
        forgetHistory();
        kq_watermark_setup_position(0, p.option);
        EXPECT_EQ(kq_watermark_enable(0, 1), 0);
        EXPECT_THAT(drawnImages(), ElementsAre(p.at));
        EXPECT_THAT(logTexts(), IsEmpty());
    }
}

TEST_F(OverlayImageTest, LogoIsDrawnOnlyWhenSwitchedOnAndKeepsItsPlaceAcrossAReopen) {
    // A logo set before the channel exists is drawn once it does.
    kq_watermark_setup_logo(0, mLogo.c_str());
    EXPECT_THAT(callNames(), ElementsAre("create_osd_image"));
    open(0, h264(1920, 1080));
    EXPECT_EQ(kq_watermark_enable(0, 5), 0) << "any non-zero switches it on";
    EXPECT_THAT(drawnImages(), ElementsAre(DrawnImage{5, 5, 1}));

    // A new position shows at the next switch-on; an unknown one keeps the old place.
    kq_watermark_setup_position(0, KQ_POS_BOTTOM_RIGHT);
    EXPECT_EQ(drawnImages().size(), 1u);
    EXPECT_EQ(kq_watermark_enable(0, 1), 0);
    kq_watermark_setup_position(0, 7);
    EXPECT_EQ(kq_watermark_enable(0, 1), 0);
    EXPECT_THAT(drawnImages(), ElementsAre(DrawnImage{5, 5, 1}, DrawnImage{1715, 975, 1},
                                           DrawnImage{1715, 975, 1}));
    EXPECT_THAT(logTexts(), ElementsAre("calcWatermarkPosition, unknown option: 7"));

    // Reopening redraws nothing, and the same image is drawn when switched on again.
    kq_close_encoder(0);
    openPipe(0, h264(1280, 720));
    EXPECT_THAT(callNames(), ::testing::Not(::testing::Contains("create_osd_image")));
    EXPECT_THAT(callNames(), ::testing::Not(::testing::Contains("draw_osd_image")));
    forgetHistory();
    kq_watermark_setup_position(0, KQ_POS_TOP_RIGHT);
    EXPECT_EQ(kq_watermark_enable(0, 1), 0);
    EXPECT_THAT(drawnImages(), ElementsAre(DrawnImage{1075, 5, 1}));
}

TEST_F(OverlayImageTest, ASecondLogoReplacesTheFirstAndAFailedOneLeavesNone) {
    open(0, h264(1920, 1080));
    kq_watermark_setup_logo(0, mLogo.c_str());
    forgetHistory();
    kq_watermark_setup_logo(0, mLogo.c_str());
    EXPECT_THAT(callNames(), ElementsAre("destroy_osd_image", "create_osd_image"))
        << "the old handle goes first, and nothing is drawn or erased";

    forgetHistory();
    hostctl::failCall("create_osd_image", 1, -12);
    kq_watermark_setup_logo(0, mLogo.c_str());
    EXPECT_THAT(callNames(), ElementsAre("destroy_osd_image", "create_osd_image"));
    EXPECT_EQ(levelOf("set watermark image fail"), 3u);

    forgetHistory();
    EXPECT_EQ(kq_watermark_enable(0, 1), -1);
    EXPECT_THAT(logTexts(), ElementsAre("bad watermark image"));
    EXPECT_THAT(callNames(), IsEmpty());
    // No second destroy of the failed logo when the library stops.
    kq_uninit();
    EXPECT_THAT(hostctl::calls("destroy_osd_image"), IsEmpty());
}

TEST_F(OverlayImageTest, WatermarkSwitchWithoutLogoOrOverlay) {
    // Channels never built: nothing drawn, nothing said.
    EXPECT_EQ(kq_watermark_enable(1, 1), 0);
    EXPECT_EQ(kq_watermark_enable(1, 0), 0);
    EXPECT_THAT(logTexts(), IsEmpty());
    EXPECT_THAT(callNames(), IsEmpty());

    open(1, mjpeg());
    EXPECT_EQ(kq_watermark_enable(1, 1), -1);
    EXPECT_EQ(levelOf("bad watermark image"), 3u);
    EXPECT_THAT(callNames(), IsEmpty());
    // Switching off erases the logo's block whether or not a logo was drawn.
    EXPECT_EQ(kq_watermark_enable(1, 0), 0);
    EXPECT_THAT(packCalls("erase_osd_image"), ElementsAre("1"));
}

TEST_F(OverlayImageTest, PrivacyDrawsTheIconCentredThenMasksTheWholeFrame) {
    open(0, h264(1280, 720));
    ASSERT_EQ(kq_privacy_setup_icon(0, mIcon.c_str()), 0);
    forgetHistory();
    EXPECT_EQ(kq_enable_privacy_mode(0, 1), 0);
    EXPECT_THAT(callNames(), ElementsAre("draw_osd_image", "enable_rect_mask"));
    EXPECT_THAT(drawnImages(), ElementsAre(DrawnImage{480, 240, 2}));
    EXPECT_THAT(packCalls("enable_rect_mask"), ElementsAre("1, 1280, 720, 0, 0"));

    forgetHistory();
    EXPECT_EQ(kq_enable_privacy_mode(0, 0), 0);
    EXPECT_THAT(callNames(), ElementsAre("erase_osd_image", "disable_mask"));
    EXPECT_THAT(packCalls("erase_osd_image"), ElementsAre("2"));
    EXPECT_THAT(packCalls("disable_mask"), ElementsAre("1"));
    EXPECT_THAT(logTexts(), IsEmpty());
}

TEST_F(OverlayImageTest, PrivacyWithoutIconOnlySwitchesTheMaskEvenWhenNeverOn) {
    open(1, mjpeg(640, 360));
    EXPECT_EQ(kq_enable_privacy_mode(1, 0), 0);
    EXPECT_THAT(callNames(), ElementsAre("disable_mask"));
    forgetHistory();
    EXPECT_EQ(kq_enable_privacy_mode(1, 3), 0);
    EXPECT_THAT(callNames(), ElementsAre("enable_rect_mask"));
    EXPECT_THAT(packCalls("enable_rect_mask"), ElementsAre("1, 640, 360, 0, 0"));

    // With an icon, switching off erases it even though it was never drawn.
    ASSERT_EQ(kq_privacy_setup_icon(1, mIcon.c_str()), 0);
    forgetHistory();
    EXPECT_EQ(kq_enable_privacy_mode(1, 0), 0);
    EXPECT_THAT(callNames(), ElementsAre("erase_osd_image", "disable_mask"));
}

TEST_F(OverlayImageTest, PrivacyWithoutAMaskPackDoesNothingEitherWay) {
    hostctl::failCall("init_mask_pack", 1, kInjected);
    open(0, h264(1280, 720));
    ASSERT_EQ(kq_privacy_setup_icon(0, mIcon.c_str()), 0);
    forgetHistory();
    EXPECT_EQ(kq_enable_privacy_mode(0, 1), -1);
    EXPECT_EQ(kq_enable_privacy_mode(0, 0), -1);
    EXPECT_THAT(logTexts(), ElementsAre("impose privacy mask fail, mask not ready!",
                                        "impose privacy mask fail, mask not ready!"));
    EXPECT_THAT(callNames(), IsEmpty());
}

TEST_F(OverlayImageTest, IconThatCannotBeShownStillLeavesTheFrameMasked) {
    // Without an OSD pack the icon is reported missing on the way in, passed over
    // silently on the way out.
    hostctl::failCall("init_osd_pack", 1, kInjected);
    open(0, h264(1280, 720));
    ASSERT_EQ(kq_privacy_setup_icon(0, mIcon.c_str()), 0);
    forgetHistory();
    EXPECT_EQ(kq_enable_privacy_mode(0, 1), -1);
    EXPECT_THAT(logTexts(), ElementsAre("draw privacy icon fail, OSD not ready!"));
    EXPECT_THAT(callNames(), ElementsAre("enable_rect_mask"));
    forgetHistory();
    EXPECT_EQ(kq_enable_privacy_mode(0, 0), 0);
    EXPECT_THAT(logTexts(), IsEmpty());
    EXPECT_THAT(callNames(), ElementsAre("disable_mask"));
    kq_close_encoder(0);

    // An icon larger than the frame would be centred off the frame: not drawn.
    writeBitmapFile(mFolder + "/big.bmp", 1300, 700, 24);
    open(0, h264(1280, 720));
    ASSERT_EQ(kq_privacy_setup_icon(0, (mFolder + "/big.bmp").c_str()), 0);
    forgetHistory();
    EXPECT_EQ(kq_enable_privacy_mode(0, 1), -1);
    EXPECT_THAT(
        logTexts(),
        ElementsAre("draw privacy icon fail, icon 1300x700 larger than the frame 1280x720"));
    EXPECT_THAT(callNames(), ElementsAre("enable_rect_mask"));
}

TEST_F(OverlayImageTest, LoadersCheckTheChannelBeforeTheFileAndKeepTheOldIconOnAMissingFile) {
    // A missing file: the channel test must come first, or the file's failure would show.
    const std::string missing = mFolder + "/missing.bmp";
    EXPECT_EQ(kq_privacy_setup_icon(2, missing.c_str()), -1);
    EXPECT_EQ(kq_privacy_setup_icon(-1, missing.c_str()), -1);
    kq_watermark_setup_logo(2, missing.c_str());
    EXPECT_THAT(logTexts(),
                ElementsAre("invalid channel: 2", "invalid channel: -1", "invalid channel: 2"));
    hostctl::LogRecord record;
    ASSERT_TRUE(findLog("invalid channel: -1", &record));
    EXPECT_EQ(record.level, 4u);
    EXPECT_EQ(record.file, "src/rts390x/kq_api_shell/rts_api_osd.cpp");

    open(0, h264(1280, 720));
    ASSERT_EQ(kq_privacy_setup_icon(0, mIcon.c_str()), 0);
    forgetHistory();
    EXPECT_EQ(kq_privacy_setup_icon(0, missing.c_str()), -1);
    kq_watermark_setup_logo(0, nullptr);
    for (const hostctl::LogRecord& r : libraryRecords())
        EXPECT_EQ(r.format, r.text) << "the text is the format";
    EXPECT_THAT(logTexts(), ElementsAre("get icon file failed!", "get logo file failed!"));
    EXPECT_THAT(callNames(), IsEmpty());
    EXPECT_EQ(kq_enable_privacy_mode(0, 1), 0);
    EXPECT_THAT(drawnImages(), ElementsAre(DrawnImage{480, 240, 2}))
        << "the old icon is still there";

    // An icon that cannot be made leaves none: privacy then only masks.
    hostctl::failCall("create_osd_image", 1, -12);
    EXPECT_EQ(kq_privacy_setup_icon(0, mIcon.c_str()), -1);
    EXPECT_TRUE(findLog("set privacy icon fail"));
    forgetHistory();
    EXPECT_EQ(kq_enable_privacy_mode(0, 1), 0);
    EXPECT_THAT(callNames(), ElementsAre("enable_rect_mask"));
}

// The opacity is accepted and ignored; an icon is read before the library is looked for.
TEST_F(OverlayImageTest, OpacityIsIgnoredAndAnIconNeedsAStartedLibrary) {
    kq_watermark_setup_opaque(0, 50);
    EXPECT_THAT(logTexts(), IsEmpty());
    EXPECT_THAT(callNames(), IsEmpty());
    kq_uninit();
    forgetHistory();
    EXPECT_EQ(kq_privacy_setup_icon(0, mIcon.c_str()), -1);
    EXPECT_THAT(logTexts(),
                ElementsAre("kq_privacy_setup_icon: library not started, kq_init_kq first"));
    EXPECT_THAT(callNames(), IsEmpty());
}

TEST_F(OverlayImageTest, StoppingTheLibraryFreesEveryImage) {
    for (int ch : {0, 1}) {
        kq_watermark_setup_logo(ch, mLogo.c_str());
        ASSERT_EQ(kq_privacy_setup_icon(ch, mIcon.c_str()), 0);
    }
    forgetHistory();
    kq_uninit();
    EXPECT_THAT(callNames(), ElementsAre("rts_av_release", "destroy_osd_image", "destroy_osd_image",
                                         "destroy_osd_image", "destroy_osd_image"));
}

}  // namespace
