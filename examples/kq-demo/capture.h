// kq-demo's recording: audio captured through one module::MultiAudioSourceAacPcm and
// read as two streams, each by a thread of its own through a shared source: the PCM
// into a WAV file, the AAC frames into an ADTS file.
#pragma once

#include <sndfile.h>
#include <atomic>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>

#include "module/audio_types.h"

namespace module {
class MultiAudioSourceAacPcm;
}

namespace demo {

// What one stream's reader has written so far.
struct StreamCount {
    std::atomic<uint64_t> frames{0};
    std::atomic<uint64_t> bytes{0};
};

class Capture {
public:
    Capture() = default;
    ~Capture();
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;

    // Opens the two files in `folder` and starts capturing from the device `mic`; false,
    // saying why, when a file cannot be written.
    bool start(const std::string& mic, const std::string& folder);
    // Stops the readers and closes the source and the files.
    void stop();

    const StreamCount& pcm() const { return mPcm; }
    const StreamCount& aac() const { return mAac; }
    const std::string& wavPath() const { return mWavPath; }
    const std::string& aacPath() const { return mAacPath; }
    const std::string& mic() const { return mMic; }
    // Seconds of audio in each stream.
    double pcmSeconds() const;
    double aacSeconds() const;

    // The format captured.
    static constexpr module::AudioParam kParam{48000, 1, 16, 20};

private:
    void readPcm(std::shared_ptr<module::I_Source> source);
    void readAac(std::shared_ptr<module::I_Source> source);

    std::string mMic, mWavPath, mAacPath;
    std::shared_ptr<module::MultiAudioSourceAacPcm> mSource;
    std::unique_ptr<SNDFILE, int (*)(SNDFILE*)> mWav{nullptr, sf_close};
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> mAacFile{nullptr, std::fclose};
    StreamCount mPcm, mAac;
    std::atomic<bool> mStopping{false};
    std::thread mPcmReader, mAacReader;
};

}  // namespace demo
