// The host platform's media channels: lifetime, ids, bindings, state rules, refusals,
// the journal and injected failures.
#include <cerrno>
#include <cstring>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "host_control.h"
#include "platform/host_records.h"
#include "rts_av.h"

namespace {

rts_av_profile videoProfile(uint32_t width = 1920, uint32_t height = 1080, uint32_t fps = 25) {
    rts_av_profile p{};
    p.format = RTS_PIX_FMT_NV12;
    p.video = {width, height, 1, fps};
    return p;
}

rts_audio_attr audioAttr(const char* node = "hw:0,0") {
    rts_audio_attr a{};
    std::strncpy(a.dev_node, node, sizeof a.dev_node - 1);
    a.format = 16;
    a.channels = 1;
    a.rate = 16000;
    return a;
}

class MediaChannels : public ::testing::Test {
protected:
    void SetUp() override {
        hostctl::reset();
        ASSERT_EQ(rts_av_init(), 0);
    }
    void TearDown() override { hostctl::reset(); }

    static int isp() {
        rts_isp_attr a{3, 0};
        return rts_av_create_isp_chn(&a);
    }
    static int ispWithProfile() {
        int chn = isp();
        rts_av_profile p = videoProfile();
        EXPECT_EQ(rts_av_set_profile(chn, &p), 0);
        return chn;
    }
    static int osd() { return rts_av_create_osd_chn(); }
    static int h264() {
        rts_h264_attr a{4, -1, 2'000'000, 50, 0, 0};
        return rts_av_create_h264_chn(&a);
    }
    static int mjpeg() {
        rts_mjpeg_attr a{0};
        return rts_av_create_mjpeg_chn(&a);
    }
    static int capture() {
        rts_audio_attr a = audioAttr();
        return rts_av_create_audio_capture_chn(&a);
    }
    static int playback() {
        rts_audio_attr a = audioAttr();
        return rts_av_create_audio_playback_chn(&a);
    }
    static int resample() { return rts_av_create_audio_resample_chn(8000, 16, 1); }
    static int encode() { return rts_av_create_audio_encode_chn(RTS_AUDIO_ENCODE_PCM, 0); }
    // An enabled ISP (id in *camera) feeding an enabled H.264 channel.
    static int runningEncoder(int* camera) {
        *camera = ispWithProfile();
        int enc = h264();
        EXPECT_EQ(rts_av_bind(*camera, enc), 0);
        EXPECT_EQ(rts_av_enable_chn(*camera), 0);
        EXPECT_EQ(rts_av_enable_chn(enc), 0);
        return enc;
    }
};

TEST_F(MediaChannels, InitIsCountedAndTheLastReleaseDestroysEverything) {
    ASSERT_EQ(rts_av_init(), 0);
    EXPECT_EQ(hostctl::platformInitCount(), 2);
    int camera;
    int enc = runningEncoder(&camera);
    rts_h264_ctrl* ctrl = nullptr;
    ASSERT_EQ(rts_av_query_h264_ctrl(enc, &ctrl), 0);

    EXPECT_EQ(rts_av_release(), 0);
    EXPECT_EQ(hostctl::liveChannelCount(), 2);  // still one user
    EXPECT_EQ(rts_av_release(), 0);
    EXPECT_EQ(hostctl::liveChannelCount(), 0);
    EXPECT_EQ(hostctl::platformInitCount(), 0);
    EXPECT_EQ(rts_av_release(), -EPERM);
    rts_av_release_h264_ctrl(ctrl);  // already freed with the platform: ignored

    // Ids keep counting across a release, so an old id never names a new channel.
    ASSERT_EQ(rts_av_init(), 0);
    EXPECT_GT(isp(), enc);
}

TEST_F(MediaChannels, EverythingIsRefusedWhileNotInitialised) {
    int chn = isp();
    ASSERT_EQ(rts_av_release(), 0);
    rts_av_profile profile = videoProfile();
    rts_h264_ctrl* ctrl = nullptr;
    EXPECT_EQ(isp(), -ENODEV);
    EXPECT_EQ(rts_av_create_h264_chn(nullptr), -ENODEV);  // before the attributes
    EXPECT_EQ(rts_av_set_profile(chn, &profile), -ENODEV);
    EXPECT_EQ(rts_av_bind(chn, chn + 1), -ENODEV);
    EXPECT_EQ(rts_av_enable_chn(chn), -ENODEV);
    EXPECT_EQ(rts_av_destroy_chn(chn), -ENODEV);
    EXPECT_EQ(rts_av_start_recv(chn), -ENODEV);
    EXPECT_EQ(rts_av_query_h264_ctrl(chn, &ctrl), -ENODEV);
    EXPECT_EQ(rts_av_get_chn_status(chn), 0);  // a status: never reads as active
}

TEST_F(MediaChannels, CreationRefusesBadAttributesNamingTheFirstFieldRefused) {
    const rts_isp_attr edgeIsp{8, 1};
    EXPECT_GE(rts_av_create_isp_chn(&edgeIsp), 0);
    const rts_h264_attr edgeH264[] = {{4, 51, 100'000'000, 1, 0, 0}, {4, 0, 1, 1, 0, 0}};
    for (const rts_h264_attr& a : edgeH264) EXPECT_GE(rts_av_create_h264_chn(&a), 0) << a.qp;
    EXPECT_TRUE(takeHostRecords().empty());

    const struct {
        rts_isp_attr attr;
        const char* record;
    } badIsp[] = {{{0, 0}, "buffer count 0 refused: 1 to 8"},
                  {{9, 0}, "buffer count 9 refused: 1 to 8"},
                  {{3, 2}, "mode 2 refused: 0 (video) or 1 (still pictures)"}};
    for (const auto& r : badIsp)
        expectRefusal(rts_av_create_isp_chn(&r.attr), -EINVAL,
                      std::string("rts_av_create_isp_chn: ") + r.record);

    // {queueDepth, qp, bitrate, gop, rotation, reserved}
    const struct {
        rts_h264_attr attr;
        const char* record;
    } badH264[] = {
        {{4, -1, 0, 50, 0, 0}, "bitrate 0 refused: 1 to 100000000 bit/s"},
        {{4, -1, 100'000'001, 50, 0, 0}, "bitrate 100000001 refused: 1 to 100000000 bit/s"},
        {{4, -1, 1000, 0, 0, 0}, "gop 0 refused: 1 or more frames"},
        {{4, -2, 1000, 50, 0, 0}, "qp -2 refused: 0 to 51, or -1 for rate control by bitrate"},
        {{4, 52, 1000, 50, 0, 0}, "qp 52 refused: 0 to 51, or -1 for rate control by bitrate"},
        {{4, 52, 0, 0, 0, 0}, "bitrate 0 refused: 1 to 100000000 bit/s"}};  // the first only
    for (const auto& r : badH264)
        expectRefusal(rts_av_create_h264_chn(&r.attr), -EINVAL,
                      std::string("rts_av_create_h264_chn: ") + r.record);

    rts_audio_attr badAudio = audioAttr();
    badAudio.rate = 48001;
    expectRefusal(rts_av_create_audio_capture_chn(&badAudio), -EINVAL,
                  "rts_av_create_audio_capture_chn: rate 48001 refused: 8000 to 48000 Hz");
    expectRefusal(rts_av_create_mjpeg_chn(nullptr), -EINVAL,
                  "rts_av_create_mjpeg_chn: null attributes refused");
    expectRefusal(rts_av_create_audio_resample_chn(8000, 12, 1), -EINVAL,
                  "rts_av_create_audio_resample_chn: sample width 12 refused: 8, 16, 24 or 32 "
                  "bits");
    expectRefusal(rts_av_create_audio_encode_chn(99, 0), -EINVAL,
                  "rts_av_create_audio_encode_chn: type 99 refused: PCM (4)");
    expectRefusal(rts_av_create_audio_encode_chn(RTS_AUDIO_ENCODE_PCM, 100'000'000), -EINVAL,
                  "rts_av_create_audio_encode_chn: bitrate 100000000 refused: 0 (from the "
                  "input) to 3072000 bit/s");
}

TEST_F(MediaChannels, UnknownAndDestroyedIdsAreRefused) {
    int gone = isp();
    ASSERT_EQ(rts_av_destroy_chn(gone), 0);
    int live = osd();
    rts_av_profile profile = videoProfile();
    rts_mjpeg_ctrl* ctrl = nullptr;
    for (int chn : {-1, gone, 999}) {
        SCOPED_TRACE(chn);
        EXPECT_EQ(rts_av_set_profile(chn, &profile), -ENOENT);
        EXPECT_EQ(rts_av_bind(chn, live), -ENOENT);
        EXPECT_EQ(rts_av_bind(live, chn), -ENOENT);
        EXPECT_EQ(rts_av_enable_chn(chn), -ENOENT);
        EXPECT_EQ(rts_av_disable_chn(chn), -ENOENT);
        EXPECT_EQ(rts_av_destroy_chn(chn), -ENOENT);
        EXPECT_EQ(rts_av_stop_recv(chn), -ENOENT);
        EXPECT_EQ(rts_av_stop_send(chn), -ENOENT);
        EXPECT_EQ(rts_av_get_chn_status(chn), 0);
        EXPECT_EQ(rts_av_query_mjpeg_ctrl(chn, &ctrl), -ENOENT);
    }
    EXPECT_EQ(hostctl::liveChannelCount(), 1);
}

TEST_F(MediaChannels, ProfilesAreCheckedPerKindAndFixedWhileEnabled) {
    int chn = isp();
    rts_av_profile pcm{};
    pcm.format = RTS_AUDIO_FMT_PCM;
    pcm.audio = {48000, 32, 2, 0};
    EXPECT_EQ(rts_av_set_profile(chn, nullptr), -EINVAL);
    const std::string call = "rts_av_set_profile: chn " + std::to_string(chn) + ": ";
    const struct {
        rts_av_profile profile;
        const char* record;
    } bad[] = {{videoProfile(1921, 1080), "width 1921 refused: even widths of 16 to 4096"},
               {videoProfile(14, 1080), "width 14 refused: even widths of 16 to 4096"},
               {videoProfile(1920, 4098), "height 4098 refused: even heights of 16 to 4096"},
               {videoProfile(1920, 1080, 121), "frame rate 121/1 refused: 1 to 120 frames per "
                                               "second"},
               {videoProfile(1920, 1080, 0), "frame rate 0/1 refused: 1 to 120 frames per second"},
               {pcm, "format 32769 refused: NV12 (1)"}};
    for (const auto& r : bad) expectRefusal(rts_av_set_profile(chn, &r.profile), -EINVAL, call + r.record);

    rts_av_profile profile = videoProfile(640, 480, 120);
    ASSERT_EQ(rts_av_set_profile(chn, &profile), 0);
    ASSERT_EQ(rts_av_enable_chn(chn), 0);
    EXPECT_EQ(rts_av_set_profile(chn, &profile), -EBUSY);
    ASSERT_EQ(rts_av_disable_chn(chn), 0);
    EXPECT_EQ(rts_av_set_profile(chn, &profile), 0);

    int enc = encode();
    const std::string encCall = "rts_av_set_profile: chn " + std::to_string(enc) + ": ";
    EXPECT_EQ(rts_av_set_profile(enc, &pcm), 0);
    expectRefusal(rts_av_set_profile(enc, &profile), -EINVAL,
                  encCall + "format 1 refused: PCM (32769)");
    pcm.audio.bitsPerSample = 12;
    expectRefusal(rts_av_set_profile(enc, &pcm), -EINVAL,
                  encCall + "sample width 12 refused: 8, 16, 24 or 32 bits");
    for (int other : {osd(), h264(), mjpeg(), capture(), resample()})
        expectRefusal(rts_av_set_profile(other, &profile), -EINVAL,
                      "rts_av_set_profile: chn " + std::to_string(other) +
                          ": profile refused: only image and audio encode channels take one");
}

TEST_F(MediaChannels, EnablingNeedsProfileAndSource) {
    int camera = isp();
    int enc = h264();
    EXPECT_EQ(rts_av_enable_chn(camera), -EPERM);  // no profile yet
    for (int chn : {enc, osd(), mjpeg(), resample(), encode()})
        EXPECT_EQ(rts_av_enable_chn(chn), -EPERM) << chn;  // no source yet
    for (int chn : {capture(), playback()}) EXPECT_EQ(rts_av_enable_chn(chn), 0) << chn;

    rts_av_profile p = videoProfile();
    ASSERT_EQ(rts_av_set_profile(camera, &p), 0);
    ASSERT_EQ(rts_av_bind(camera, enc), 0);
    EXPECT_EQ(rts_av_enable_chn(enc), 0);
    EXPECT_EQ(rts_av_enable_chn(enc), 0);
    EXPECT_NE(rts_av_get_chn_status(enc), 0);
    EXPECT_EQ(rts_av_disable_chn(enc), 0);
    EXPECT_EQ(rts_av_disable_chn(enc), 0);
    EXPECT_EQ(rts_av_get_chn_status(enc), 0);
}

TEST_F(MediaChannels, DestroyingDropsBindingsEvenWhileRunning) {
    int camera;
    int enc = runningEncoder(&camera);
    int jpg = mjpeg();
    ASSERT_EQ(rts_av_bind(camera, jpg), 0);

    EXPECT_EQ(rts_av_destroy_chn(camera), 0);
    EXPECT_EQ(hostctl::liveChannelCount(), 2);
    // Both former destinations are free for a new source.
    int next = ispWithProfile();
    EXPECT_EQ(rts_av_bind(next, enc), 0);
    EXPECT_EQ(rts_av_bind(next, jpg), 0);
}

TEST_F(MediaChannels, ControlHandlesAreQueriedPerKindAndReleasedSafely) {
    int enc = h264();
    rts_h264_ctrl* ctrl = nullptr;
    rts_h264_ctrl* second = nullptr;
    rts_mjpeg_ctrl* jctrl = nullptr;
    EXPECT_EQ(rts_av_query_h264_ctrl(enc, nullptr), -EINVAL);
    EXPECT_EQ(rts_av_query_h264_ctrl(mjpeg(), &ctrl), -EINVAL);
    EXPECT_EQ(rts_av_query_mjpeg_ctrl(enc, &jctrl), -EINVAL);
    EXPECT_EQ(ctrl, nullptr);
    ASSERT_EQ(rts_av_query_h264_ctrl(enc, &ctrl), 0);
    ASSERT_EQ(rts_av_query_h264_ctrl(enc, &second), 0);
    EXPECT_NE(ctrl, second);

    // Releasing after the channel is gone, twice, null or as the wrong kind: all harmless.
    ASSERT_EQ(rts_av_destroy_chn(enc), 0);
    rts_av_release_h264_ctrl(ctrl);
    rts_av_release_h264_ctrl(ctrl);
    rts_av_release_h264_ctrl(nullptr);
    rts_av_release_mjpeg_ctrl(reinterpret_cast<rts_mjpeg_ctrl*>(second));
    EXPECT_EQ(hostctl::calls("rts_av_release_h264_ctrl")[2].text(),
              "rts_av_release_h264_ctrl(null) = 0");
    rts_av_release_h264_ctrl(second);
}

}  // namespace
