#include "audio/wav_file_output.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "audio/device_name.h"

namespace host::audio {
namespace {

int subtypeOf(uint32_t bitsPerSample) {
    switch (bitsPerSample) {
        case 8: return SF_FORMAT_PCM_U8;  // WAV's 8-bit PCM is unsigned, as the samples are
        case 16: return SF_FORMAT_PCM_16;
        case 24: return SF_FORMAT_PCM_24;
        default: return SF_FORMAT_PCM_32;
    }
}

}  // namespace

int WavFileOutput::open(const std::string& path, const PcmFormat& format,
                        std::unique_ptr<PcmOutput>* output) {
    int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        int rc = -errno;
        return refuseDevice(kSpeaker, path, std::strerror(-rc), rc);
    }
    SF_INFO info{};
    info.samplerate = static_cast<int>(format.rate);
    info.channels = static_cast<int>(format.channels);
    info.format = SF_FORMAT_WAV | subtypeOf(format.bitsPerSample);
    // The descriptor stays ours to close, whether or not libsndfile takes the file.
    SNDFILE* file = sf_open_fd(fd, SFM_WRITE, &info, SF_FALSE);
    if (!file) {
        ::close(fd);
        return refuseDevice(kSpeaker, path, sf_strerror(nullptr), -EIO);
    }
    sf_command(file, SFC_SET_UPDATE_HEADER_AUTO, nullptr, SF_TRUE);
    output->reset(new WavFileOutput(file, fd));
    return 0;
}

WavFileOutput::~WavFileOutput() {
    sf_close(mFile);  // completes the header
    ::close(mFd);
}

int WavFileOutput::play(const uint8_t* frames, std::size_t bytes) {
    // The samples are already in the file's layout: written as they are.
    sf_count_t written = sf_write_raw(mFile, frames, static_cast<sf_count_t>(bytes));
    return written == static_cast<sf_count_t>(bytes) ? 0 : -EIO;
}

}  // namespace host::audio
