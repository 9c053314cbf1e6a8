// The real pipeline end to end, checked with tools nobody here wrote: ffprobe decodes
// the streams and snapshots, ffmpeg turns pictures into pixels, tesseract reads the
// timestamp drawn into a snapshot. A test whose tool is missing is skipped, saying so.
#include <algorithm>
#include <cctype>
#include <sstream>

#include "e2e/e2e_fixture.h"

namespace {

using namespace e2e;

// "codec_name=h264\nwidth=640\n..." of a file's first video stream.
std::string probeStream(const std::string& path, const std::string& extra = "") {
    return runCommand("ffprobe -v error " + extra +
                      " -select_streams v:0 -count_frames -show_entries "
                      "stream=codec_name,width,height,nb_read_frames -of default=nw=1 '" +
                      path + "'")
        .output;
}

TEST_F(PipelineTest, StreamsAndSnapshotsDecodeAtTheirSizesWithKeyFramesAtTheInterval) {
    REQUIRE_TOOL("ffprobe");
    startStream(0, h264(640, 360, 25, 1000000, 10));
    startStream(1, mjpeg(320, 240, 25));
    std::string snapshots[2] = {snapshot(0, "ch0.jpg"), snapshot(1, "ch1.jpg")};
    ASSERT_TRUE(pollUntil(
        [&] { return mStreams[0].keyFrames.size() >= 25 && mStreams[1].keyFrames.size() >= 5; },
        120000));
    kq_close_encoder(0);
    kq_close_encoder(1);
    for (Stream& s : mStreams) s.file.close();

    const std::vector<uint32_t>& keys = mStreams[0].keyFrames;
    EXPECT_EQ(probeStream(mStreams[0].path),
              "codec_name=h264\nwidth=640\nheight=360\nnb_read_frames=" +
                  std::to_string(keys.size()) + "\n");
    // The decoder finds key frames exactly where the callback was told of them: every
    // tenth picture.
    std::istringstream lines(runCommand("ffprobe -v error -select_streams v:0 -show_entries "
                                        "frame=key_frame -of csv=p=0 '" +
                                        mStreams[0].path + "'")
                                 .output);
    std::string decodedKeys;
    // One line a frame, "1" or "0", some followed by side data after a comma.
    for (std::string line; std::getline(lines, line);)
        if (!line.empty() && (line[0] == '0' || line[0] == '1'))
            decodedKeys += line.substr(0, 1) + "\n";
    std::string expectedKeys;
    for (std::size_t i = 0; i < keys.size(); ++i) {
        EXPECT_EQ(keys[i], i % 10 == 0 ? 1u : 0u) << "frame " << i;
        expectedKeys += keys[i] ? "1\n" : "0\n";
    }
    EXPECT_EQ(decodedKeys, expectedKeys);
    EXPECT_EQ(probeStream(mStreams[1].path, "-f mjpeg"),
              "codec_name=mjpeg\nwidth=320\nheight=240\nnb_read_frames=" +
                  std::to_string(mStreams[1].keyFrames.size()) + "\n");
    // A snapshot of the H.264 channel is a JPEG of that channel's size.
    ASSERT_FALSE(snapshots[0].empty());
    ASSERT_FALSE(snapshots[1].empty());
    EXPECT_EQ(probeStream(snapshots[0]),
              "codec_name=mjpeg\nwidth=640\nheight=360\nnb_read_frames=1\n");
    EXPECT_EQ(probeStream(snapshots[1]),
              "codec_name=mjpeg\nwidth=320\nheight=240\nnb_read_frames=1\n");
}

// The timestamp shows the local date and time, current and readable, and leaves its place
// blank once switched off.
TEST_F(PipelineTest, TimestampIsReadableAndCurrentThenBlankWhenSwitchedOff) {
    REQUIRE_TOOL("tesseract");
    REQUIRE_TOOL("ffmpeg");
    // 1280x720 MJPEG: a 48 px font, 19 characters half as wide, where the library put them.
    startStream(0, mjpeg(1280, 720, 10));
    kq_enable_osd(0, 1);
    ASSERT_TRUE(pollUntil([] { return !hostctl::calls("set_osd_text").empty(); }, 10000));
    const DrawnText at = drawnTexts().back();
    auto readTimestamp = [&](const std::string& jpeg) {
        return readText(jpeg, at.x - 5, at.y - 5, 19 * 24 + 10, 48 + 10);
    };
    // Past the first drawing, so the snapshot shows a whole text.
    pollUntil([] { return false; }, 300);
    std::string jpeg = snapshot(0, "timestamp.jpg");
    ASSERT_FALSE(jpeg.empty());
    std::string text = readTimestamp(jpeg);
    tm shown{};
    bool found = false;
    for (std::size_t i = 0; i < text.size() && !found; ++i)
        found =
            std::sscanf(text.c_str() + i, "%4d-%2d-%2d %2d:%2d:%2d", &shown.tm_year, &shown.tm_mon,
                        &shown.tm_mday, &shown.tm_hour, &shown.tm_min, &shown.tm_sec) == 6;
    ASSERT_TRUE(found) << "tesseract read \"" << text << "\"";
    shown.tm_year -= 1900;
    shown.tm_mon -= 1;
    shown.tm_isdst = -1;
    EXPECT_LE(std::abs(difftime(mktime(&shown), snapshots().back().taken)), 2.0) << text;

    // The erase comes with the next poll step.
    const std::size_t drawings = hostctl::calls("set_osd_text").size();
    kq_enable_osd(0, 0);
    pollUntil([&] { return hostctl::calls("set_osd_text").size() > drawings; }, 5000);
    waitForFreshPictures(0);
    jpeg = snapshot(0, "blank.jpg");
    ASSERT_FALSE(jpeg.empty());
    text = readTimestamp(jpeg);
    EXPECT_TRUE(
        std::none_of(text.begin(), text.end(), [](unsigned char c) { return std::isdigit(c); }))
        << "tesseract read \"" << text << "\"";
}

// Image settings show in the picture: a flip mirrors the pattern, gray mode takes its
// colour.
TEST_F(PipelineTest, FlipMirrorsThePatternAndGrayModeTakesItsColour) {
    REQUIRE_TOOL("ffmpeg");
    startStream(1, mjpeg(320, 240, 25));
    Rgb straight = decode(snapshot(1, "straight.jpg"), 320, 240);
    // A picture drawn before a change may still be on its way through the encoder.
    kq_set_image_flip(1);
    waitForFreshPictures(1);
    Rgb mirrored = decode(snapshot(1, "mirrored.jpg"), 320, 240);
    ASSERT_EQ(kq_isp_set(KQ_ISP_GRAY_MODE, 1), 0);
    waitForFreshPictures(1);
    Rgb gray = decode(snapshot(1, "gray.jpg"), 320, 240);
    ASSERT_FALSE(straight.pixels.empty());
    ASSERT_FALSE(mirrored.pixels.empty());
    ASSERT_FALSE(gray.pixels.empty());
    // The pattern's bars run from white on the left to black on the right.
    EXPECT_GT(bandLuma(straight, 0, 16), 200);
    EXPECT_LT(bandLuma(straight, 304, 320), 50);
    EXPECT_LT(bandLuma(mirrored, 0, 16), 50);
    EXPECT_GT(bandLuma(mirrored, 304, 320), 200);
    int spread = 0;
    for (std::size_t i = 0; i < gray.pixels.size(); i += 3) {
        auto [lo, hi] = std::minmax({gray.pixels[i], gray.pixels[i + 1], gray.pixels[i + 2]});
        spread = std::max(spread, hi - lo);
    }
    EXPECT_LE(spread, 6) << "largest difference between a pixel's colour components";
}

}  // namespace
