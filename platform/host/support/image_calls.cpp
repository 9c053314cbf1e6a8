// The support library's image-setting calls. They work without rts_av_init(): the
// settings belong to the sensor, not to a channel.
#include <cerrno>
#include <string>

#include "camera_support.h"
#include "journal/call_journal.h"
#include "journal/journaled.h"
#include "support/image_settings.h"

using host::journaled;
using host::support::ImageSetting;

namespace {

int setValue(ImageSetting setting, int value) {
    std::string function = std::string("set_") + host::support::settingName(setting);
    return journaled(
        function.c_str(), [&] { return hostctl::args(value); },
        [=] { return host::support::setImageSetting(setting, value); });
}

int getValue(ImageSetting setting, int* value) {
    std::string function = std::string("get_") + host::support::settingName(setting);
    return journaled(
        function.c_str(), [&] { return hostctl::args(value); },
        [=] {
            if (!value) return -EINVAL;
            *value = host::support::imageSettings()[setting];
            return 0;
        });
}

}  // namespace

extern "C" {

int set_brightness(int value) { return setValue(ImageSetting::Brightness, value); }
int get_brightness(int* value) { return getValue(ImageSetting::Brightness, value); }
int set_saturation(int value) { return setValue(ImageSetting::Saturation, value); }
int get_saturation(int* value) { return getValue(ImageSetting::Saturation, value); }
int set_contrast(int value) { return setValue(ImageSetting::Contrast, value); }
int get_contrast(int* value) { return getValue(ImageSetting::Contrast, value); }
int set_sharpness(int value) { return setValue(ImageSetting::Sharpness, value); }
int get_sharpness(int* value) { return getValue(ImageSetting::Sharpness, value); }
int set_hue(int value) { return setValue(ImageSetting::Hue, value); }
int get_hue(int* value) { return getValue(ImageSetting::Hue, value); }
int set_detail_enh(int value) { return setValue(ImageSetting::DetailEnh, value); }
int get_detail_enh(int* value) { return getValue(ImageSetting::DetailEnh, value); }
int set_gamma(int value) { return setValue(ImageSetting::Gamma, value); }
int get_gamma(int* value) { return getValue(ImageSetting::Gamma, value); }
int set_backlight(int value) { return setValue(ImageSetting::Backlight, value); }
int get_backlight(int* value) { return getValue(ImageSetting::Backlight, value); }
int set_pwr_freq(int value) { return setValue(ImageSetting::PwrFreq, value); }
int get_pwr_freq(int* value) { return getValue(ImageSetting::PwrFreq, value); }
int set_gray_mode(int value) { return setValue(ImageSetting::GrayMode, value); }
int get_gray_mode(int* value) { return getValue(ImageSetting::GrayMode, value); }
int set_wdr_mode(int value) { return setValue(ImageSetting::WdrMode, value); }
int get_wdr_mode(int* value) { return getValue(ImageSetting::WdrMode, value); }
int set_wdr_level(int value) { return setValue(ImageSetting::WdrLevel, value); }
int get_wdr_level(int* value) { return getValue(ImageSetting::WdrLevel, value); }
int set_3dnr(int value) { return setValue(ImageSetting::Dnr3d, value); }
int get_3dnr(int* value) { return getValue(ImageSetting::Dnr3d, value); }
int set_dehaze(int value) { return setValue(ImageSetting::Dehaze, value); }
int get_dehaze(int* value) { return getValue(ImageSetting::Dehaze, value); }
int set_ir_mode(int value) { return setValue(ImageSetting::IrMode, value); }
int get_ir_mode(int* value) { return getValue(ImageSetting::IrMode, value); }
int set_smrt_ir_mode(int value) { return setValue(ImageSetting::SmrtIrMode, value); }
int get_smrt_ir_mode(int* value) { return getValue(ImageSetting::SmrtIrMode, value); }
int set_smrt_ir_level(int value) { return setValue(ImageSetting::SmrtIrLevel, value); }
int get_smrt_ir_level(int* value) { return getValue(ImageSetting::SmrtIrLevel, value); }
int set_io_door_mode(int value) { return setValue(ImageSetting::IoDoorMode, value); }
int get_io_door_mode(int* value) { return getValue(ImageSetting::IoDoorMode, value); }
int set_noise_reduct(int value) { return setValue(ImageSetting::NoiseReduct, value); }
int get_noise_reduct(int* value) { return getValue(ImageSetting::NoiseReduct, value); }

int get_ae_auto(int32_t* bias, uint16_t* target, uint8_t* speed, int32_t* metering) {
    return journaled(
        "get_ae_auto", [&] { return hostctl::args(bias, target, speed, metering); },
        [=] {
            if (!bias || !target || !speed || !metering) return -EINVAL;
            host::support::AeAuto ae = host::support::imageSettings().ae;
            *bias = ae.bias;
            *target = ae.target;
            *speed = ae.speed;
            *metering = ae.metering;
            return 0;
        });
}

int set_ae_auto(int32_t bias, uint16_t target, uint8_t speed, int32_t metering) {
    return journaled(
        "set_ae_auto", [&] { return hostctl::args(bias, target, speed, metering); },
        [=] {
            return host::support::setAeAuto({bias, target, speed, metering});
        });
}

int get_ae_all_gain(uint32_t* total, uint32_t* analog, uint32_t* digital, uint32_t* isp,
                    uint32_t* exposure) {
    return journaled(
        "get_ae_all_gain", [&] { return hostctl::args(total, analog, digital, isp, exposure); },
        [=] {
            if (!total || !analog || !digital || !isp || !exposure) return -EINVAL;
            auto g = host::support::exposureGains(host::support::imageSettings());
            *total = g.total;
            *analog = g.analog;
            *digital = g.digital;
            *isp = g.isp;
            *exposure = g.exposure;
            return 0;
        });
}

int set_flip(int flip) {
    return journaled(
        "set_flip", [&] { return hostctl::args(flip); },
        [=] { return host::support::setFlip(flip); });
}

}  // extern "C"
