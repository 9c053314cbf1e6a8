#include "audio/pcm_output.h"

#include <cerrno>

#include "audio/device_name.h"
#include "audio/memory_output.h"
#include "audio/wav_file_output.h"
#ifdef KQ_HOST_ALSA
#include "audio/alsa_output.h"
#endif

namespace host::audio {
namespace {

int openAlsa(const std::string& pcmName, const PcmFormat& format,
             std::unique_ptr<PcmOutput>* output) {
#ifdef KQ_HOST_ALSA
    return AlsaOutput::open(pcmName, format, output);
#else
    (void)format;
    (void)output;
    return refuseDevice(kSpeaker, "alsa:" + pcmName, "this host platform is built without ALSA",
                        -ENOTSUP);
#endif
}

}  // namespace

int openPcmOutput(const std::string& name, const PcmFormat& format,
                  std::unique_ptr<PcmOutput>* output) {
    DeviceName device;
    if (int rc = parseDeviceName(name, kSpeaker, &device); rc != 0) return rc;
    switch (device.kind) {
        case DeviceKind::Alsa: return openAlsa(device.target, format, output);
        case DeviceKind::WavFile: return WavFileOutput::open(device.target, format, output);
        case DeviceKind::Builtin: break;
    }
    output->reset(new MemoryOutput(format));
    return 0;
}

}  // namespace host::audio
