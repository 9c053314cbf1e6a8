// Every refusal of the host platform that writes a record: each row is a call, the code it
// returns and the one record it leaves, which names the field, the value and the limit.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "bitmap_files.h"
#include "camera_support.h"
#include "host_control.h"
#include "module/bitmap.h"
#include "platform/audio_format.h"
#include "platform/broken_bitmaps.h"
#include "platform/channels.h"
#include "platform/host_records.h"
#include "rts_av.h"

namespace {

struct Refusal {
    std::function<int()> call;
    int code;
    std::string record;  // after "host: "
};

// The result of GetPureBitmap when it gives no picture.
constexpr int kNoPicture = -1;

class HostRefusals : public ::testing::Test {
protected:
    void SetUp() override {
        hostctl::reset();
        hostctl::setLogEcho(nullptr);
        ASSERT_EQ(rts_av_init(), 0);
    }
    void TearDown() override {
        hostctl::reset();
        std::remove(mBmp.c_str());
    }

    // Each row in turn, after the records of whatever the test set up.
    static void expectAll(const std::vector<Refusal>& rows) {
        takeHostRecords();
        for (const Refusal& r : rows) expectRefusal(r.call(), r.code, r.record);
    }

    // GetPureBitmap on a file of these bytes; a refusal zeroes what it was given to fill in.
    std::function<int()> bitmap(const bitmap_files::Bytes& file) {
        return [this, file] {
            bitmap_files::writeFile(mBmp, file);
            module::BmpInfo info;
            std::memset(&info, 0xab, sizeof info);
            const bool loaded = module::GetPureBitmap(mBmp.c_str(), &info) != nullptr;
            const module::BmpInfo zero{};
            EXPECT_TRUE(loaded || std::memcmp(&info, &zero, sizeof zero) == 0);
            return loaded ? 0 : kNoPicture;
        };
    }

    const std::string mBmp = ::testing::TempDir() + "refusal_" + std::to_string(getpid()) + ".bmp";
};

TEST_F(HostRefusals, ChannelCreationNamesTheFirstFieldRefused) {
    const auto isp = [](rts_isp_attr a) { return [a] { return rts_av_create_isp_chn(&a); }; };
    const auto h264 = [](rts_h264_attr a) { return [a] { return rts_av_create_h264_chn(&a); }; };
    const std::string inIsp = "rts_av_create_isp_chn: ", inH264 = "rts_av_create_h264_chn: ";
    const std::string bitrate = "refused: 1 to 100000000 bit/s";
    const std::string qp = "refused: 0 to 51, or -1 for rate control by bitrate";
    rts_audio_attr fastAudio = attrFor("hw:0,0", {48001, 16, 1});
    // The edges are taken, and write nothing.
    const rts_isp_attr edgeIsp{8, 1};
    EXPECT_GE(rts_av_create_isp_chn(&edgeIsp), 0);
    for (const rts_h264_attr& a : {rts_h264_attr{4, 51, 100'000'000, 1, 0, 0}, {4, 0, 1, 1, 0, 0}})
        EXPECT_GE(rts_av_create_h264_chn(&a), 0) << a.qp;
    EXPECT_TRUE(takeHostRecords().empty());

    // H.264 attributes: {queueDepth, qp, bitrate, gop, rotation, reserved}.
    expectAll({
        {isp({0, 0}), -EINVAL, inIsp + "buffer count 0 refused: 1 to 8"},
        {isp({9, 0}), -EINVAL, inIsp + "buffer count 9 refused: 1 to 8"},
        {isp({3, 2}), -EINVAL, inIsp + "mode 2 refused: 0 (video) or 1 (still pictures)"},
        {h264({4, -1, 0, 50, 0, 0}), -EINVAL, inH264 + "bitrate 0 " + bitrate},
        {h264({4, -1, 100'000'001, 50, 0, 0}), -EINVAL, inH264 + "bitrate 100000001 " + bitrate},
        {h264({4, -1, 1000, 0, 0, 0}), -EINVAL, inH264 + "gop 0 refused: 1 or more frames"},
        {h264({4, -2, 1000, 50, 0, 0}), -EINVAL, inH264 + "qp -2 " + qp},
        {h264({4, 52, 1000, 50, 0, 0}), -EINVAL, inH264 + "qp 52 " + qp},
        {h264({4, 52, 0, 0, 0, 0}), -EINVAL, inH264 + "bitrate 0 " + bitrate},  // the first only
        {[&] { return rts_av_create_audio_capture_chn(&fastAudio); }, -EINVAL,
         "rts_av_create_audio_capture_chn: rate 48001 refused: 8000 to 48000 Hz"},
        {[] { return rts_av_create_mjpeg_chn(nullptr); }, -EINVAL,
         "rts_av_create_mjpeg_chn: null attributes refused"},
        {[] { return rts_av_create_audio_resample_chn(8000, 12, 1); }, -EINVAL,
         "rts_av_create_audio_resample_chn: sample width 12 refused: 8, 16, 24 or 32 bits"},
        {[] { return rts_av_create_audio_encode_chn(99, 0); }, -EINVAL,
         "rts_av_create_audio_encode_chn: type 99 refused: PCM (4)"},
        {[] { return rts_av_create_audio_encode_chn(RTS_AUDIO_ENCODE_PCM, 100'000'000); }, -EINVAL,
         "rts_av_create_audio_encode_chn: bitrate 100000000 refused: 0 (from the input) to "
         "3072000 bit/s"},
    });
}

TEST_F(HostRefusals, ProfilesAreCheckedPerKindOfChannel) {
    const rts_audio_attr audio = attrFor("hw:0,0", kVoice);
    const int isp = channels::isp();
    const int enc = rts_av_create_audio_encode_chn(RTS_AUDIO_ENCODE_PCM, 0);
    const int others[] = {rts_av_create_osd_chn(), channels::h264(), channels::mjpeg(),
                          rts_av_create_audio_capture_chn(&audio),
                          rts_av_create_audio_resample_chn(8000, 16, 1)};
    rts_av_profile pcm{};
    pcm.format = RTS_AUDIO_FMT_PCM;
    pcm.audio = {48000, 32, 2, 0};
    rts_av_profile pcm12 = pcm;
    pcm12.audio.bitsPerSample = 12;
    const auto set = [](int chn, rts_av_profile p) {
        return [chn, p] { return rts_av_set_profile(chn, &p); };
    };
    const auto on = [](int chn) { return "rts_av_set_profile: chn " + std::to_string(chn) + ": "; };
    const std::string even = "refused: even widths of 16 to 4096";
    const std::string rate = "refused: 1 to 120 frames per second";
    std::vector<Refusal> rows = {
        {set(isp, channels::videoProfile(1921, 1080)), -EINVAL, on(isp) + "width 1921 " + even},
        {set(isp, channels::videoProfile(14, 1080)), -EINVAL, on(isp) + "width 14 " + even},
        {set(isp, channels::videoProfile(1920, 4098)), -EINVAL,
         on(isp) + "height 4098 refused: even heights of 16 to 4096"},
        {set(isp, channels::videoProfile(1920, 1080, 121)), -EINVAL,
         on(isp) + "frame rate 121/1 " + rate},
        {set(isp, channels::videoProfile(1920, 1080, 0)), -EINVAL,
         on(isp) + "frame rate 0/1 " + rate},
        {set(isp, pcm), -EINVAL, on(isp) + "format 32769 refused: NV12 (1)"},
        {set(enc, channels::videoProfile(640, 480)), -EINVAL,
         on(enc) + "format 1 refused: PCM (32769)"},
        {set(enc, pcm12), -EINVAL, on(enc) + "sample width 12 refused: 8, 16, 24 or 32 bits"},
    };
    for (int other : others)
        rows.push_back(
            {set(other, channels::videoProfile(640, 480)), -EINVAL,
             on(other) + "profile refused: only image and audio encode channels take one"});
    expectAll(rows);
    EXPECT_EQ(rts_av_set_profile(enc, &pcm), 0);
}

// Speakers and microphones refuse the same formats the same way. The formats they take,
// from 8000 to 48000 Hz in each width, are those the playback and capture tests play.
TEST_F(HostRefusals, AudioChannelsNameTheFormatOrDeviceRefused) {
    const struct {
        Format format;
        const char* record;
    } formats[] = {{{16000, 12, 1}, "sample width 12 refused: 8, 16, 24 or 32 bits"},
                   {{16000, 64, 1}, "sample width 64 refused: 8, 16, 24 or 32 bits"},
                   {{16000, 16, 0}, "channels 0 refused: 1 to 2"},
                   {{16000, 16, 3}, "channels 3 refused: 1 to 2"},
                   {{7999, 16, 1}, "rate 7999 refused: 8000 to 48000 Hz"},
                   {{96000, 16, 1}, "rate 96000 refused: 8000 to 48000 Hz"}};
    const std::string playback = "rts_av_create_audio_playback_chn: ";
    std::vector<Refusal> rows;
    for (const auto& f : formats) {
        const rts_audio_attr a = attrFor("spk", f.format);
        rows.push_back(
            {[a] { return rts_av_create_audio_playback_chn(&a); }, -EINVAL, playback + f.record});
        rows.push_back({[a] { return rts_av_create_audio_capture_chn(&a); }, -EINVAL,
                        std::string("rts_av_create_audio_capture_chn: ") + f.record});
    }
    const rts_audio_attr unnamed = attrFor("", kVoice);
    rows.push_back({[unnamed] { return rts_av_create_audio_playback_chn(&unnamed); }, -EINVAL,
                    playback + "empty device name refused"});
    rows.push_back({[] { return rts_av_create_audio_playback_chn(nullptr); }, -EINVAL,
                    playback + "null attributes refused"});

    // A send of part of a frame, on a channel that sends.
    const rts_audio_attr speaker = attrFor("spk", kVoice);
    const int chn = rts_av_create_audio_playback_chn(&speaker);
    ASSERT_EQ(rts_av_enable_chn(chn), 0);
    ASSERT_EQ(rts_av_start_send(chn), 0);
    audio_queue queue{};
    ASSERT_EQ(create_audio_queue(&queue, 1024), 0);
    rows.push_back({[&] {
                        rts_av_buffer* buffer = pop_audio_queue(&queue);
                        buffer->bytesUsed = 641;
                        const int rc = rts_av_send(chn, buffer);
                        EXPECT_EQ(rts_av_put_buffer(buffer), 0);
                        return rc;
                    },
                    -EINVAL,
                    "playback chn " + std::to_string(chn) +
                        ": send of 641 bytes refused: not whole frames of 2 bytes"});
    expectAll(rows);
    EXPECT_EQ(hostctl::playbackStats(chn).bytesReceived, 0u);
    EXPECT_EQ(hostctl::calls("rts_av_create_audio_playback_chn")[1].text(),
              "rts_av_create_audio_playback_chn({\"spk\", 12, 1, 16000, 0}) = -22");
}

TEST_F(HostRefusals, ControlsPinsAndCameraSourcesNameTheValueAndItsRange) {
    const rts_h264_attr h264Attr{4, -1, 1'000'000, 25, 0, 0};
    const rts_mjpeg_attr mjpegAttr{0};
    const int h264 = rts_av_create_h264_chn(&h264Attr), mjpeg = rts_av_create_mjpeg_chn(&mjpegAttr);
    rts_h264_ctrl* h264Ctrl = nullptr;
    rts_mjpeg_ctrl* mjpegCtrl = nullptr;
    ASSERT_EQ(rts_av_query_h264_ctrl(h264, &h264Ctrl), 0);
    ASSERT_EQ(rts_av_query_mjpeg_ctrl(mjpeg, &mjpegCtrl), 0);
    const std::string profile =
        "set_h264_video_profile: chn " + std::to_string(h264) + ": profile ";
    const std::string quality = "set_mjpeg_quality: chn " + std::to_string(mjpeg) + ": quality ";
    const std::string pin = "pin 1 of bank 0 refused: ";
    expectAll({
        {[=] { return set_h264_video_profile(h264Ctrl, -1); }, -EINVAL,
         profile + "-1 refused: 0 baseline, 1 main or 2 high"},
        {[=] { return set_h264_video_profile(h264Ctrl, 3); }, -EINVAL,
         profile + "3 refused: 0 baseline, 1 main or 2 high"},
        {[=] { return set_mjpeg_quality(mjpegCtrl, 0); }, -EINVAL, quality + "0 refused: 1 to 100"},
        {[=] { return set_mjpeg_quality(mjpegCtrl, 101); }, -EINVAL,
         quality + "101 refused: 1 to 100"},
        {[] { return init_gpio(1, 0, 2, 0); }, -EINVAL,
         "init_gpio: " + pin + "direction 2, not 0 (input) or 1 (output)"},
        {[] { return init_gpio(1, 0, 1, 2); }, -EINVAL,
         "init_gpio: " + pin + "level 2, not 0 or 1"},
        {[] { return init_gpio(1, 0, 1, 1), init_gpio(1, 0, 0, 0); }, -EBUSY,
         "init_gpio: " + pin + "initialised already"},
        {[] { return set_gpio_value(1, 0, 2); }, -EINVAL,
         "set_gpio_value: " + pin + "level 2, not 0 or 1"},
        {[] { return hostctl::setCameraSource("file:"); }, -EINVAL,
         "camera source \"file:\" is none of pattern, file:PATH and v4l2:DEVICE"},
        {[] { return hostctl::setCameraSource("rtsp://camera/1"); }, -EINVAL,
         "camera source \"rtsp://camera/1\" is none of pattern, file:PATH and v4l2:DEVICE"},
    });
    for (int p : {0, 1, 2}) EXPECT_EQ(set_h264_video_profile(h264Ctrl, p), 0);
    for (int q : {1, 50, 100}) EXPECT_EQ(set_mjpeg_quality(mjpegCtrl, q), 0);
    EXPECT_EQ(get_gpio_value(1, 0), 1) << "refusals change nothing";
    EXPECT_EQ(hostctl::cameraSource(), "pattern");
    EXPECT_TRUE(takeHostRecords().empty());
}

TEST_F(HostRefusals, BitmapsThatCannotBeShownSayWhy) {
    ASSERT_EQ(bitmap(broken_bitmaps::good())(), 0);
    const std::string in = "GetPureBitmap(\"" + mBmp + "\"): ";
    std::vector<Refusal> rows;
    for (const broken_bitmaps::BrokenBitmap& b : broken_bitmaps::all())
        rows.push_back({bitmap(b.file), kNoPicture, in + b.reason});
    const auto loaded = [](const char* path, module::BmpInfo* info) {
        return module::GetPureBitmap(path, info) ? 0 : kNoPicture;
    };
    module::BmpInfo info{};
    const auto missing = [&] {
        std::remove(mBmp.c_str());
        return loaded(mBmp.c_str(), &info);
    };
    rows.push_back({missing, kNoPicture, in + "No such file or directory"});
    rows.push_back({[&] { return loaded(nullptr, &info); }, kNoPicture,
                    "GetPureBitmap(\"(null)\"): no path given"});
    rows.push_back({[&] { return loaded(mBmp.c_str(), nullptr); }, kNoPicture,
                    in + "no BmpInfo given for what it finds"});
    expectAll(rows);
}

}  // namespace
