#include "audio/pcm_output.h"

#include <cerrno>
#include <cstdio>

#include "audio/memory_output.h"
#include "audio/wav_file_output.h"
#ifdef KQ_HOST_ALSA
#include "audio/alsa_output.h"
#endif

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

int openAlsa(const std::string& pcmName, const PcmFormat& format,
             std::unique_ptr<PcmOutput>* output) {
#ifdef KQ_HOST_ALSA
    return AlsaOutput::open(pcmName, format, output);
#else
    (void)format;
    (void)output;
    std::fprintf(stderr,
                 "host playback: \"alsa:%s\" refused: this host platform is built without ALSA\n",
                 pcmName.c_str());
    return -ENOTSUP;
#endif
}

}  // namespace

int openPcmOutput(const std::string& name, const PcmFormat& format,
                  std::unique_ptr<PcmOutput>* output) {
    if (startsWith(name, kAlsaPrefix))
        return openAlsa(name.substr(sizeof kAlsaPrefix - 1), format, output);
    if (endsWith(name, kWavSuffix)) return WavFileOutput::open(name, format, output);
    output->reset(new MemoryOutput(format));
    return 0;
}

}  // namespace host::audio
