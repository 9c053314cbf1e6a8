// The host platform's camera support library: image settings, encoder controls and the
// lifetime of overlay and mask packs.
#include <cerrno>
#include <cstring>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include "camera_support.h"
#include "host_control.h"
#include "platform/host_records.h"

namespace {

class CameraSupport : public ::testing::Test {
protected:
    void SetUp() override { hostctl::reset(); }
    void TearDown() override { hostctl::reset(); }
};

struct Setting {
    const char* name;
    int (*set)(int);
    int (*get)(int*);
    int min, max, defaultValue;
};

const Setting kSettings[] = {
    {"brightness", set_brightness, get_brightness, 0, 255, 128},
    {"contrast", set_contrast, get_contrast, 0, 255, 128},
    {"saturation", set_saturation, get_saturation, 0, 255, 128},
    {"sharpness", set_sharpness, get_sharpness, 0, 255, 128},
    {"hue", set_hue, get_hue, 0, 255, 128},
    {"detail_enh", set_detail_enh, get_detail_enh, 0, 255, 128},
    {"gamma", set_gamma, get_gamma, 0, 255, 100},
    {"backlight", set_backlight, get_backlight, 0, 2, 0},
    {"pwr_freq", set_pwr_freq, get_pwr_freq, 0, 2, 1},
    {"gray_mode", set_gray_mode, get_gray_mode, 0, 1, 0},
    {"wdr_mode", set_wdr_mode, get_wdr_mode, 0, 2, 0},
    {"wdr_level", set_wdr_level, get_wdr_level, 0, 100, 50},
    {"3dnr", set_3dnr, get_3dnr, 0, 100, 50},
    {"dehaze", set_dehaze, get_dehaze, 0, 1, 0},
    {"ir_mode", set_ir_mode, get_ir_mode, 0, 2, 0},
    {"smrt_ir_mode", set_smrt_ir_mode, get_smrt_ir_mode, 0, 1, 0},
    {"smrt_ir_level", set_smrt_ir_level, get_smrt_ir_level, 0, 100, 50},
    {"io_door_mode", set_io_door_mode, get_io_door_mode, 0, 2, 0},
    {"noise_reduct", set_noise_reduct, get_noise_reduct, 0, 100, 50},
};

int valueOf(const Setting& s) {
    int value = -1000;
    EXPECT_EQ(s.get(&value), 0) << s.name;
    return value;
}

TEST_F(CameraSupport, EachImageSettingKeepsItsOwnRangeAndDefault) {
    for (const Setting& s : kSettings) {
        SCOPED_TRACE(s.name);
        EXPECT_EQ(valueOf(s), s.defaultValue);
        EXPECT_EQ(s.set(s.min), 0);
        EXPECT_EQ(valueOf(s), s.min);
        EXPECT_EQ(s.set(s.max), 0);
        EXPECT_EQ(valueOf(s), s.max);
        EXPECT_EQ(s.set(s.min - 1), -EINVAL);
        EXPECT_EQ(s.set(s.max + 1), -EINVAL);
        EXPECT_EQ(valueOf(s), s.max);  // refusals change nothing
        EXPECT_EQ(s.get(nullptr), -EINVAL);
        EXPECT_EQ(hostctl::calls(std::string("set_") + s.name).size(), 4u);
        EXPECT_EQ(hostctl::calls(std::string("get_") + s.name).back().args, "null");
    }
    // Every setting moved to its maximum independently of the others.
    for (const Setting& s : kSettings) EXPECT_EQ(valueOf(s), s.max) << s.name;

    hostctl::reset();
    for (const Setting& s : kSettings) EXPECT_EQ(valueOf(s), s.defaultValue) << s.name;
}

TEST_F(CameraSupport, AutoExposureAndFlipAreRangeChecked) {
    int32_t bias = 1, metering = 1;
    uint16_t target = 1;
    uint8_t speed = 1;
    ASSERT_EQ(get_ae_auto(&bias, &target, &speed, &metering), 0);
    EXPECT_EQ(std::make_tuple(bias, target, speed, metering), std::make_tuple(0, 128, 64, 0));

    EXPECT_EQ(set_ae_auto(-128, 65535, 255, 5), 0);
    EXPECT_EQ(set_ae_auto(-129, 0, 0, 0), -EINVAL);
    EXPECT_EQ(set_ae_auto(128, 0, 0, 0), -EINVAL);
    EXPECT_EQ(set_ae_auto(0, 0, 0, -1), -EINVAL);
    EXPECT_EQ(set_ae_auto(0, 0, 0, 6), -EINVAL);
    ASSERT_EQ(get_ae_auto(&bias, &target, &speed, &metering), 0);
    EXPECT_EQ(std::make_tuple(bias, target, speed, metering), std::make_tuple(-128, 65535, 255, 5));
    EXPECT_EQ(get_ae_auto(nullptr, &target, &speed, &metering), -EINVAL);
    EXPECT_EQ(get_ae_auto(&bias, &target, &speed, nullptr), -EINVAL);
    EXPECT_EQ(hostctl::calls("set_ae_auto").front().args, "-128, 65535, 255, 5");

    for (int flip = 0; flip <= 3; ++flip) EXPECT_EQ(set_flip(flip), 0);
    EXPECT_EQ(set_flip(-1), -EINVAL);
    EXPECT_EQ(set_flip(4), -EINVAL);
}

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

TEST_F(EncoderControls, ValuesAreRangeChecked) {
    for (int profile : {0, 1, 2}) EXPECT_EQ(set_h264_video_profile(mH264Ctrl, profile), 0);
    takeHostRecords();
    const std::string h264 = "set_h264_video_profile: chn " + std::to_string(mH264) + ": profile ";
    for (int profile : {-1, 3})
        expectRefusal(set_h264_video_profile(mH264Ctrl, profile), -EINVAL,
                      h264 + std::to_string(profile) + " refused: 0 baseline, 1 main or 2 high");
    for (int quality : {1, 50, 100}) EXPECT_EQ(set_mjpeg_quality(mMjpegCtrl, quality), 0);
    const std::string mjpeg = "set_mjpeg_quality: chn " + std::to_string(mMjpeg) + ": quality ";
    for (int quality : {0, 101})
        expectRefusal(set_mjpeg_quality(mMjpegCtrl, quality), -EINVAL,
                      mjpeg + std::to_string(quality) + " refused: 1 to 100");
}

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
