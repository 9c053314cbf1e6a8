// The library's dynamic interface: every exported function is there under its plain
// name, the board functions under their C++ names. (check_exports.cmake checks the
// other way round: nothing else is exported.)
#include <dlfcn.h>
#include <gtest/gtest.h>

namespace {

const char* const kExported[] = {
    "kq_init_kq",
    "kq_uninit",
    "kq_open_encoder",
    "kq_start_encoder",
    "kq_close_encoder",
    "kq_poll_frame",
    "kq_register_snapshot_callback",
    "kq_trigger_snapshot",
    "kq_register_timestamp_callback",
    "kq_encoder_change_fps",
    "kq_force_keyframe",
    "kq_set_roi",
    "kq_change_bitrate",
    "kq_motion_detect_enable",
    "kq_motion_detect_region_setup",
    "kq_motion_detect_region_enable",
    "kq_set_pw_frequency",
    "kq_get_crop_info",
    "kq_get_crop_info_mjpg",
    "kq_get_crop_info_h264",
    "kq_to_mjpg_crop_size",
    "kq_to_h264_crop_size",
    "kq_isp_set",
    "kq_set_image_flip",
    "rts_set_isp",
    "rts_save_isp_setting",
    "rts_apply_isp_saved_setting",
    "rts_show_isp_saved_setting",
    "rts_save_ae_auto",
    "rts_apply_saved_ae_auto",
    "rts_get_gain",
    "kq_osd_init",
    "kq_osd_uninit",
    "kq_osd_update",
    "kq_enable_osd",
    "kq_osd_set_color",
    "kq_osd_set_position",
    "kq_osd_set_format",
    "kq_watermark_enable",
    "kq_watermark_setup_position",
    "kq_watermark_setup_opaque",
    "kq_watermark_setup_logo",
    "kq_enable_privacy_mode",
    "kq_privacy_setup_icon",
};

// The board functions keep C++ linkage: their mangled names.
const char* const kBoardExported[] = {
    "_Z9gpio_initiii",
    "_Z11gpio_deiniti",
    "_Z14gpio_get_valuei",
    "_Z14gpio_set_valueii",
    "_Z14i2c_act_direct15i2c_action_typeiiPhi",
    "_Z16i2c_act_register15i2c_action_typeiiiiPhi",
    "_Z16i2c_act_reg_bits15i2c_action_typeiiihh",
    "_Z18get_aud_out_volumev",
    "_Z18set_aud_out_volumei",
    "_Z17get_aud_in_volumev",
    "_Z17set_aud_in_volumei",
};

TEST(ExportedSymbols, EveryFunctionIsExportedUnmangled) {
    void* library = dlopen(KQ_API_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    for (const char* name : kExported) EXPECT_NE(dlsym(library, name), nullptr) << name;
    for (const char* name : kBoardExported) EXPECT_NE(dlsym(library, name), nullptr) << name;
    // Internal names stay inside.
    for (const char* name : {"gVideoContext", "_ZN2kq13gVideoContextE", "_ZN2kq12aud_out_muteE",
                             "_ZN2kq11aud_in_muteE"})
        EXPECT_EQ(dlsym(library, name), nullptr) << name;
    dlclose(library);
}

}  // namespace
