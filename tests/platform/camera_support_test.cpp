// The host platform's camera support library: encoder controls and the lifetime of
// overlay and mask packs.
#include <cerrno>
#include <cstring>

#include <gtest/gtest.h>

#include "camera_support.h"
#include "host_control.h"

namespace {

class CameraSupport : public ::testing::Test {
protected:
    void SetUp() override { hostctl::reset(); }
    void TearDown() override { hostctl::reset(); }
};

class EncoderControls : public CameraSupport {
protected:
    void SetUp() override {
        CameraSupport::SetUp();
        ASSERT_EQ(rts_av_init(), 0);
        rts_h264_attr h264{4, -1, 1'000'000, 25, 0, 0};
        rts_mjpeg_attr mjpeg{0};
        mH264 = rts_av_create_h264_chn(&h264);
        mMjpeg = rts_av_create_mjpeg_chn(&mjpeg);
        ASSERT_EQ(rts_av_query_h264_ctrl(mH264, &mH264Ctrl), 0);
        ASSERT_EQ(rts_av_query_mjpeg_ctrl(mMjpeg, &mMjpegCtrl), 0);
    }

    int mH264 = -1, mMjpeg = -1;
    rts_h264_ctrl* mH264Ctrl = nullptr;
    rts_mjpeg_ctrl* mMjpegCtrl = nullptr;
};

TEST_F(EncoderControls, OnlyLiveHandlesOfTheRightKindReachAChannel) {
    EXPECT_EQ(set_h264_video_profile(nullptr, 1), -EINVAL);
    EXPECT_EQ(set_mjpeg_quality(nullptr, 50), -EINVAL);
    EXPECT_EQ(set_mjpeg_quality(reinterpret_cast<rts_mjpeg_ctrl*>(mH264Ctrl), 50), -EINVAL);
    EXPECT_EQ(set_h264_video_profile(reinterpret_cast<rts_h264_ctrl*>(mMjpegCtrl), 1), -EINVAL);
    int notAHandle = 0;
    EXPECT_EQ(set_h264_video_profile(reinterpret_cast<rts_h264_ctrl*>(&notAHandle), 1), -EINVAL);

    // A handle whose channel is gone is detached until released, then unknown.
    ASSERT_EQ(rts_av_destroy_chn(mH264), 0);
    EXPECT_EQ(set_h264_video_profile(mH264Ctrl, 1), -ENODEV);
    rts_av_release_h264_ctrl(mH264Ctrl);
    EXPECT_EQ(set_h264_video_profile(mH264Ctrl, 1), -EINVAL);
    EXPECT_EQ(set_mjpeg_quality(mMjpegCtrl, 50), 0);

    // The last release frees the remaining handles.
    ASSERT_EQ(rts_av_release(), 0);
    EXPECT_EQ(set_mjpeg_quality(mMjpegCtrl, 50), -EINVAL);
}

TEST_F(CameraSupport, OsdPackLifecycle) {
    osd_pack pack{};
    const uint8_t color[6] = {255, 255, 0, 0, 0, 128};
    std::memcpy(pack.color, color, sizeof color);

    EXPECT_EQ(init_osd_pack(nullptr, 32, 0, 1920, 1080), -EINVAL);
    EXPECT_EQ(init_osd_pack(&pack, 0, 0, 1920, 1080), -EINVAL);
    EXPECT_EQ(init_osd_pack(&pack, 257, 0, 1920, 1080), -EINVAL);
    EXPECT_EQ(init_osd_pack(&pack, 32, 0, 0, 1080), -EINVAL);
    EXPECT_EQ(init_osd_pack(&pack, 32, 0, 1920, 4097), -EINVAL);
    EXPECT_EQ(deinit_osd_pack(&pack), -EINVAL);

    ASSERT_EQ(init_osd_pack(&pack, 32, 0, 1920, 1080), 0);
    EXPECT_NE(pack.ready, 0u);
    EXPECT_EQ(init_osd_pack(&pack, 32, 0, 1920, 1080), -EBUSY);

    // A copy carries the same bytes but is not the pack.
    osd_pack copy = pack;
    EXPECT_EQ(deinit_osd_pack(&copy), -EINVAL);

    ASSERT_EQ(deinit_osd_pack(&pack), 0);
    EXPECT_EQ(pack.ready, 0u);
    EXPECT_EQ(std::memcmp(pack.color, color, sizeof color), 0);  // the caller's colours stay
    EXPECT_EQ(deinit_osd_pack(&pack), -EINVAL);
    EXPECT_EQ(init_osd_pack(&pack, 16, 0, 640, 480), 0);

    // A pack from before a reset is stale.
    hostctl::reset();
    EXPECT_EQ(deinit_osd_pack(&pack), -EINVAL);
    EXPECT_EQ(set_default_osd_attr(&pack, 0), -EINVAL);
}

TEST_F(CameraSupport, OsdPackAttachesOnlyToOverlayChannels) {
    ASSERT_EQ(rts_av_init(), 0);
    int osd = rts_av_create_osd_chn();
    rts_mjpeg_attr mjpeg{0};
    int jpg = rts_av_create_mjpeg_chn(&mjpeg);
    osd_pack pack{};
    EXPECT_EQ(set_default_osd_attr(&pack, osd), -EINVAL);  // not initialised
    EXPECT_EQ(set_default_osd_attr(nullptr, osd), -EINVAL);

    ASSERT_EQ(init_osd_pack(&pack, 24, 0, 1280, 720), 0);
    EXPECT_EQ(set_default_osd_attr(&pack, osd), 0);
    EXPECT_EQ(set_default_osd_attr(&pack, jpg), -EINVAL);
    EXPECT_EQ(set_default_osd_attr(&pack, 99), -ENOENT);
    EXPECT_EQ(set_default_osd_attr(&pack, -1), -ENOENT);
    ASSERT_EQ(rts_av_destroy_chn(osd), 0);
    EXPECT_EQ(set_default_osd_attr(&pack, osd), -ENOENT);
    ASSERT_EQ(rts_av_release(), 0);
    EXPECT_EQ(set_default_osd_attr(&pack, jpg), -ENODEV);
    EXPECT_EQ(deinit_osd_pack(&pack), 0);  // packs do not need the media platform
}

TEST_F(CameraSupport, MaskPackLifecycle) {
    // A mask pack needs an overlay channel fed by an image channel of its size.
    ASSERT_EQ(rts_av_init(), 0);
    rts_isp_attr attr{3, 0};
    int isp = rts_av_create_isp_chn(&attr);
    rts_av_profile profile{};
    profile.format = RTS_PIX_FMT_NV12;
    profile.video = {1920, 1080, 1, 25};
    ASSERT_EQ(rts_av_set_profile(isp, &profile), 0);
    ASSERT_EQ(rts_av_bind(isp, rts_av_create_osd_chn()), 0);

    mask_pack pack{};
    EXPECT_EQ(init_mask_pack(nullptr, 1920, 1080), -EINVAL);
    EXPECT_EQ(init_mask_pack(&pack, 0, 1080), -EINVAL);
    EXPECT_EQ(init_mask_pack(&pack, 1920, 4097), -EINVAL);
    EXPECT_EQ(deinit_mask_pack(&pack), -EINVAL);

    hostctl::failCall("init_mask_pack", 1, -ENOMEM);
    EXPECT_EQ(init_mask_pack(&pack, 1920, 1080), -ENOMEM);
    EXPECT_EQ(pack.ready, 0u);

    ASSERT_EQ(init_mask_pack(&pack, 1920, 1080), 0);
    EXPECT_EQ(init_mask_pack(&pack, 1920, 1080), -EBUSY);
    mask_pack copy = pack;
    EXPECT_EQ(deinit_mask_pack(&copy), -EINVAL);
    ASSERT_EQ(deinit_mask_pack(&pack), 0);
    EXPECT_EQ(pack.ready, 0u);
    EXPECT_EQ(deinit_mask_pack(&pack), -EINVAL);
}

}  // namespace
