// kq-demo's sound: a tone, or a WAV file, played through a module::PcmSink for the
// whole run. A thread of its own writes the sink's start level at once and then one
// buffer a buffer period, as an application that keeps up would.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "module/audio_types.h"

namespace module {
class PcmSink;
}

namespace demo {

class Playback {
public:
    Playback() = default;
    ~Playback();
    Playback(const Playback&) = delete;
    Playback& operator=(const Playback&) = delete;

    // Loads the sound (the WAV file `play`, or the tone when empty) and starts playing
    // it into the sink's device `speaker`; false, saying why, when the file is unusable.
    bool start(const std::string& speaker, const std::string& play);
    // Stops writing and closes the sink, which completes a WAV file it plays into.
    void stop();

    // Milliseconds waiting in the sink's jitter buffer, and the speaker's underruns.
    int jitterMs() const;
    uint64_t underruns() const;
    const std::string& speaker() const { return mSpeaker; }
    // "440 Hz tone" or the file's name, with the format.
    std::string describe() const;

    // The tone's frequency.
    static constexpr int kToneHz = 440;

private:
    bool loadFile(const std::string& path);
    void makeTone();
    void write();

    std::string mSpeaker;
    std::string mSource;
    module::AudioParam mParam{};
    std::vector<int16_t> mSamples;  // interleaved, played in a loop
    std::shared_ptr<module::PcmSink> mSink;
    int mChannel = -1;  // the speaker's playback channel, for its figures
    std::atomic<bool> mStopping{false};
    std::thread mWriter;
};

}  // namespace demo
