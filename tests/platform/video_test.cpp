// The host platform's picture units: drawing, text, the test pattern and the encoders,
// whose output is decoded again by libjpeg and, where installed, ffprobe.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <jpeglib.h>

#include "host_control.h"
#include "media/picture_look.h"
#include "platform/channels.h"
#include "video/drawing.h"
#include "video/h264_encoder.h"
#include "video/jpeg_encoder.h"
#include "video/test_pattern.h"
#include "video/text_renderer.h"

using namespace host::video;

namespace {

using Bytes = std::vector<uint8_t>;

Frame patternFrame(uint32_t width, uint32_t height, const PictureLook& look = {},
                   uint64_t number = 0) {
    Frame frame;
    frame.resize(width, height);
    TestPattern().render(number, look, frame);
    return frame;
}

int lumaAt(const Frame& f, uint32_t x, uint32_t y) { return f.y()[y * f.width + x]; }

double meanLuma(const Frame& f) {
    double sum = 0;
    for (std::size_t i = 0; i < f.lumaSize(); ++i) sum += f.y()[i];
    return sum / f.lumaSize();
}

// The NAL unit types of an Annex-B access unit, in order, and the SPS's profile_idc
// (-1 without an SPS).
std::vector<int> nalTypes(const Bytes& au, int* profileIdc) {
    std::vector<int> types;
    *profileIdc = -1;
    for (std::size_t i = 0; i + 4 < au.size(); ++i) {
        if (au[i] != 0 || au[i + 1] != 0 || au[i + 2] != 1) continue;
        types.push_back(au[i + 3] & 0x1f);
        if (types.back() == 7) *profileIdc = au[i + 4];
    }
    return types;
}

H264Settings h264(uint32_t width = 320, uint32_t height = 180, uint32_t gop = 25, int profile = 1,
                  int qp = -1) {
    return {width, height, 25, 1, 400000, gop, profile, qp};
}

struct DecodedJpeg {
    uint32_t width = 0, height = 0;
    Bytes rgb;
};

DecodedJpeg decodeJpeg(const Bytes& jpeg) {
    jpeg_decompress_struct info{};
    jpeg_error_mgr error{};
    info.err = jpeg_std_error(&error);  // a broken picture exits the test run, loudly
    jpeg_create_decompress(&info);
    jpeg_mem_src(&info, jpeg.data(), jpeg.size());
    jpeg_read_header(&info, TRUE);
    info.out_color_space = JCS_RGB;
    jpeg_start_decompress(&info);
    DecodedJpeg out{info.output_width, info.output_height, {}};
    out.rgb.resize(std::size_t{out.width} * out.height * 3);
    while (info.output_scanline < info.output_height) {
        JSAMPROW row = out.rgb.data() + std::size_t{info.output_scanline} * out.width * 3;
        jpeg_read_scanlines(&info, &row, 1);
    }
    jpeg_finish_decompress(&info);
    jpeg_destroy_decompress(&info);
    return out;
}

}  // namespace

TEST(VideoDrawing, BlendsByCoverageAndChromaByBlock) {
    Frame frame;
    frame.resize(16, 16);
    fillRect(frame, 0, 0, 16, 16, {0, 128, 128});
    blendMask(frame, AlphaMask{2, 2, {255, 0, 255, 0}}, 0, 0, {250, 0, 255});
    EXPECT_EQ(lumaAt(frame, 0, 1), 250);
    EXPECT_EQ(lumaAt(frame, 1, 0), 0);
    EXPECT_NEAR(frame.u()[0], 64, 1);  // half the block covered
    EXPECT_NEAR(frame.v()[0], 192, 1);
    EXPECT_EQ(frame.u()[1], 128);
}

TEST(VideoText, RendersEachCharacterInItsCell) {
    AlphaMask one, two;
    ASSERT_EQ(textRenderer().render("g", 1, 41, &one), 0);
    ASSERT_EQ(textRenderer().render(" g", 2, 41, &two), 0);
    EXPECT_EQ(one.width, 20u);
    EXPECT_EQ(one.height, 41u);
    ASSERT_EQ(two.width, 40u);
    int ink = 0, descender = 0;
    for (uint32_t y = 0; y < 41; ++y) {
        for (uint32_t x = 0; x < 20; ++x) {
            EXPECT_EQ(two.alpha[y * 40 + x], 0) << "the space stays blank";
            EXPECT_EQ(two.alpha[y * 40 + 20 + x], one.alpha[y * 20 + x]);
            ink += one.alpha[y * 20 + x] > 128;
            if (y >= 36) descender += one.alpha[y * 20 + x] > 0;
        }
    }
    EXPECT_GT(ink, 40);
    EXPECT_GT(descender, 0) << "the descender reaches the cell's bottom rows";

    EXPECT_EQ(textRenderer().render("x", 1, 7, &one), -EINVAL);
    EXPECT_EQ(textRenderer().render("x", 1, 257, &one), -EINVAL);
    EXPECT_EQ(textRenderer().render(nullptr, 1, 20, &one), -EINVAL);
    EXPECT_EQ(TextRenderer("/nonexistent/font.ttf").render("x", 1, 20, &one), -ENOENT);
}

TEST(VideoPattern, FlipMirrorsThePictureExactly) {
    // 328 wide: bars of odd width, so chroma blocks straddle their edges.
    const Frame plain = patternFrame(328, 184, {}, 37);
    const uint32_t barRow = 184 * 3 / 10;
    EXPECT_GT(lumaAt(plain, 0, barRow), 220);
    EXPECT_LT(lumaAt(plain, 327, barRow), 30);
    for (int flip = 1; flip <= 3; ++flip) {
        PictureLook look;
        look.mirror = flip & 1;
        look.upsideDown = flip & 2;
        const Frame flipped = patternFrame(328, 184, look, 37);
        auto samePlane = [&](const uint8_t* a, const uint8_t* b, uint32_t w, uint32_t h) {
            for (uint32_t y = 0; y < h; ++y)
                for (uint32_t x = 0; x < w; ++x) {
                    uint32_t fx = look.mirror ? w - 1 - x : x;
                    uint32_t fy = look.upsideDown ? h - 1 - y : y;
                    if (a[y * w + x] != b[fy * w + fx]) return false;
                }
            return true;
        };
        EXPECT_TRUE(samePlane(plain.y(), flipped.y(), 328, 184)) << flip;
        EXPECT_TRUE(samePlane(plain.u(), flipped.u(), 164, 92)) << flip;
        EXPECT_TRUE(samePlane(plain.v(), flipped.v(), 164, 92)) << flip;
    }
}

TEST(VideoPattern, SettingsShadeAndTheBoxMoves) {
    // A gray picture's colourless snapshot is the end-to-end tests' part.
    host::support::ImageSettings settings = host::support::imageSettings();
    settings.flip = 2;
    settings.values[static_cast<int>(host::support::ImageSetting::GrayMode)] = 1;
    PictureLook gray = host::media::pictureLook(settings);
    EXPECT_TRUE(gray.gray && gray.upsideDown && !gray.mirror);
    PictureLook pale;
    pale.saturation = 0;
    Frame paleFrame = patternFrame(320, 180, pale);
    for (std::size_t i = paleFrame.lumaSize(); i < paleFrame.byteSize(); ++i)
        ASSERT_NEAR(paleFrame.pixels[i], 128, 1) << "chroma left at " << i;

    const Frame neutral = patternFrame(320, 180);
    PictureLook bright, flat;
    bright.brightness = 220;
    flat.contrast = 0;
    EXPECT_GT(meanLuma(patternFrame(320, 180, bright)), meanLuma(neutral) + 40);
    const Frame flatFrame = patternFrame(320, 180, flat);
    for (std::size_t i = 0; i < flatFrame.lumaSize(); ++i) ASSERT_EQ(flatFrame.y()[i], 128);

    const Frame later = patternFrame(320, 180, {}, 10);
    EXPECT_NE(neutral.pixels, later.pixels);
    EXPECT_EQ(later.pixels, patternFrame(320, 180, {}, 10).pixels);
}

// Decoding the stream, one picture per access unit with key frames at the interval, is
// the end-to-end tests' part; here every key frame carries the parameter sets a late
// decoder needs, with the profile asked for.
TEST(VideoH264, KeyFramesCarryTheParameterSetsOfTheProfile) {
    const int kProfileIdc[] = {66, 77, 100};  // baseline, main, high
    for (int profile = 0; profile <= 2; ++profile) {
        auto encoder = H264Encoder::create(h264(320, 180, 5, profile));
        ASSERT_NE(encoder, nullptr);
        Bytes au;
        for (uint64_t n = 0; n < 7; ++n) {
            bool key = false;
            ASSERT_EQ(encoder->encode(patternFrame(320, 180, {}, n), au, &key), 0);
            int profileIdc = 0;
            std::vector<int> types = nalTypes(au, &profileIdc);
            auto has = [&](int type) { return std::count(types.begin(), types.end(), type) == 1; };
            EXPECT_EQ(key, n % 5 == 0) << n;
            EXPECT_EQ(has(7) && has(8) && has(5), key) << n;
            EXPECT_EQ(profileIdc, key ? kProfileIdc[profile] : -1);
        }
    }
}

TEST(VideoH264, HoldsTheBitrateAndRefusesBadInput) {
    // The pattern's flat areas cost next to no bits, so only a low target is reachable.
    H264Settings settings = h264(640, 360, 25);
    settings.bitrate = 60000;
    auto encoder = H264Encoder::create(settings);
    ASSERT_NE(encoder, nullptr);
    std::size_t bytes = 0;
    Bytes au;
    for (uint64_t n = 0; n < 50; ++n) {  // two seconds
        ASSERT_EQ(encoder->encode(patternFrame(640, 360, {}, n), au, nullptr), 0);
        bytes += au.size();
    }
    double bitsPerSecond = bytes * 8 / 2.0;
    EXPECT_GT(bitsPerSecond, settings.bitrate / 3.0);
    EXPECT_LT(bitsPerSecond, settings.bitrate * 3.0);

    EXPECT_EQ(encoder->encode(patternFrame(320, 180), au, nullptr), -EINVAL);
    EXPECT_EQ(encoder->encode(Frame{}, au, nullptr), -EINVAL);
    EXPECT_NE(H264Encoder::create(h264(320, 180, 1, 2, 30)), nullptr);
    for (H264Settings bad : {h264(321), h264(320, 8), h264(320, 180, 0), h264(320, 180, 5, 3),
                             h264(320, 180, 5, 1, 52), h264(320, 180, 5, 1, 0)})
        EXPECT_EQ(H264Encoder::create(bad), nullptr);
}

TEST(VideoJpeg, DecodesBackToThePicture) {
    JpegEncoder encoder;
    Bytes jpeg;
    // 322 x 182: neither side a whole number of blocks, so rows are padded.
    for (uint32_t width : {320u, 322u}) {
        const Frame frame = patternFrame(width, 182);
        ASSERT_EQ(encoder.encode(frame, 90, jpeg), 0);
        DecodedJpeg picture = decodeJpeg(jpeg);
        ASSERT_EQ(picture.width, width);
        ASSERT_EQ(picture.height, 182u);
        const uint8_t bars[][3] = {{255, 255, 255}, {255, 255, 0}, {0, 255, 255}, {0, 255, 0},
                                   {255, 0, 255},   {255, 0, 0},   {0, 0, 255},   {0, 0, 0}};
        for (uint32_t bar = 0; bar < 8; ++bar) {
            const uint8_t* rgb = &picture.rgb[(60 * width + width * (2 * bar + 1) / 16) * 3];
            for (int c = 0; c < 3; ++c) EXPECT_NEAR(rgb[c], bars[bar][c], 12) << bar << "," << c;
        }
    }
    const Frame frame = patternFrame(320, 180);
    ASSERT_EQ(encoder.encode(frame, 90, jpeg), 0);
    const std::size_t fine = jpeg.size();
    const uint8_t* block = jpeg.data();
    ASSERT_EQ(encoder.encode(frame, 20, jpeg), 0);
    EXPECT_LT(jpeg.size(), fine * 3 / 4);
    EXPECT_EQ(jpeg.data(), block) << "a warm vector is reused";
    EXPECT_EQ(encoder.encode(frame, 0, jpeg), -EINVAL);
    EXPECT_EQ(encoder.encode(frame, 101, jpeg), -EINVAL);
    EXPECT_EQ(encoder.encode(Frame{}, 50, jpeg), -EINVAL);
}

// With sync marks the pictures are stamped on the 40 ms grid through the whole seconds,
// and the one stamped at a whole second is white.
TEST(VideoSyncMarks, ThePictureOfEachWholeSecondIsWhite) {
    hostctl::reset();
    hostctl::setSyncMarks(true);
    ASSERT_EQ(rts_av_init(), 0);
    const int camera = channels::isp(160, 120), jpg = channels::mjpeg();
    ASSERT_EQ(rts_av_bind(camera, jpg), 0);
    for (int chn : {camera, jpg}) ASSERT_EQ(rts_av_enable_chn(chn), 0);
    ASSERT_EQ(rts_av_start_recv(jpg), 0);
    int pictures = 0, marks = 0;
    for (auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(10);
         marks == 0 || pictures < 30;) {
        ASSERT_LT(std::chrono::steady_clock::now(), giveUp);
        rts_av_buffer* b = nullptr;
        if (rts_av_poll(jpg) != 0 || rts_av_recv(jpg, &b) != 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            continue;
        }
        const auto* data = static_cast<const uint8_t*>(b->data);
        const DecodedJpeg picture = decodeJpeg(Bytes(data, data + b->bytesUsed));
        const uint64_t us = b->timestamp;
        ASSERT_EQ(rts_av_put_buffer(b), 0);
        if (pictures++ == 0) continue;  // made at once, before the grid
        EXPECT_EQ(us % 40000, 0u) << us;
        double sum = 0;
        for (uint8_t v : picture.rgb) sum += v;
        const double mean = sum / picture.rgb.size();
        marks += us % 1000000 == 0;
        EXPECT_EQ(mean > 240, us % 1000000 == 0) << us << ": mean " << mean;
    }
    hostctl::reset();
}
