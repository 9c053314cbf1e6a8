#include "audio/device_name.h"

#include <strings.h>

#include <cerrno>

#include "log/host_log.h"

namespace host::audio {
namespace {

constexpr char kAlsaPrefix[] = "alsa:";
constexpr char kWavSuffix[] = ".wav";

bool startsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

bool endsWithWav(const std::string& name) {
    const std::size_t length = sizeof kWavSuffix - 1;
    return name.size() >= length &&
           strcasecmp(name.c_str() + name.size() - length, kWavSuffix) == 0;
}

// What a record about `name` adds when the library may have cut it.
std::string cutNote(const std::string& name) {
    if (name.size() != kMaxDeviceName) return {};
    return " (the name has " + std::to_string(kMaxDeviceName) +
           " characters, the most the library passes: it cuts longer device names)";
}

}  // namespace

int parseDeviceName(const std::string& name, const char* role, DeviceName* device) {
    if (startsWith(name, kAlsaPrefix)) {
        *device = {DeviceKind::Alsa, name.substr(sizeof kAlsaPrefix - 1)};
        return 0;
    }
    if (endsWithWav(name)) {
        *device = {DeviceKind::WavFile, name};
        return 0;
    }
    if (name.find('/') != std::string::npos)
        return refuseDevice(role, name, "a file name must end in \".wav\"", -EINVAL);
    if (name.size() == kMaxDeviceName)
        log::report(log::kWarning, "%s \"%s\" is the built-in %s%s", role, name.c_str(), role,
                    cutNote(name).c_str());
    *device = {DeviceKind::Builtin, {}};
    return 0;
}

int refuseDevice(const char* role, const std::string& name, const std::string& why, int code) {
    return log::refuse(code, "%s \"%s\" refused: %s%s", role, name.c_str(), why.c_str(),
                       cutNote(name).c_str());
}

}  // namespace host::audio
