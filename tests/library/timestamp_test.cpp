// The running timestamp as the library hands it to the support library: its text,
// placement, trimming, once-a-second refresh and erase, driven through the exported
// overlay functions and kq_poll_frame().
#include "library/library_fixture.h"

namespace {

class TimestampTest : public LibraryTest {
protected:
    void SetUp() override {
        LibraryTest::SetUp();
        startLibrary();
    }

    // Opens and starts channel 0 (scripted, so nothing is encoded) with the timestamp on.
    void startWithTimestamp(const kq_encoder_param& param) {
        startScriptedPipe(0, param);
        kq_enable_osd(0, 1);
        forgetHistory();
    }

    // Polls until the timestamp has been drawn `n` times in all.
    static bool waitForDrawings(std::size_t n) {
        return pollUntil([n] { return drawnTexts().size() >= n; });
    }
};

// The default text, the local date and time, is read from a picture by
// PipelineTest.TimestampIsReadableAndCurrentThenBlankWhenSwitchedOff.
TEST_F(TimestampTest, DefaultTimestampIsNineteenCharactersAtTheTopLeftDrawnEachSecond) {
    startWithTimestamp(h264(1920, 1080));
    ASSERT_TRUE(waitForDrawings(1));
    DrawnText d = drawnTexts()[0];
    EXPECT_EQ(d.text.size(), 19u) << d.text;
    EXPECT_EQ(d.count, 19);
    EXPECT_EQ(d.x, 5);
    EXPECT_EQ(d.y, 5);
    EXPECT_EQ(d.block, 0);
    // The next drawing comes with the next second, not with the next poll.
    ASSERT_TRUE(waitForDrawings(2));
    EXPECT_NE(drawnTexts()[1].text, d.text);
}

struct Placement {
    uint32_t width, height;
    int option;
    int x, y;
};

class TimestampPlacementTest : public TimestampTest,
                               public ::testing::WithParamInterface<Placement> {};

TEST_P(TimestampPlacementTest, NineteenCharactersArePlacedByOptionAndFontSize) {
    const Placement& p = GetParam();
    startWithTimestamp(h264(p.width, p.height));
    kq_osd_set_position(0, p.option);
    ASSERT_TRUE(waitForDrawings(1));
    EXPECT_EQ(drawnTexts()[0].x, p.x);
    EXPECT_EQ(drawnTexts()[0].y, p.y);
}

INSTANTIATE_TEST_SUITE_P(Options, TimestampPlacementTest,
                         ::testing::Values(Placement{1280, 720, KQ_POS_BOTTOM_RIGHT, 819, 667},
                                           Placement{1920, 1080, KQ_POS_BOTTOM_CENTER, 656, 1011},
                                           Placement{1920, 1080, KQ_POS_TOP_LEFT_ALT, 5, 5},
                                           Placement{640, 360, KQ_POS_BOTTOM_LEFT, 5, 331},
                                           Placement{640, 360, KQ_POS_TOP_RIGHT, 407, 5},
                                           Placement{640, 360, KQ_POS_TOP_CENTER, 206, 5}));

TEST_F(TimestampTest, UnknownPositionKeepsThePreviousOneAndSaysSoAtEveryDrawing) {
    startWithTimestamp(h264(1280, 720));
    kq_osd_set_position(0, KQ_POS_BOTTOM_RIGHT);
    ASSERT_TRUE(waitForDrawings(1));
    kq_osd_set_position(0, 7);
    ASSERT_TRUE(waitForDrawings(3));
    for (const DrawnText& d : drawnTexts()) EXPECT_EQ(d.x, 819);
    int notices = 0;
    for (const std::string& text : logTexts())
        notices += text == "calcTimestampPosition, unknown option: 7";
    EXPECT_EQ(notices, 2);
}

TEST_F(TimestampTest, SwitchingOffErasesWithTwentyFourBlanksOnce) {
    startWithTimestamp(h264(1280, 720));
    kq_osd_set_position(0, KQ_POS_BOTTOM_LEFT);
    ASSERT_TRUE(waitForDrawings(1));
    kq_enable_osd(0, 0);
    kq_poll_frame(0);
    kq_poll_frame(0);
    std::vector<DrawnText> drawn = drawnTexts();
    ASSERT_EQ(drawn.size(), 2u);
    EXPECT_EQ(drawn[1].text, std::string(24, ' '));
    EXPECT_EQ(drawn[1].count, 24);
    EXPECT_EQ(drawn[1].x, drawn[0].x);
    EXPECT_EQ(drawn[1].y, drawn[0].y);
    // Any non-zero enable switches it on again.
    kq_enable_osd(0, 5);
    ASSERT_TRUE(waitForDrawings(3));
    EXPECT_EQ(drawnTexts()[2].count, 19);
}

TEST_F(TimestampTest, TextWiderThanANarrowFrameIsTrimmed) {
    // 24 px font on 256 px: 5 + 20 * 12 < 256, so 20 of the 24 characters fit.
    startWithTimestamp(mjpeg(256, 144));
    kq_osd_set_format(0, "%Y-%m-%d %H:%M:%S wxyz");
    ASSERT_TRUE(waitForDrawings(1));
    EXPECT_EQ(drawnTexts()[0].count, 20);
    EXPECT_TRUE(findLog("trimming OSD text from 24 to 20"));
}

TEST_F(TimestampTest, FormatIsCutToThirtyOneCharactersAndAnOverlongExpansionDrawsNothing) {
    startWithTimestamp(h264(1920, 1080));
    // 40 characters: the first 31 are kept, and they expand beyond 24.
    kq_osd_set_format(0, "0123456789012345678901234567890123456789");
    pollUntil([] { return false; }, 2200);
    EXPECT_TRUE(drawnTexts().empty());
    int notices = 0;
    for (const std::string& text : logTexts())
        notices += text ==
                   "timestamp format \"0123456789012345678901234567890\" expands beyond "
                   "24 characters, not drawn";
    EXPECT_EQ(notices, 1) << "reported once, not every second";

    kq_osd_set_format(0, "%H:%M");
    ASSERT_TRUE(waitForDrawings(1));
    EXPECT_EQ(drawnTexts()[0].count, 5);
}

}  // namespace
