// PCM playback with a jitter buffer and paced output.
#pragma once

#include <memory>

#include "module/audio_types.h"

namespace module {

class KQ_EXPORT PcmSink : public I_Sink {
public:
    // Opens the playback device `name` and starts the playback worker. Device
    // failures are logged; the sink is returned all the same.
    static std::shared_ptr<PcmSink> Create(const char* name, const AudioParam& param);

    PcmSink();
    ~PcmSink() override;
    PcmSink(const PcmSink&) = delete;
    PcmSink& operator=(const PcmSink&) = delete;

    // Queues one buffer of frameMs of PCM; playback starts once 8 are queued.
    void Write(std::shared_ptr<const Buf> buf, unsigned int len) override;
    // Ends the current wait for the start level early.
    void Flush() override;
    bool IsRunning() const;
    // Milliseconds of audio waiting in the jitter buffer.
    int JitterMs() const;

    int getVolume();
    int setVolume(int volume);

    class PrivateImp;

private:
    std::unique_ptr<PrivateImp> mImp;
};

}  // namespace module
