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

// The refusals of bad profiles, with their records, are in host_refusals_test.cpp.
TEST_F(MediaChannels, ProfilesAreFixedWhileEnabled) {
    int chn = isp();
    EXPECT_EQ(rts_av_set_profile(chn, nullptr), -EINVAL);
    rts_av_profile profile = videoProfile(640, 480, 120);
    ASSERT_EQ(rts_av_set_profile(chn, &profile), 0);
    ASSERT_EQ(rts_av_enable_chn(chn), 0);
    EXPECT_EQ(rts_av_set_profile(chn, &profile), -EBUSY);
    ASSERT_EQ(rts_av_disable_chn(chn), 0);
    EXPECT_EQ(rts_av_set_profile(chn, &profile), 0);
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
