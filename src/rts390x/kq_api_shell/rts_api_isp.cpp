// Image settings by ISP type, the saved settings that every rebuilt channel graph gets
// back, the staged auto-exposure values, gain and flip.
#include <atomic>
#include <cstdint>

#include "camera_support.h"
#include "kq_api.h"
#include "rts_log.h"

namespace kq {
namespace {

struct IspSetting {
    int (*set)(int);
    int (*get)(int*);
};

// Types 0-20, applied at once; the reserved types 4 and 7 have no setting.
constexpr IspSetting kIspSettings[] = {
    {set_brightness, get_brightness},
    {set_saturation, get_saturation},
    {set_contrast, get_contrast},
    {set_sharpness, get_sharpness},
    {nullptr, nullptr},
    {set_hue, get_hue},
    {set_detail_enh, get_detail_enh},
    {nullptr, nullptr},
    {set_gamma, get_gamma},
    {set_backlight, get_backlight},
    {set_pwr_freq, get_pwr_freq},
    {set_gray_mode, get_gray_mode},
    {set_wdr_mode, get_wdr_mode},
    {set_wdr_level, get_wdr_level},
    {set_3dnr, get_3dnr},
    {set_dehaze, get_dehaze},
    {set_ir_mode, get_ir_mode},
    {set_smrt_ir_mode, get_smrt_ir_mode},
    {set_smrt_ir_level, get_smrt_ir_level},
    {set_io_door_mode, get_io_door_mode},
    {set_noise_reduct, get_noise_reduct},
};
constexpr uint32_t kImageTypeCount = sizeof(kIspSettings) / sizeof(kIspSettings[0]);
static_assert(kImageTypeCount == KQ_ISP_AE_1, "types 0-20 are the image settings");

// Staged auto-exposure values, types 21-24, with the range each is checked against.
struct AeRange {
    int64_t min;
    int64_t max;
};
constexpr AeRange kAeRanges[] = {{-128, 127}, {0, 65535}, {0, 255}, {0, 5}};
constexpr uint32_t kSavedSlotCount = KQ_ISP_AE_APPLY;
static_assert(kImageTypeCount + sizeof(kAeRanges) / sizeof(kAeRanges[0]) == kSavedSlotCount,
              "one saved slot per image setting and auto-exposure value");

// The code logged and returned for an auto-exposure value out of range.
constexpr int kAeVerifyFailed = 21;
constexpr int kUnknownType = -1;

// Last good value of every type. Atomic slots: the application may set a value while
// another thread's kq_open_encoder applies the table.
std::atomic<int32_t> gIspSaved[kSavedSlotCount];

int32_t saved(uint32_t type) { return gIspSaved[type].load(std::memory_order_relaxed); }
void save(uint32_t type, int32_t value) { gIspSaved[type].store(value, std::memory_order_relaxed); }

bool aeInRange(uint32_t type, int value) {
    const AeRange& range = kAeRanges[type - KQ_ISP_AE_1];
    return value >= range.min && value <= range.max;
}

}  // namespace
}  // namespace kq

using namespace kq;

int rts_set_isp(uint32_t type, int value) {
    if (type >= kImageTypeCount) {
        KQ_ERROR("THIS SHOULD NOT HAPPENED!");
        return 0;
    }
    const IspSetting& setting = kIspSettings[type];
    if (!setting.set) return 0;
    int r = setting.set(value);
    // A new IR mode brings its own exposure: put the staged auto exposure back over it.
    if (type == KQ_ISP_IR_MODE) rts_apply_saved_ae_auto();
    if (r != 0) {
        KQ_WARNING("set isp type:%d = %d fail, ret = %d, %s\n", static_cast<int>(type), value, r,
                   errno2str(r));
        return r;
    }
    return 0;
}

int kq_isp_set(uint32_t type, int value) {
    if (type < kImageTypeCount) {
        int r = rts_set_isp(type, value);
        if (r == 0) save(type, value);
        return r;
    }
    if (type < kSavedSlotCount) {
        if (!aeInRange(type, value)) {
            KQ_WARNING("rts verify ae auto setting fail, ret = %d, %s", kAeVerifyFailed,
                       errno2str(kAeVerifyFailed));
            return kAeVerifyFailed;
        }
        save(type, value);
        return 0;
    }
    if (type == KQ_ISP_AE_APPLY) return value != 0 ? rts_apply_saved_ae_auto() : 0;
    KQ_ERROR("given isp type: %d invalid!", static_cast<int>(type));
    return kUnknownType;
}

void rts_save_isp_setting(void) {
    for (uint32_t type = 0; type < kImageTypeCount; ++type) {
        const IspSetting& setting = kIspSettings[type];
        if (!setting.get) continue;
        int value = 0;
        int r = setting.get(&value);
        if (r == 0)
            save(type, value);
        else
            KQ_WARNING("get isp type:%d fail, ret = %d, %s\n", static_cast<int>(type), r,
                       errno2str(r));
    }
}

void rts_apply_isp_saved_setting(void) {
    for (uint32_t type = 0; type < kImageTypeCount; ++type) rts_set_isp(type, saved(type));
}

// Shows what the platform has now, not the saved table.
void rts_show_isp_saved_setting(void) {
    for (uint32_t type = 0; type < kImageTypeCount; ++type) {
        const IspSetting& setting = kIspSettings[type];
        int value = 0;
        int r = setting.get ? setting.get(&value) : 0;
        if (r == 0)
            KQ_INFO("get isp type:%d = %d\n", static_cast<int>(type), value);
        else
            KQ_WARNING("get isp type:%d fail, ret = %d, %s\n", static_cast<int>(type), r,
                       errno2str(r));
    }
}

void rts_save_ae_auto(void) {
    int32_t bias = 0;
    uint16_t target = 0;
    uint8_t speed = 0;
    int32_t metering = 0;
    int r = get_ae_auto(&bias, &target, &speed, &metering);
    if (r != 0) {
        KQ_PLATFORM_WARNING("get ae auto fail, ret = %d, %s\n", r);
        return;
    }
    save(KQ_ISP_AE_1, bias);
    save(KQ_ISP_AE_2, target);
    save(KQ_ISP_AE_3, speed);
    save(KQ_ISP_AE_4, metering);
}

int rts_apply_saved_ae_auto(void) {
    int r = set_ae_auto(saved(KQ_ISP_AE_1), static_cast<uint16_t>(saved(KQ_ISP_AE_2)),
                        static_cast<uint8_t>(saved(KQ_ISP_AE_3)), saved(KQ_ISP_AE_4));
    if (r != 0) KQ_PLATFORM_WARNING("set ae auto fail, ret = %d, %s", r);
    return r;
}

int rts_get_gain(uint32_t* total, uint32_t* analog, uint32_t* digital, uint32_t* isp,
                 uint32_t* exposure) {
    int r = get_ae_all_gain(total, analog, digital, isp, exposure);
    if (r != 0) KQ_PLATFORM_WARNING("get ae all gain fail, ret = %d, %s\n", r);
    return r;
}

// Flip is not saved: a rebuilt channel graph keeps the platform's flip.
void kq_set_image_flip(int flip) {
    int r = set_flip(flip);
    if (r != 0) KQ_WARNING("set flip:%d fail, ret = %d, %s\n", flip, r, errno2str(r));
}
