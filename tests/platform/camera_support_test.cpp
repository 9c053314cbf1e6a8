// The host platform's camera support library: the lifetime every record a caller owns
// follows (overlay, mask and AAC encoder packs, audio queues), and the encoder control
// handles.
#include <cerrno>
#include <cstring>

#include <gtest/gtest.h>

#include "camera_support.h"
#include "host_control.h"
#include "platform/channels.h"

namespace {

class CameraSupport : public ::testing::Test {
protected:
    void SetUp() override { freshPlatform(); }
    void TearDown() override { hostctl::reset(); }

    // A reset platform, initialised, with an image channel of 64 x 48 feeding an overlay
    // channel: what a mask pack of that size attaches to.
    static void freshPlatform() {
        hostctl::reset();
        ASSERT_EQ(rts_av_init(), 0);
        ASSERT_EQ(rts_av_bind(channels::isp(64, 48), rts_av_create_osd_chn()), 0);
    }

    // A record is live from a successful init to its deinit: a second init of it is
    // busy, and freeing a record that holds nothing (never initialised, a copy, freed
    // already, or from before a reset) frees nothing and gives `freeingNothing`. An
    // injected failure leaves the record as it was. `ready` is the word the library reads
    // to know a record is live, where the record has one; `live` counts the platform's.
    template <typename Record, typename Init, typename Deinit>
    static void expectLifetime(const char* initCall, Init init, Deinit deinit, int freeingNothing,
                               uint32_t Record::*ready, int (*live)()) {
        SCOPED_TRACE(initCall);
        Record record{};
        EXPECT_EQ(deinit(&record), freeingNothing) << "never initialised";
        EXPECT_EQ(init(nullptr), -EINVAL);
        EXPECT_EQ(deinit(nullptr), -EINVAL);
        hostctl::failCall(initCall, 1, -ENOMEM);
        EXPECT_EQ(init(&record), -ENOMEM);
        EXPECT_TRUE(!ready || record.*ready == 0);

        ASSERT_EQ(init(&record), 0);
        EXPECT_TRUE(!ready || record.*ready != 0);
        EXPECT_EQ(init(&record), -EBUSY);
        Record copy = record;
        EXPECT_EQ(deinit(&copy), -EINVAL) << "a copy";
        EXPECT_EQ(live(), 1);
        EXPECT_EQ(deinit(&record), 0);
        EXPECT_TRUE(!ready || record.*ready == 0);
        EXPECT_EQ(deinit(&record), freeingNothing) << "freed already";
        EXPECT_EQ(live(), 0);

        ASSERT_EQ(init(&record), 0);
        freshPlatform();
        EXPECT_EQ(live(), 0);
        EXPECT_EQ(deinit(&record), freeingNothing) << "from before a reset";
    }
};

TEST_F(CameraSupport, RecordsAreLiveFromInitToDeinitAndNeverThroughACopy) {
    expectLifetime<osd_pack>(
        "init_osd_pack", [](osd_pack* p) { return init_osd_pack(p, 16, 0, 64, 48); },
        deinit_osd_pack, -EINVAL, &osd_pack::ready, hostctl::liveOsdPacks);
    expectLifetime<mask_pack>(
        "init_mask_pack", [](mask_pack* p) { return init_mask_pack(p, 64, 48); }, deinit_mask_pack,
        -EINVAL, &mask_pack::ready, hostctl::liveMaskPacks);
    expectLifetime<audio_queue>(
        "create_audio_queue", [](audio_queue* q) { return create_audio_queue(q, 640); },
        destroy_audio_queue, 0, &audio_queue::ready, hostctl::liveAudioQueues);
    if (hostctl::aacEncoderAvailable())
        expectLifetime<aac_encoder_pack>(
            "create_aac_encoder_pack",
            [](aac_encoder_pack* p) {
                if (p) p->channels = 1, p->sampleRate = p->outputRate = 8000;
                return create_aac_encoder_pack(p);
            },
            destroy_aac_encoder_pack, -EINVAL, nullptr, hostctl::aacEncoderPacks);
}

// Packs refuse sides out of range; an overlay pack keeps the caller's colours and
// attaches to a live overlay channel only.
TEST_F(CameraSupport, PacksRefuseBadSidesAndAttachOnlyToOverlayChannels) {
    mask_pack mask{};
    EXPECT_EQ(init_mask_pack(&mask, 0, 48), -EINVAL);
    EXPECT_EQ(init_mask_pack(&mask, 64, 4097), -EINVAL);
    osd_pack pack{};
    const uint8_t color[6] = {255, 255, 0, 0, 0, 128};
    std::memcpy(pack.color, color, sizeof color);
    const int osd = rts_av_create_osd_chn(), jpg = channels::mjpeg();
    EXPECT_EQ(set_default_osd_attr(&pack, osd), -EINVAL) << "not initialised";
    EXPECT_EQ(set_default_osd_attr(nullptr, osd), -EINVAL);
    for (uint32_t font : {0u, 257u}) EXPECT_EQ(init_osd_pack(&pack, font, 0, 64, 48), -EINVAL);
    EXPECT_EQ(init_osd_pack(&pack, 16, 0, 0, 48), -EINVAL);
    EXPECT_EQ(init_osd_pack(&pack, 16, 0, 64, 4097), -EINVAL);

    ASSERT_EQ(init_osd_pack(&pack, 24, 0, 1280, 720), 0);
    EXPECT_EQ(set_default_osd_attr(&pack, osd), 0);
    EXPECT_EQ(set_default_osd_attr(&pack, jpg), -EINVAL);
    for (int unknown : {99, -1}) EXPECT_EQ(set_default_osd_attr(&pack, unknown), -ENOENT);
    ASSERT_EQ(rts_av_destroy_chn(osd), 0);
    EXPECT_EQ(set_default_osd_attr(&pack, osd), -ENOENT);
    ASSERT_EQ(rts_av_release(), 0);
    EXPECT_EQ(set_default_osd_attr(&pack, jpg), -ENODEV);
    EXPECT_EQ(deinit_osd_pack(&pack), 0) << "packs do not need the media platform";
    EXPECT_EQ(std::memcmp(pack.color, color, sizeof color), 0);
}

// A handle is queried per kind of channel, reaches only its own channel while that
// lives, and is released harmlessly in any state.
TEST_F(CameraSupport, ControlHandlesReachOnlyTheirLiveChannel) {
    const int h264 = channels::h264(), mjpeg = channels::mjpeg();
    rts_h264_ctrl *ctrl = nullptr, *second = nullptr;
    rts_mjpeg_ctrl* jctrl = nullptr;
    EXPECT_EQ(rts_av_query_h264_ctrl(h264, nullptr), -EINVAL);
    EXPECT_EQ(rts_av_query_h264_ctrl(mjpeg, &ctrl), -EINVAL);
    EXPECT_EQ(rts_av_query_mjpeg_ctrl(h264, &jctrl), -EINVAL);
    EXPECT_EQ(ctrl, nullptr);
    ASSERT_EQ(rts_av_query_h264_ctrl(h264, &ctrl), 0);
    ASSERT_EQ(rts_av_query_h264_ctrl(h264, &second), 0);
    ASSERT_EQ(rts_av_query_mjpeg_ctrl(mjpeg, &jctrl), 0);
    EXPECT_NE(ctrl, second);

    int notAHandle = 0;
    EXPECT_EQ(set_h264_video_profile(nullptr, 1), -EINVAL);
    EXPECT_EQ(set_mjpeg_quality(nullptr, 50), -EINVAL);
    EXPECT_EQ(set_mjpeg_quality(reinterpret_cast<rts_mjpeg_ctrl*>(ctrl), 50), -EINVAL);
    EXPECT_EQ(set_h264_video_profile(reinterpret_cast<rts_h264_ctrl*>(jctrl), 1), -EINVAL);
    EXPECT_EQ(set_h264_video_profile(reinterpret_cast<rts_h264_ctrl*>(&notAHandle), 1), -EINVAL);

    // A handle whose channel is gone is detached until released, then unknown; releasing
    // it again, a null one or one of the wrong kind is harmless.
    ASSERT_EQ(rts_av_destroy_chn(h264), 0);
    EXPECT_EQ(set_h264_video_profile(ctrl, 1), -ENODEV);
    rts_av_release_h264_ctrl(ctrl);
    EXPECT_EQ(set_h264_video_profile(ctrl, 1), -EINVAL);
    rts_av_release_h264_ctrl(ctrl);
    rts_av_release_h264_ctrl(nullptr);
    rts_av_release_mjpeg_ctrl(reinterpret_cast<rts_mjpeg_ctrl*>(second));
    EXPECT_EQ(hostctl::calls("rts_av_release_h264_ctrl")[2].text(),
              "rts_av_release_h264_ctrl(null) = 0");
    EXPECT_EQ(set_mjpeg_quality(jctrl, 50), 0);

    // The last release of the platform frees the remaining handles.
    ASSERT_EQ(rts_av_release(), 0);
    EXPECT_EQ(set_mjpeg_quality(jctrl, 50), -EINVAL);
    EXPECT_EQ(hostctl::liveControlHandles(), 0);
}

}  // namespace
