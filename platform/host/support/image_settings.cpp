#include "support/image_settings.h"

#include <cerrno>
#include <mutex>

namespace host::support {
namespace {

struct SettingRange {
    const char* name;
    int min;
    int max;
    int defaultValue;
};

// Indexed by ImageSetting. Levels of 0..255 sit in the middle by default; 0..100 levels
// at half strength; gamma 100 is a straight curve.
constexpr SettingRange kRanges[] = {
    {"brightness", 0, 255, 128},  {"contrast", 0, 255, 128},     {"saturation", 0, 255, 128},
    {"sharpness", 0, 255, 128},   {"hue", 0, 255, 128},          {"detail_enh", 0, 255, 128},
    {"gamma", 0, 255, 100},       {"backlight", 0, 2, 0},        {"pwr_freq", 0, 2, 1},
    {"gray_mode", 0, 1, 0},       {"wdr_mode", 0, 2, 0},         {"wdr_level", 0, 100, 50},
    {"3dnr", 0, 100, 50},         {"dehaze", 0, 1, 0},           {"ir_mode", 0, 2, 0},
    {"smrt_ir_mode", 0, 1, 0},    {"smrt_ir_level", 0, 100, 50}, {"io_door_mode", 0, 2, 0},
    {"noise_reduct", 0, 100, 50},
};
static_assert(sizeof(kRanges) / sizeof(kRanges[0]) == kImageSettingCount,
              "one range per image setting");

constexpr int32_t kMinBias = -128;
constexpr int32_t kMaxBias = 127;
constexpr int32_t kMaxMetering = 5;
constexpr AeAuto kDefaultAe{0, 128, 64, 0};
constexpr int kMaxFlip = 3;

// Microseconds per flicker period of the mains light: exposures of whole periods
// keep banding out of the picture.
constexpr uint32_t kExposure50Hz = 10000;
constexpr uint32_t kExposure60Hz = 8333;
constexpr uint32_t kUnity = 256;

const SettingRange& range(ImageSetting setting) {
    return kRanges[static_cast<std::size_t>(setting)];
}

ImageSettings defaults() {
    ImageSettings settings{};
    for (std::size_t i = 0; i < kImageSettingCount; ++i)
        settings.values[i] = kRanges[i].defaultValue;
    settings.ae = kDefaultAe;
    settings.flip = 0;
    return settings;
}

class SettingStore {
public:
    ImageSettings snapshot() {
        std::lock_guard<std::mutex> lock(mMutex);
        return mSettings;
    }

    template <typename F>
    void update(F f) {
        std::lock_guard<std::mutex> lock(mMutex);
        f(mSettings);
    }

private:
    std::mutex mMutex;
    ImageSettings mSettings = defaults();
};

SettingStore& store() {
    static SettingStore* settings = new SettingStore;  // outlives every static destructor
    return *settings;
}

}  // namespace

ImageSettings imageSettings() { return store().snapshot(); }

const char* settingName(ImageSetting setting) { return range(setting).name; }

int setImageSetting(ImageSetting setting, int value) {
    const SettingRange& r = range(setting);
    if (value < r.min || value > r.max) return -EINVAL;
    store().update([=](ImageSettings& s) { s.values[static_cast<std::size_t>(setting)] = value; });
    return 0;
}

int setAeAuto(const AeAuto& ae) {
    // The target and speed fill their whole types.
    if (ae.bias < kMinBias || ae.bias > kMaxBias || ae.metering < 0 || ae.metering > kMaxMetering)
        return -EINVAL;
    store().update([&](ImageSettings& s) { s.ae = ae; });
    return 0;
}

int setFlip(int flip) {
    if (flip < 0 || flip > kMaxFlip) return -EINVAL;
    store().update([=](ImageSettings& s) { s.flip = flip; });
    return 0;
}

void resetImageSettings() {
    store().update([](ImageSettings& s) { s = defaults(); });
}

ExposureGains exposureGains(const ImageSettings& s) {
    auto brightness = static_cast<uint32_t>(s[ImageSetting::Brightness]);
    auto backlight = static_cast<uint32_t>(s[ImageSetting::Backlight]);
    uint32_t period = s[ImageSetting::PwrFreq] == 2 ? kExposure60Hz : kExposure50Hz;

    ExposureGains g{};
    // A brighter picture takes more sensor gain; backlight compensation lifts the
    // shadows digitally and exposes longer; the bias trims the result in the ISP.
    g.analog = kUnity + 2 * brightness;
    g.digital = kUnity + kUnity / 4 * backlight;
    g.isp = static_cast<uint32_t>(static_cast<int32_t>(kUnity) + s.ae.bias);
    g.exposure = period * (1 + backlight);
    g.total = g.analog * g.digital / kUnity * g.isp / kUnity;
    return g;
}

}  // namespace host::support
