#include "audio/pcm_input.h"

#include <cerrno>

#include "audio/device_name.h"
#include "audio/tone_input.h"
#include "audio/wav_file_input.h"
#ifdef KQ_HOST_ALSA
#include "audio/alsa_input.h"
#endif

namespace host::audio {
namespace {

int openAlsa(const std::string& pcmName, const PcmFormat& format,
             std::unique_ptr<PcmInput>* input) {
#ifdef KQ_HOST_ALSA
    return AlsaInput::open(pcmName, format, input);
#else
    (void)format;
    (void)input;
    return refuseDevice(kMicrophone, "alsa:" + pcmName, "this host platform is built without ALSA",
                        -ENOTSUP);
#endif
}

}  // namespace

int openPcmInput(const std::string& name, const PcmFormat& format,
                 std::unique_ptr<PcmInput>* input) {
    DeviceName device;
    if (int rc = parseDeviceName(name, kMicrophone, &device); rc != 0) return rc;
    switch (device.kind) {
        case DeviceKind::Alsa: return openAlsa(device.target, format, input);
        case DeviceKind::WavFile: return WavFileInput::open(device.target, format, input);
        case DeviceKind::Builtin: break;
    }
    input->reset(new ToneInput(format));
    return 0;
}

}  // namespace host::audio
