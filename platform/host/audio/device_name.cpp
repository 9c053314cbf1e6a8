#include "audio/device_name.h"

namespace host::audio {
namespace {

constexpr char kAlsaPrefix[] = "alsa:";
constexpr char kWavSuffix[] = ".wav";

bool startsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

bool endsWith(const std::string& text, const std::string& suffix) {
    return text.size() >= suffix.size() &&
           text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

}  // namespace

DeviceName parseDeviceName(const std::string& name) {
    if (startsWith(name, kAlsaPrefix))
        return {DeviceKind::Alsa, name.substr(sizeof kAlsaPrefix - 1)};
    if (endsWith(name, kWavSuffix)) return {DeviceKind::WavFile, name};
    return {DeviceKind::Builtin, {}};
}

}  // namespace host::audio
