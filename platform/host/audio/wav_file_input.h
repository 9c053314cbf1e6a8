// The WAV file microphone: a file played in a loop, sample for sample, read with
// libsndfile. The file's rate and channel count must be the channel's; its samples are
// read in the channel's width (libsndfile converts other widths and floating point),
// so a file of the channel's own width comes back bit for bit.
#pragma once

#include <sndfile.h>

#include <vector>

#include "audio/pcm_input.h"

namespace host::audio {

class WavFileInput : public PcmInput {
public:
    // 0 or a negative code: the file system's when the file cannot be opened, -EIO when
    // libsndfile cannot read it, -EINVAL for another rate or channel count or a file
    // without samples.
    static int open(const std::string& path, const PcmFormat& format,
                    std::unique_ptr<PcmInput>* input);
    ~WavFileInput() override;

    // Starts again at the file's first frame whenever it reaches the end.
    int read(uint8_t* frames, std::size_t bytes) override;

private:
    WavFileInput(SNDFILE* file, int fd, const PcmFormat& format)
        : mFile(file), mFd(fd), mFormat(format) {}

    // Reads up to `count` frames from where the file stands; how many it read.
    std::size_t readFrames(uint8_t* frames, std::size_t count);

    SNDFILE* mFile;
    int mFd;
    const PcmFormat mFormat;
    std::vector<int> mScratch;  // libsndfile's 32-bit samples, grown to the largest read
};

}  // namespace host::audio
