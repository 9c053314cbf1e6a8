// The WAV file speaker: PCM in the stream's own format, rate and channel count, written
// with libsndfile. The header is brought up to date after every write, so the file is
// a valid WAV file while it grows, and complete once the output is closed.
#pragma once

#include <sndfile.h>

#include "audio/pcm_output.h"

namespace host::audio {

class WavFileOutput : public PcmOutput {
public:
    // 0 or a negative code: the file system's when the file cannot be created, -EIO
    // when libsndfile refuses it.
    static int open(const std::string& path, const PcmFormat& format,
                    std::unique_ptr<PcmOutput>* output);
    ~WavFileOutput() override;

    int play(const uint8_t* frames, std::size_t bytes) override;

private:
    WavFileOutput(SNDFILE* file, int fd) : mFile(file), mFd(fd) {}

    SNDFILE* mFile;
    int mFd;
};

}  // namespace host::audio
