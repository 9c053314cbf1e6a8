// The host platform's media channels: lifetime, ids, bindings and the state rules. The
// refusals that write a record are in host_refusals_test.cpp, control handles in
// camera_support_test.cpp.
#include <cerrno>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host_control.h"
#include "platform/audio_format.h"
#include "platform/channels.h"
#include "rts_av.h"

namespace {

class MediaChannels : public ::testing::Test {
protected:
    void SetUp() override {
        hostctl::reset();
        ASSERT_EQ(rts_av_init(), 0);
    }
    void TearDown() override { hostctl::reset(); }

    // An enabled image channel (id in *camera) feeding an enabled H.264 channel.
    static int runningEncoder(int* camera) {
        *camera = channels::isp(1920, 1080);
        int enc = channels::h264();
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
    EXPECT_GT(channels::isp(), enc);
}

// Every call on a channel refuses an id that names none (-ENOENT), and everything is
// refused while the platform is not initialised (-ENODEV); the status reads inactive.
TEST_F(MediaChannels, UnknownIdsAndAnUninitialisedPlatformAreRefused) {
    const int gone = channels::isp(), live = rts_av_create_osd_chn();
    ASSERT_EQ(rts_av_destroy_chn(gone), 0);
    const rts_av_profile profile = channels::videoProfile(1920, 1080);
    rts_mjpeg_ctrl* ctrl = nullptr;
    const std::vector<std::function<int(int)>> calls = {
        [&](int chn) { return rts_av_set_profile(chn, &profile); },
        [&](int chn) { return rts_av_bind(chn, live); },
        [&](int chn) { return rts_av_bind(live, chn); },
        rts_av_enable_chn,
        rts_av_disable_chn,
        rts_av_destroy_chn,
        rts_av_start_recv,
        rts_av_stop_recv,
        rts_av_stop_send,
        [&](int chn) { return rts_av_query_mjpeg_ctrl(chn, &ctrl); },
    };
    for (int chn : {-1, gone, 999}) {
        for (std::size_t i = 0; i < calls.size(); ++i)
            EXPECT_EQ(calls[i](chn), -ENOENT) << "call " << i << " on " << chn;
        EXPECT_EQ(rts_av_get_chn_status(chn), 0);
    }
    EXPECT_EQ(hostctl::liveChannelCount(), 1);

    ASSERT_EQ(rts_av_release(), 0);
    for (std::size_t i = 0; i < calls.size(); ++i)
        EXPECT_EQ(calls[i](live), -ENODEV) << "call " << i;
    EXPECT_EQ(channels::isp(), -ENODEV);
    EXPECT_EQ(rts_av_create_h264_chn(nullptr), -ENODEV) << "before the attributes";
    EXPECT_EQ(rts_av_get_chn_status(live), 0);
}

// A channel is enabled once it has its profile and its source; the profile is fixed
// while it is enabled.
TEST_F(MediaChannels, EnablingNeedsProfileAndSourceAndFixesTheProfile) {
    int camera = channels::isp();
    int enc = channels::h264();
    EXPECT_EQ(rts_av_set_profile(camera, nullptr), -EINVAL);
    EXPECT_EQ(rts_av_enable_chn(camera), -EPERM);  // no profile yet
    for (int chn : {enc, rts_av_create_osd_chn(), channels::mjpeg(),
                    rts_av_create_audio_resample_chn(8000, 16, 1),
                    rts_av_create_audio_encode_chn(RTS_AUDIO_ENCODE_PCM, 0)})
        EXPECT_EQ(rts_av_enable_chn(chn), -EPERM) << chn;  // no source yet
    const rts_audio_attr audio = attrFor("hw:0,0", kVoice);
    for (int chn :
         {rts_av_create_audio_capture_chn(&audio), rts_av_create_audio_playback_chn(&audio)})
        EXPECT_EQ(rts_av_enable_chn(chn), 0) << chn;

    rts_av_profile p = channels::videoProfile(640, 480, 120);
    ASSERT_EQ(rts_av_set_profile(camera, &p), 0);
    ASSERT_EQ(rts_av_enable_chn(camera), 0);
    EXPECT_EQ(rts_av_set_profile(camera, &p), -EBUSY);
    ASSERT_EQ(rts_av_bind(camera, enc), 0);
    EXPECT_EQ(rts_av_enable_chn(enc), 0);
    EXPECT_EQ(rts_av_enable_chn(enc), 0);
    EXPECT_NE(rts_av_get_chn_status(enc), 0);
    EXPECT_EQ(rts_av_disable_chn(enc), 0);
    EXPECT_EQ(rts_av_disable_chn(enc), 0);
    EXPECT_EQ(rts_av_get_chn_status(enc), 0);
    ASSERT_EQ(rts_av_disable_chn(camera), 0);
    EXPECT_EQ(rts_av_set_profile(camera, &p), 0);
}

}  // namespace
