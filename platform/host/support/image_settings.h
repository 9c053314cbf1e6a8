// The camera's image settings as the support library's setters leave them, for the
// calls themselves and for the video pipeline, which shades its frames by them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace host::support {

// One per get_/set_ pair of the support library; named as there.
enum class ImageSetting {
    Brightness,
    Contrast,
    Saturation,
    Sharpness,
    Hue,
    DetailEnh,
    Gamma,
    Backlight,
    PwrFreq,  // 0 off, 1 50 Hz, 2 60 Hz
    GrayMode,
    WdrMode,
    WdrLevel,
    Dnr3d,
    Dehaze,
    IrMode,
    SmrtIrMode,
    SmrtIrLevel,
    IoDoorMode,
    NoiseReduct,
};
constexpr std::size_t kImageSettingCount = static_cast<std::size_t>(ImageSetting::NoiseReduct) + 1;

struct AeAuto {
    int32_t bias;     // -128..127
    uint16_t target;  // luminance
    uint8_t speed;
    int32_t metering;  // 0..5
};

// A consistent copy of every setting.
struct ImageSettings {
    std::array<int, kImageSettingCount> values;
    AeAuto ae;
    int flip;  // 0 none, 1 mirror, 2 flip, 3 both

    int operator[](ImageSetting setting) const { return values[static_cast<std::size_t>(setting)]; }
};

// What the exposure loop would settle on for the settings. Gains in steps of 1/256
// (256 is unity), exposure in microseconds.
struct ExposureGains {
    uint32_t total;
    uint32_t analog;
    uint32_t digital;
    uint32_t isp;
    uint32_t exposure;
};

ImageSettings imageSettings();
ExposureGains exposureGains(const ImageSettings& settings);

// "brightness" for ImageSetting::Brightness.
const char* settingName(ImageSetting setting);
// -EINVAL and nothing changed for a value out of range.
int setImageSetting(ImageSetting setting, int value);
int setAeAuto(const AeAuto& ae);
int setFlip(int flip);
// Every setting back to its default.
void resetImageSettings();

}  // namespace host::support
