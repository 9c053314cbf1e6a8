#include "audio/wav_file_input.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "audio/device_name.h"
#include "audio/pcm_sample.h"

namespace host::audio {

int WavFileInput::open(const std::string& path, const PcmFormat& format,
                       std::unique_ptr<PcmInput>* input) {
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        int rc = -errno;
        return refuseDevice(kMicrophone, path, std::strerror(-rc), rc);
    }
    SF_INFO info{};
    // The descriptor stays ours to close, whether or not libsndfile takes the file.
    SNDFILE* file = sf_open_fd(fd, SFM_READ, &info, SF_FALSE);
    if (!file) {
        ::close(fd);
        return refuseDevice(kMicrophone, path, sf_strerror(nullptr), -EIO);
    }
    std::unique_ptr<PcmInput> opened(new WavFileInput(file, fd, format));
    if (info.samplerate != static_cast<int>(format.rate) ||
        info.channels != static_cast<int>(format.channels)) {
        char why[128];
        std::snprintf(why, sizeof why,
                      "%d Hz with %d channels, where the channel takes %u Hz with %u",
                      info.samplerate, info.channels, format.rate, format.channels);
        return refuseDevice(kMicrophone, path, why, -EINVAL);
    }
    if (info.frames <= 0) return refuseDevice(kMicrophone, path, "no samples to play", -EINVAL);
    // Floating-point files are read at full scale rather than as plain numbers.
    sf_command(file, SFC_SET_SCALE_FLOAT_INT_READ, nullptr, SF_TRUE);
    *input = std::move(opened);
    return 0;
}

WavFileInput::~WavFileInput() {
    sf_close(mFile);
    ::close(mFd);
}

int WavFileInput::read(uint8_t* frames, std::size_t bytes) {
    std::size_t left = bytes / mFormat.frameBytes();
    bool rewound = false;
    while (left > 0) {
        std::size_t got = readFrames(frames, left);
        if (got == 0) {
            // At the end, or a read error: start again, but never twice in a row.
            if (rewound || sf_seek(mFile, 0, SEEK_SET) != 0) return -EIO;
            rewound = true;
            continue;
        }
        rewound = false;
        frames += got * mFormat.frameBytes();
        left -= got;
    }
    return 0;
}

std::size_t WavFileInput::readFrames(uint8_t* frames, std::size_t count) {
    mScratch.resize(count * mFormat.channels);  // only ever grows its storage
    sf_count_t got = sf_readf_int(mFile, mScratch.data(), static_cast<sf_count_t>(count));
    if (got <= 0) return 0;
    // libsndfile scales every width to 32 bits, so the top bits are the sample exactly.
    const uint32_t width = mFormat.sampleBytes();
    const uint32_t shift = 32 - mFormat.bitsPerSample;
    const std::size_t samples = static_cast<std::size_t>(got) * mFormat.channels;
    for (std::size_t i = 0; i < samples; ++i, frames += width)
        writeSample(frames, width, mScratch[i] >> shift);
    return static_cast<std::size_t>(got);
}

}  // namespace host::audio
