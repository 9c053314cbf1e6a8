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

    // Copies `len` bytes (1 to one frameMs of PCM) into the jitter buffer; playback
    // starts once 8 buffers are queued and then goes on at the device's pace. A sink
    // that is not running, a null buffer or a bad length is logged and nothing is
    // queued; a full jitter buffer drops its oldest buffers (logged once per spell).
    // Any thread; writers are serialised.
    void Write(std::shared_ptr<const Buf> buf, unsigned int len) override;
    // Ends the current wait for the start level early: what is queued plays now.
    void Flush() override;
    // Whether the playback worker runs (false after a device failure).
    bool IsRunning() const;
    // Milliseconds of audio waiting in the jitter buffer.
    int JitterMs() const;

    // The playback volume, 0 while this sink has muted it, or the platform's negative
    // code (logged).
    int getVolume();
    // 0 mutes, anything else unmutes and sets it; the volume given, or the platform's
    // negative code (logged).
    int setVolume(int volume);

    class PrivateImp;

private:
    std::unique_ptr<PrivateImp> mImp;
};

}  // namespace module
